#include "publish/quote_ring.h"

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
  // Pairs with the fence in WaitForWork: either the consumer sees the new head before it
  // sleeps, or this side sees it sleeping and wakes it. Without the fence both could miss.
  std::atomic_thread_fence(std::memory_order_seq_cst);
  if (sleeping_.load(std::memory_order_relaxed)) Wake();
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
  // Under a stream the next quote is microseconds away: look for it a while before sleeping, so
  // that the feeder's thread seldom pays for a wake-up (a system call) on its push.
  for (int i = 0; i < kSpinsBeforeSleep; ++i) {
    if (head_.load(std::memory_order_acquire) != tail_.load(std::memory_order_relaxed) ||
        attention_.load(std::memory_order_relaxed)) {
      attention_.store(false);
      return;
    }
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
  }
  const uint32_t wakes = wakes_.load(std::memory_order_acquire);
  sleeping_.store(true, std::memory_order_relaxed);
  std::atomic_thread_fence(std::memory_order_seq_cst);
  // A Wake() before `wakes` was read left its mark in attention_; one after it changed wakes_,
  // and the wait returns at once.
  if (!attention_.exchange(false) &&
      head_.load(std::memory_order_relaxed) == tail_.load(std::memory_order_relaxed)) {
    wakes_.wait(wakes, std::memory_order_acquire);
  }
  sleeping_.store(false, std::memory_order_relaxed);
}

void QuoteRing::Wake() {
  attention_.store(true);
  wakes_.fetch_add(1, std::memory_order_release);
  wakes_.notify_one();
}

}  // namespace quotlink
