// Delivers SIGINT and SIGTERM through the event loop, so that a program ends its feeder from a
// handler of the loop, never from inside a signal handler.
#ifndef QUOTLINK_PLATFORM_SIGNAL_WATCH_H_
#define QUOTLINK_PLATFORM_SIGNAL_WATCH_H_

#include <functional>

#include "platform/event_loop.h"

namespace quotlink {

class SignalWatch {
 public:
  // Blocks SIGINT and SIGTERM for the process and calls `handler(signo)` from the loop when one
  // comes. `loop` must outlive the watch.
  SignalWatch(EventLoop* loop, std::function<void(int)> handler);
  ~SignalWatch();
  SignalWatch(const SignalWatch&) = delete;
  SignalWatch& operator=(const SignalWatch&) = delete;

 private:
  EventLoop* const loop_;
  int fd_ = -1;
  int reg_ = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_SIGNAL_WATCH_H_
