// EventLoop on poll(2).
#ifndef QUOTLINK_PLATFORM_POLL_LOOP_H_
#define QUOTLINK_PLATFORM_POLL_LOOP_H_

#include <poll.h>

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "platform/event_loop.h"

namespace quotlink {

class PollLoop : public EventLoop {
 public:
  // `clock` must outlive the loop.
  explicit PollLoop(Clock* clock) : clock_(clock) {}
  PollLoop(const PollLoop&) = delete;
  PollLoop& operator=(const PollLoop&) = delete;

  Clock& clock() override { return *clock_; }
  int AddFd(int fd, bool want_read, bool want_write, FdHandler handler) override;
  void SetFdInterest(int id, bool want_read, bool want_write) override;
  void RemoveFd(int id) override;
  // With `wait_only`, the registration is polled only by passes that may sleep (RunOnce with a
  // wait above 0), never by PumpOnce: for a descriptor that something else serves often enough.
  void SetFdWaitOnly(int id, bool wait_only);
  int AddTimer(int interval_ms, TimerHandler handler) override;
  void RemoveTimer(int id) override;
  // Polls without waiting, unless the clock's pump slice says the last poll was just now.
  void PumpOnce() override;
  void RunOnce(int max_wait_ms) override { Pass(max_wait_ms < 0 ? 0 : max_wait_ms); }

 private:
  struct FdEntry {
    int fd;
    bool want_read;
    bool want_write;
    bool removed;
    bool wait_only;
    uint64_t delivered_poll;  // the poll() whose readiness this entry last acted on
    FdHandler handler;
  };
  struct TimerEntry {
    int interval_ms;
    int64_t due_ms;
    bool removed;
    TimerHandler handler;
  };
  // What one pass (at one depth of nesting) polls; kept so that passes allocate nothing.
  struct Scratch {
    std::vector<pollfd> pfds;
    std::vector<int> ids;
  };

  void Pass(int max_wait_ms);
  void RunDueTimers();
  void Sweep();

  Clock* const clock_;
  int next_id_ = 1;
  // Ordered maps: registrations are few, the order of delivery stays that of registration, and
  // entries don't move while passes run (removal only marks them until the outermost pass ends).
  std::map<int, FdEntry> fds_;
  std::map<int, TimerEntry> timers_;
  std::deque<Scratch> scratch_;  // one per depth of nesting; a deque keeps references stable
  uint64_t polls_ = 0;           // counts poll() calls, so a pass can tell stale readiness
  int64_t last_poll_us_ = 0;     // MonotonicUs() after the last poll, when pumps are sliced
  int depth_ = 0;
  bool sweep_needed_ = false;
};

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_POLL_LOOP_H_
