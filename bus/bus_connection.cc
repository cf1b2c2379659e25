#include "bus/bus_connection.h"

#include <poll.h>
#include <time.h>

#include <cstring>

namespace quotlink {
namespace {

uint64_t MonotonicUsec() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

}  // namespace

std::unique_ptr<BusConnection> BusConnection::OpenSession(EventLoop* loop, std::string* error) {
  sd_bus* bus = nullptr;
  const int r = sd_bus_open_user(&bus);
  if (r < 0) {
    *error = std::string("cannot connect to the session bus: ") + std::strerror(-r);
    return nullptr;
  }
  return std::make_unique<BusConnection>(loop, bus);
}

BusConnection::BusConnection(EventLoop* loop, sd_bus* bus) : loop_(loop), bus_(bus) {
  const int fd = sd_bus_get_fd(bus_);
  if (fd < 0) {
    connected_ = false;
    return;
  }
  fd_reg_ = loop_->AddFd(fd, true, false, [this](int) { OnReady(); });
  UpdateInterest();
  UpdateTimer();
}

BusConnection::~BusConnection() {
  if (fd_reg_ != 0) loop_->RemoveFd(fd_reg_);
  if (timer_reg_ != 0) loop_->RemoveTimer(timer_reg_);
  sd_bus_flush_close_unref(bus_);
}

std::string BusConnection::UniqueName() const {
  const char* name = nullptr;
  if (sd_bus_get_unique_name(bus_, &name) < 0 || name == nullptr) return "";
  return name;
}

void BusConnection::OnReady() {
  // A pump inside the hook, or inside a callback (which must never pump), comes back here:
  // the outer round goes on by itself.
  if (dispatching_ || !connected_) return;
  int r = 0;
  for (int i = 0; i < kBatch; ++i) {
    dispatching_ = true;
    r = sd_bus_process(bus_, nullptr);
    dispatching_ = false;
    if (r <= 0) break;
  }
  if (r < 0) {
    Lost();
    return;
  }
  // The hook may pump, and the pump may bring us here again for newer messages: each round's
  // hook serves whatever is noted by then, and must itself be safe to enter again.
  if (after_dispatch_) after_dispatch_();
  if (!connected_) return;
  UpdateInterest();
  UpdateTimer();
}

void BusConnection::AfterSend() {
  if (connected_) UpdateInterest();
}

void BusConnection::AfterCall() {
  if (!connected_) return;
  UpdateInterest();
  UpdateTimer();
}

void BusConnection::UpdateInterest() {
  const int events = sd_bus_get_events(bus_);
  if (events < 0) return;
  if (events == events_) return;
  events_ = events;
  loop_->SetFdInterest(fd_reg_, true, (events & POLLOUT) != 0);
}

void BusConnection::UpdateTimer() {
  uint64_t due = UINT64_MAX;
  if (sd_bus_get_timeout(bus_, &due) < 0) due = UINT64_MAX;
  if (due == timer_due_usec_) return;
  if (timer_reg_ != 0) loop_->RemoveTimer(timer_reg_);
  timer_reg_ = 0;
  timer_due_usec_ = due;
  if (due == UINT64_MAX) return;
  const uint64_t now = MonotonicUsec();
  // Due now (messages wait in the bus's queue): the next turn of the loop.
  const uint64_t ms = due > now ? (due - now + 999) / 1000 : 0;
  timer_reg_ = loop_->AddTimer(ms > 3600000 ? 3600000 : static_cast<int>(ms), [this] {
    // A timer repeats: let the round set the next one.
    timer_due_usec_ = 0;
    OnReady();
  });
}

void BusConnection::Lost() {
  connected_ = false;
  if (fd_reg_ != 0) loop_->RemoveFd(fd_reg_);
  if (timer_reg_ != 0) loop_->RemoveTimer(timer_reg_);
  fd_reg_ = 0;
  timer_reg_ = 0;
  if (on_disconnect_) on_disconnect_();
}

}  // namespace quotlink
