// The hand-over between the feeder's thread and the publishing thread.
#include "publish/quote_ring.h"

#include <gtest/gtest.h>

#include <thread>

namespace quotlink {
namespace {

QuoteRecord Numbered(uint64_t seq) {
  QuoteRecord q{};
  q.seq = seq;
  return q;
}

TEST(QuoteRingTest, AFullRingRefusesAndKeepsWhatItHoldsInOrder) {
  QuoteRing ring(3);
  ASSERT_EQ(ring.capacity(), 4u);
  for (uint64_t i = 1; i <= 4; ++i)
    EXPECT_TRUE(ring.TryPush(Numbered(i)));
  EXPECT_FALSE(ring.TryPush(Numbered(5)));
  QuoteRecord q;
  ASSERT_TRUE(ring.TryPop(&q));
  EXPECT_EQ(q.seq, 1u);
  EXPECT_TRUE(ring.TryPush(Numbered(6)));
  for (uint64_t want : {2u, 3u, 4u, 6u}) {
    ASSERT_TRUE(ring.TryPop(&q));
    EXPECT_EQ(q.seq, want);
  }
  EXPECT_FALSE(ring.TryPop(&q));
}

// A consumer that sleeps whenever the ring is empty must never miss a push: a lost wake-up
// hangs this test. What is refused is counted, the rest arrives in order.
TEST(QuoteRingTest, ASleepingConsumerGetsEveryQuoteThatWasTaken) {
  QuoteRing ring(64);
  constexpr uint64_t kQuotes = 200000;
  uint64_t refused = 0;
  uint64_t received = 0, last = 0;
  bool in_order = true;
  std::thread consumer([&] {
    QuoteRecord q;
    while (last != kQuotes) {
      while (ring.TryPop(&q)) {
        in_order = in_order && q.seq > last;
        last = q.seq;
        ++received;
      }
      if (last != kQuotes) ring.WaitForWork();
    }
  });
  for (uint64_t i = 1; i <= kQuotes; ++i) {
    // The last quote must arrive to end the consumer.
    while (!ring.TryPush(Numbered(i))) {
      if (i != kQuotes) {
        ++refused;
        break;
      }
    }
    if (i % 1000 == 0) std::this_thread::yield();
  }
  consumer.join();
  EXPECT_TRUE(in_order);
  EXPECT_EQ(received + refused, kQuotes);
}

}  // namespace
}  // namespace quotlink
