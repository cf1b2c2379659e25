// What the feeder's side of publishing and the thread that talks to NATS share, and how that
// thread is started. Only the publisher uses this; nats_publish_link.cc is the real link and
// nats_stub.cc the one of a build without NATS.
//
// The two sides share atomics and the ring only. The NATS client calls the link back on its own
// threads; those callbacks touch nothing but these atomics and the link's own state, and never
// call into the feeder.
#ifndef QUOTLINK_PUBLISH_PUBLISH_LINK_H_
#define QUOTLINK_PUBLISH_PUBLISH_LINK_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "publish/quote_ring.h"
#include "util/status.h"

namespace quotlink {

struct PublishOptions {
  std::string url;  // nats://[USER:PASSWORD@]HOST[:PORT]; the port defaults to 4222
  // Quotes between the feeder's thread and the publishing thread.
  size_t queue_slots = 16384;
  // What the NATS client holds while it reconnects; beyond that its publishes fail.
  int reconnect_buffer_bytes = 8 << 20;
  int reconnect_wait_ms = 500;
  // The name of this feeder's run in every payload.
  std::string feeder;
};

struct LinkShared {
  explicit LinkShared(size_t queue_slots) : ring(queue_slots) {}

  QuoteRing ring;
  std::atomic<bool> stop{false};
  // Quotes that the NATS client refused (its buffer full while reconnecting, or an error).
  std::atomic<uint64_t> refused{0};
  std::atomic<uint64_t> published{0};
  std::atomic<uint64_t> connects{0};     // every connection made, the first included
  std::atomic<uint64_t> disconnects{0};  // every connection lost
  // Set when the first try found no server; the client goes on trying.
  std::atomic<bool> waiting{false};
  // Once set, the link has given up and publishes nothing more; `failure` says why. Written by
  // the link before `failed` is set, read by others only after they saw it set.
  std::atomic<bool> failed{false};
  std::string failure;
  // Set when the last values can't be kept (no JetStream on the server); `notice` says why,
  // written before `kv_notice` is set and never again.
  std::atomic<bool> kv_notice{false};
  std::string notice;
};

class PublishLink {
 public:
  virtual ~PublishLink() = default;
};

// Starts the thread that publishes what `shared->ring` receives. It connects in the background
// and keeps trying while the server isn't there. Fails at once for a build without NATS or a URL
// the NATS client refuses. REQUIRES: `shared` outlives the link.
Status StartPublishLink(const PublishOptions& options, LinkShared* shared,
                        std::unique_ptr<PublishLink>* link);

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_PUBLISH_LINK_H_
