// The one event loop of a feeder: file descriptors with readiness callbacks, interval timers,
// and "run the message pump once".
//
// Handlers may pump the loop again from inside themselves (the UDP intake pumps once per cutting
// pass, the waits of a session start pump on every turn), so dispatch is re-entrant: a nested
// pump delivers what is ready at that moment, and adding or removing a registration from inside
// any handler is safe. A removed registration is never called again, even when it was already
// found ready by an outer pass.
//
// The interface lets another loop (a GUI toolkit's) take over: the feeder only ever talks to
// EventLoop.
#ifndef QUOTLINK_PLATFORM_EVENT_LOOP_H_
#define QUOTLINK_PLATFORM_EVENT_LOOP_H_

#include <functional>

#include "platform/clock.h"

namespace quotlink {

class EventLoop {
 public:
  // Readiness bits given to an fd handler.
  static constexpr int kReadable = 1;
  static constexpr int kWritable = 2;
  static constexpr int kError = 4;  // error or hang-up; also given to read-only registrations

  using FdHandler = std::function<void(int ready)>;
  using TimerHandler = std::function<void()>;

  virtual ~EventLoop() = default;

  virtual Clock& clock() = 0;

  // Watches `fd` (not owned). Returns a registration id above 0.
  virtual int AddFd(int fd, bool want_read, bool want_write, FdHandler handler) = 0;
  virtual void SetFdInterest(int id, bool want_read, bool want_write) = 0;
  virtual void RemoveFd(int id) = 0;

  // Calls `handler` every `interval_ms`, first after one interval. Returns an id above 0.
  virtual int AddTimer(int interval_ms, TimerHandler handler) = 0;
  virtual void RemoveTimer(int id) = 0;

  // Delivers what is ready now, without blocking.
  virtual void PumpOnce() = 0;

  // Waits at most `max_wait_ms` (bounded by the next timer) for something to happen and
  // delivers it.
  virtual void RunOnce(int max_wait_ms) = 0;

  // `handler` runs whenever a pass is about to wait for events (never in PumpOnce): the moment
  // to hand on what was gathered while events came fast, such as buffered output.
  void SetIdleHandler(std::function<void()> handler) { idle_ = std::move(handler); }

  // Runs until Quit(). Quit() may be called from any handler; Run() returns after that handler.
  void Run() {
    quit_ = false;
    while (!quit_)
      RunOnce(kRunSliceMs);
  }
  void Quit() { quit_ = true; }
  bool quitting() const { return quit_; }

 protected:
  // For implementations: call before a wait.
  void Idle() {
    if (idle_) idle_();
  }

 private:
  std::function<void()> idle_;
  static constexpr int kRunSliceMs = 1000;
  bool quit_ = false;
};

// Waits up to `seconds`, pumping the loop on every turn. The time is tested first on each turn,
// then `done` (when given) may end the wait early. Returns true when `done` ended it.
bool WaitPumping(EventLoop& loop, double seconds, const std::function<bool()>& done);

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_EVENT_LOOP_H_
