#include "platform/signal_watch.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace quotlink {

SignalWatch::SignalWatch(EventLoop* loop, std::function<void(int)> handler) : loop_(loop) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  fd_ = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
  if (fd_ < 0) return;
  reg_ = loop_->AddFd(fd_, true, false, [this, handler = std::move(handler)](int) {
    signalfd_siginfo info{};
    while (read(fd_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
      handler(static_cast<int>(info.ssi_signo));
    }
  });
}

SignalWatch::~SignalWatch() {
  if (fd_ < 0) return;
  loop_->RemoveFd(reg_);
  close(fd_);
}

}  // namespace quotlink
