// The hand-over of quotes from the feeder's thread to the publishing thread: a bounded ring of
// fixed-size records for exactly one producer and one consumer, without locks. The feeder never
// waits on it: a push into a full ring fails at once and the caller counts the quote as lost.
// The consumer naps while the ring is empty, a little longer each time up to kLongestNap, so a
// push costs the feeder a store and nothing else; Wake() ends the waiting from any thread.
#ifndef QUOTLINK_PUBLISH_QUOTE_RING_H_
#define QUOTLINK_PUBLISH_QUOTE_RING_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "publish/quote_payload.h"

namespace quotlink {

class QuoteRing {
 public:
  // Holds `capacity` records, rounded up to a power of two (at least 2).
  explicit QuoteRing(size_t capacity);
  QuoteRing(const QuoteRing&) = delete;
  QuoteRing& operator=(const QuoteRing&) = delete;

  size_t capacity() const { return slots_.size(); }

  // Producer only. False when the ring is full; nothing is stored then.
  bool TryPush(const QuoteRecord& q);

  // Consumer only. False when the ring is empty.
  bool TryPop(QuoteRecord* q);
  // Consumer only. Returns once the ring holds something or Wake() was called, looking again
  // at least every kLongestNap.
  void WaitForWork();

  // Any thread: ends the consumer's present or next WaitForWork within kLongestNap. The consumer
  // looks at what the waker changed after WaitForWork returns.
  void Wake();

 private:
  // About 20 to 50 microseconds of looking before the consumer naps; then naps from 50 us,
  // doubling to 2 ms: a quote after a pause waits at most that long to go out.
  static constexpr int kSpinsBeforeSleep = 1000;
  static constexpr std::chrono::microseconds kFirstNap{50};
  static constexpr std::chrono::microseconds kLongestNap{2000};
  std::vector<QuoteRecord> slots_;
  size_t mask_;
  // Each index is written by one side only; the other side keeps a stale copy and reads the
  // shared one again only when the copy says full (or empty), so the cache lines rarely move.
  alignas(64) std::atomic<uint64_t> head_{0};  // next slot to write (producer)
  uint64_t tail_seen_ = 0;                     // producer's copy of tail_
  alignas(64) std::atomic<uint64_t> tail_{0};  // next slot to read (consumer)
  uint64_t head_seen_ = 0;                     // consumer's copy of head_
  alignas(64) std::atomic<bool> attention_{false};
};

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_QUOTE_RING_H_
