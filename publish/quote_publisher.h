// Publishing a feeder's quotes to NATS: every quote that reaches FeederReady of an attached
// QUOTLINKCls goes to the subject of its symbol (publish/subject.h), and the last one of each
// symbol into the key-value bucket of last values. Any host of a feeder (the watch command, a
// service) starts one publisher and attaches its object with one call.
//
// The feeder's thread only copies the quote into a bounded ring (publish/quote_ring.h) and goes
// on; a thread of the publisher's own does everything that can wait: the connection, the JSON,
// the NATS client. What can't be queued is counted and dropped, and the count goes to standard
// error at most once a second from a timer of the feeder's loop, with the changes of the
// connection. Nothing of it reaches the console's captions.
#ifndef QUOTLINK_PUBLISH_QUOTE_PUBLISHER_H_
#define QUOTLINK_PUBLISH_QUOTE_PUBLISHER_H_

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/event_loop.h"
#include "publish/publish_link.h"
#include "util/status.h"

namespace quotlink {

class QUOTLINKCls;

class QuotePublisher {
 public:
  // Checks `options.url` and starts connecting in the background; the feeder runs whether or not
  // a server answers. Fails, starting nothing, for a malformed URL or a build without NATS.
  // Reports go to `report` (stderr when null). REQUIRES: `loop` outlives the publisher.
  static Status Start(EventLoop* loop, PublishOptions options, std::unique_ptr<QuotePublisher>* out,
                      std::FILE* report = nullptr);
  // Sends what is queued (waiting a moment for the server) and closes the connection.
  ~QuotePublisher();
  QuotePublisher(const QuotePublisher&) = delete;
  QuotePublisher& operator=(const QuotePublisher&) = delete;

  // Publishes each quote that reaches FeederReady of `object` from now on.
  // REQUIRES: `object` outlives the publisher.
  void Attach(QUOTLINKCls* object);

  // Counts since the start, for tests and benchmarks.
  uint64_t handed() const { return seq_; }              // quotes numbered for publishing
  uint64_t not_queued() const { return not_queued_; }   // of those, lost before the thread
  const LinkShared& shared() const { return shared_; }  // what the thread did with the rest

  // The run name in the payloads: host, process and start time.
  const std::string& feeder() const { return options_.feeder; }

 private:
  QuotePublisher(EventLoop* loop, PublishOptions options, std::FILE* report);
  void Publish(const QUOTLINKCls& object);
  void Report();

  EventLoop* const loop_;
  PublishOptions options_;
  std::FILE* const report_;
  LinkShared shared_;
  std::unique_ptr<PublishLink> link_;
  int timer_ = 0;
  std::vector<std::pair<QUOTLINKCls*, int>> attached_;  // object, its FeederReady handler

  uint64_t seq_ = 0;
  uint64_t not_queued_ = 0;
  struct TransparentHash {
    using is_transparent = void;
    size_t operator()(std::string_view s) const { return std::hash<std::string_view>()(s); }
  };
  std::unordered_map<std::string, uint64_t, TransparentHash, std::equal_to<>> symbol_seq_;

  // What the last reports told.
  uint64_t told_lost_ = 0;
  uint64_t told_connects_ = 0;
  uint64_t told_disconnects_ = 0;
  bool told_failure_ = false;
  bool told_kv_ = false;
  bool told_waiting_ = false;
};

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_QUOTE_PUBLISHER_H_
