#include "platform/poll_loop.h"

#include <cerrno>

namespace quotlink {

int PollLoop::AddFd(int fd, bool want_read, bool want_write, FdHandler handler) {
  const int id = next_id_++;
  fds_.emplace(id, FdEntry{fd, want_read, want_write, false, false, 0, std::move(handler)});
  return id;
}

void PollLoop::SetFdInterest(int id, bool want_read, bool want_write) {
  auto it = fds_.find(id);
  if (it == fds_.end() || it->second.removed) return;
  it->second.want_read = want_read;
  it->second.want_write = want_write;
}

void PollLoop::SetFdWaitOnly(int id, bool wait_only) {
  auto it = fds_.find(id);
  if (it != fds_.end()) it->second.wait_only = wait_only;
}

// While a pass runs, a removal only marks the entry: an outer pass may be inside its handler
// or about to look it up. The outermost pass erases marked entries when it ends.
void PollLoop::RemoveFd(int id) {
  auto it = fds_.find(id);
  if (it == fds_.end()) return;
  if (depth_ > 0) {
    it->second.removed = true;
    sweep_needed_ = true;
  } else {
    fds_.erase(it);
  }
}

int PollLoop::AddTimer(int interval_ms, TimerHandler handler) {
  const int id = next_id_++;
  if (interval_ms < 1) interval_ms = 1;
  timers_.emplace(
      id, TimerEntry{interval_ms, clock_->MonotonicMs() + interval_ms, false, std::move(handler)});
  return id;
}

void PollLoop::RemoveTimer(int id) {
  auto it = timers_.find(id);
  if (it == timers_.end()) return;
  if (depth_ > 0) {
    it->second.removed = true;
    sweep_needed_ = true;
  } else {
    timers_.erase(it);
  }
}

void PollLoop::Sweep() {
  std::erase_if(fds_, [](const auto& kv) { return kv.second.removed; });
  std::erase_if(timers_, [](const auto& kv) { return kv.second.removed; });
  sweep_needed_ = false;
}

void PollLoop::RunDueTimers() {
  const int64_t now = clock_->MonotonicMs();
  // Map iterators survive insertions, and nothing is erased while a pass runs.
  for (auto it = timers_.begin(); it != timers_.end(); ++it) {
    TimerEntry& t = it->second;
    if (t.removed || t.due_ms > now) continue;
    // Re-arm before the call, so that a pump inside the handler doesn't run it again.
    t.due_ms = now + t.interval_ms;
    t.handler();
  }
}

void PollLoop::PumpOnce() {
  const int64_t slice = clock_->PumpSliceUs();
  if (slice > 0 && clock_->MonotonicUs() - last_poll_us_ < slice) return;
  Pass(0);
}

void PollLoop::Pass(int max_wait_ms) {
  ++depth_;
  if (scratch_.size() < static_cast<size_t>(depth_)) scratch_.emplace_back();
  Scratch& s = scratch_[static_cast<size_t>(depth_ - 1)];

  int wait = max_wait_ms;
  const int64_t now = clock_->MonotonicMs();
  for (const auto& [id, t] : timers_) {
    if (t.removed) continue;
    const int64_t until = t.due_ms - now;
    if (until < wait) wait = until < 0 ? 0 : static_cast<int>(until);
  }

  s.pfds.clear();
  s.ids.clear();
  for (const auto& [id, e] : fds_) {
    if (e.removed || (e.wait_only && max_wait_ms == 0)) continue;
    short events = 0;
    if (e.want_read) events |= POLLIN;
    if (e.want_write) events |= POLLOUT;
    s.pfds.push_back(pollfd{e.fd, events, 0});
    s.ids.push_back(id);
  }

  if (wait > 0) Idle();
  const int real_wait = wait > 0 ? clock_->BeginIdle(wait) : 0;
  const uint64_t this_poll = ++polls_;
  int n;
  do {
    n = poll(s.pfds.data(), s.pfds.size(), real_wait);
  } while (n < 0 && errno == EINTR);
  if (wait > 0) clock_->EndIdle(wait, n > 0);
  if (clock_->PumpSliceUs() > 0) last_poll_us_ = clock_->MonotonicUs();

  for (size_t i = 0; n > 0 && i < s.pfds.size(); ++i) {
    const short re = s.pfds[i].revents;
    if (re == 0) continue;
    auto it = fds_.find(s.ids[i]);
    // Only while the registration still stands: an earlier handler of this pass, or a pass
    // nested in it, may have removed or changed it.
    if (it == fds_.end() || it->second.removed || it->second.fd != s.pfds[i].fd) continue;
    FdEntry& e = it->second;
    // A pass nested in an earlier handler of this one has polled and served this entry since:
    // what this poll saw is stale (the data may be read already).
    if (e.delivered_poll > this_poll) continue;
    e.delivered_poll = this_poll;
    int ready = 0;
    if ((re & POLLIN) && e.want_read) ready |= kReadable;
    if ((re & POLLOUT) && e.want_write) ready |= kWritable;
    if (re & (POLLERR | POLLHUP | POLLNVAL)) ready |= kError;
    if (ready == 0) continue;
    e.handler(ready);
  }
  RunDueTimers();
  --depth_;
  if (depth_ == 0 && sweep_needed_) Sweep();
}

bool WaitPumping(EventLoop& loop, double seconds, const std::function<bool()>& done) {
  Clock& clock = loop.clock();
  const int64_t end = clock.MonotonicMs() + static_cast<int64_t>(seconds * 1000.0);
  for (;;) {
    const int64_t left = end - clock.MonotonicMs();
    if (left <= 0) return false;
    if (done && done()) return true;
    // A short slice: `done` is tested again soon after any event that may have set it.
    loop.RunOnce(left < 50 ? static_cast<int>(left) : 50);
  }
}

}  // namespace quotlink
