#include "publish/quote_ring.h"

#include <algorithm>
#include <thread>

namespace quotlink {

QuoteRing::QuoteRing(size_t capacity) {
  size_t n = 2;
  while (n < capacity)
    n *= 2;
  slots_.resize(n);
  mask_ = n - 1;
}

bool QuoteRing::TryPush(const QuoteRecord& q) {
  const uint64_t head = head_.load(std::memory_order_relaxed);
  if (head - tail_seen_ == slots_.size()) {
    tail_seen_ = tail_.load(std::memory_order_acquire);
    if (head - tail_seen_ == slots_.size()) return false;
  }
  slots_[head & mask_] = q;
  head_.store(head + 1, std::memory_order_release);
  return true;
}

bool QuoteRing::TryPop(QuoteRecord* q) {
  const uint64_t tail = tail_.load(std::memory_order_relaxed);
  if (tail == head_seen_) {
    head_seen_ = head_.load(std::memory_order_acquire);
    if (tail == head_seen_) return false;
  }
  *q = slots_[tail & mask_];
  tail_.store(tail + 1, std::memory_order_release);
  return true;
}

void QuoteRing::WaitForWork() {
  // Under a stream the next quote is microseconds away: look for it a while before sleeping.
  // The feeder's push never wakes this side (a system call on the quote path, and a fence on
  // every push to make it safe); the sleeps are short instead, and grow while nothing comes.
  auto ready = [this] {
    return head_.load(std::memory_order_acquire) != tail_.load(std::memory_order_relaxed) ||
           attention_.load(std::memory_order_relaxed);
  };
  for (int i = 0; i < kSpinsBeforeSleep; ++i) {
    if (ready()) break;
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
  }
  for (auto nap = kFirstNap; !ready(); nap = std::min(nap * 2, kLongestNap))
    std::this_thread::sleep_for(nap);
  attention_.store(false, std::memory_order_relaxed);
}

void QuoteRing::Wake() {
  attention_.store(true, std::memory_order_relaxed);
}

}  // namespace quotlink
