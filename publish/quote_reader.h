// Reading a feeder's published quotes on any host: the last value of each symbol from the
// bucket, then the live stream. Used by `quotlink tail`.
#ifndef QUOTLINK_PUBLISH_QUOTE_READER_H_
#define QUOTLINK_PUBLISH_QUOTE_READER_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "util/status.h"

namespace quotlink {

class QuoteReader {
 public:
  enum class Next {
    kQuote,    // `*payload` holds the next live quote
    kNothing,  // none came within the wait
    kDropped,  // the client dropped quotes that came faster than they were read
    kClosed,   // the connection is closed for good
  };

  // Connects to `url` (nats://HOST[:PORT]); fails with the reason when no server answers there,
  // the credentials are refused, or this build has no NATS. Later losses of the connection are
  // repaired by the client, which subscribes again.
  static Status Open(const std::string& url, std::unique_ptr<QuoteReader>* out);
  virtual ~QuoteReader() = default;

  // Starts taking the live quotes of `subject` (wildcards allowed); they queue from now on, so
  // that nothing published after this call is missed while the last values are read.
  virtual Status Subscribe(const std::string& subject) = 0;

  // Calls `each` with the stored last value of every key that `keys` matches (a subject token
  // or "*"). Ok with no call when the bucket doesn't exist yet; fails when it can't be read.
  virtual Status ReadLastValues(const std::string& keys,
                                const std::function<void(std::string_view payload)>& each) = 0;

  // Waits up to `timeout_ms` for the next live quote. After kDropped, `*dropped` holds how many
  // the client has dropped in all.
  virtual Next NextQuote(int timeout_ms, std::string* payload, uint64_t* dropped) = 0;

  // Counts of the connection's losses and recoveries, as the client's threads saw them.
  uint64_t disconnects() const { return disconnects_.load(); }
  uint64_t reconnects() const { return reconnects_.load(); }

 protected:
  std::atomic<uint64_t> disconnects_{0};
  std::atomic<uint64_t> reconnects_{0};
};

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_QUOTE_READER_H_
