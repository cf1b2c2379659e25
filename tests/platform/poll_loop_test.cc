#include "platform/poll_loop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

namespace quotlink {
namespace {

// A pipe whose read end the loop watches.
struct Pipe {
  int fds[2];
  Pipe() { EXPECT_EQ(pipe2(fds, O_NONBLOCK), 0); }
  ~Pipe() {
    close(fds[0]);
    close(fds[1]);
  }
  void Write() { EXPECT_EQ(write(fds[1], "x", 1), 1); }
  void Drain() {
    char buf[64];
    (void)read(fds[0], buf, sizeof buf);
  }
};

struct PollLoopTest : ::testing::Test {
  FakeClock clock;
  PollLoop loop{&clock};
};

TEST_F(PollLoopTest, TimersRunOnTheFakeClockAndAWaitEndsWhenItsConditionHolds) {
  int ticks = 0;
  loop.AddTimer(2000, [&] { ++ticks; });
  EXPECT_FALSE(WaitPumping(loop, 10.0, nullptr));
  EXPECT_EQ(ticks, 5);
  EXPECT_EQ(clock.MonotonicMs(), 10000);
  EXPECT_TRUE(WaitPumping(loop, 15.0, [&] { return ticks == 6; }));
  EXPECT_EQ(clock.MonotonicMs(), 12000);
}

TEST_F(PollLoopTest, HandlersMayAddOrRemoveRegistrationsAndUnreadDataComesBack) {
  Pipe self, unread, added;
  int self_id = 0, self_calls = 0, unread_calls = 0, added_calls = 0;
  self_id = loop.AddFd(self.fds[0], true, false, [&](int) {
    ++self_calls;
    loop.RemoveFd(self_id);
    loop.AddFd(added.fds[0], true, false, [&](int) {
      ++added_calls;
      added.Drain();
    });
  });
  loop.AddFd(unread.fds[0], true, false, [&](int) { ++unread_calls; });
  self.Write();
  unread.Write();
  added.Write();
  loop.PumpOnce();
  loop.PumpOnce();
  EXPECT_EQ(self_calls, 1);
  EXPECT_EQ(unread_calls, 2);  // a handler that doesn't read is called again
  EXPECT_EQ(added_calls, 1);
}

TEST_F(PollLoopTest, WaitOnlyRegistrationIsLeftOutOfPumpsButWakesAWait) {
  Pipe p;
  int calls = 0;
  const int id = loop.AddFd(p.fds[0], true, false, [&](int) { ++calls; });
  loop.SetFdWaitOnly(id, true);
  p.Write();
  loop.PumpOnce();
  loop.RunOnce(0);
  EXPECT_EQ(calls, 0);
  loop.RunOnce(50);
  EXPECT_EQ(calls, 1);
  loop.SetFdWaitOnly(id, false);
  loop.PumpOnce();
  EXPECT_EQ(calls, 2);
}

TEST_F(PollLoopTest, NestedPumpDeliversOtherEventsAndSkipsRemovedRegistrations) {
  Pipe a, b, c;
  std::vector<std::string> order;
  int id_c = 0;
  bool in_a = false;
  loop.AddFd(a.fds[0], true, false, [&](int) {
    if (in_a) return;  // the nested pump finds a still readable
    in_a = true;
    order.push_back("a");
    a.Drain();
    loop.RemoveFd(id_c);  // c was found ready by this pass too: it must not run
    loop.PumpOnce();      // delivers b from inside a
    in_a = false;
  });
  loop.AddFd(b.fds[0], true, false, [&](int) {
    order.push_back("b");
    b.Drain();
  });
  id_c = loop.AddFd(c.fds[0], true, false, [&](int) { order.push_back("c"); });
  a.Write();
  b.Write();
  c.Write();
  loop.PumpOnce();
  EXPECT_EQ(order, (std::vector<std::string>{"a", "b"}));
}

TEST_F(PollLoopTest, TimerPumpingInsideItselfIsNotReentered) {
  int depth = 0, max_depth = 0, calls = 0;
  loop.AddTimer(100, [&] {
    ++calls;
    max_depth = std::max(max_depth, ++depth);
    WaitPumping(loop, 0.05, nullptr);
    --depth;
  });
  WaitPumping(loop, 1.0, nullptr);
  EXPECT_EQ(max_depth, 1);
  EXPECT_GE(calls, 5);
}

// A clock whose pumps are sliced, as the system clock's are, with time moved by hand in
// microseconds.
class SlicedClock : public FakeClock {
 public:
  int64_t PumpSliceUs() const override { return 50; }
  int64_t MonotonicUs() const override { return us; }
  int64_t us = 1000;
};

// A pump right after a poll looks at nothing: what became ready waits for the next pump once
// the slice has passed. A pass that may wait always polls, and hands the idle handler its turn
// first; a pump never does.
TEST(PollLoopSliceTest, PumpsLookAtMostOncePerSliceAndOnlyWaitsAreIdle) {
  SlicedClock clock;
  PollLoop loop(&clock);
  Pipe p;
  int calls = 0, idles = 0;
  loop.AddFd(p.fds[0], true, false, [&](int) {
    ++calls;
    p.Drain();
  });
  loop.SetIdleHandler([&] { ++idles; });
  loop.PumpOnce();
  p.Write();
  clock.us += 49;
  loop.PumpOnce();
  EXPECT_EQ(calls, 0);
  clock.us += 1;
  loop.PumpOnce();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(idles, 0);
  p.Write();
  loop.RunOnce(10);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(idles, 1);
}

}  // namespace
}  // namespace quotlink
