#include "tools/quotlink/line_reader.h"

#include <unistd.h>

#include <cerrno>

namespace quotlink {

LineReader::LineReader(EventLoop* loop, int fd, std::function<void(const std::string&)> on_line,
                       std::function<void()> on_end)
    : loop_(loop), fd_(fd), on_line_(std::move(on_line)), on_end_(std::move(on_end)) {
  reg_ = loop_->AddFd(fd_, true, false, [this](int) { OnReadable(); });
}

LineReader::~LineReader() {
  if (reg_ != 0) loop_->RemoveFd(reg_);
}

void LineReader::OnReadable() {
  // A command that pumps the loop (restart, get) must not see the next command run inside it:
  // the next line waits until this one has been handled.
  if (busy_) return;
  busy_ = true;
  loop_->SetFdInterest(reg_, false, false);  // no wake-ups for input we won't read yet
  char buf[4096];
  const ssize_t n = read(fd_, buf, sizeof buf);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
    loop_->SetFdInterest(reg_, true, false);
    busy_ = false;
    return;
  }
  if (n <= 0) {
    loop_->RemoveFd(reg_);
    reg_ = 0;
    if (!pending_.empty()) on_line_(pending_);
    pending_.clear();
    on_end_();
    busy_ = false;
    return;
  }
  pending_.append(buf, static_cast<size_t>(n));
  size_t start = 0;
  for (size_t nl; (nl = pending_.find('\n', start)) != std::string::npos; start = nl + 1) {
    std::string line = pending_.substr(start, nl - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    on_line_(line);
  }
  pending_.erase(0, start);
  if (reg_ != 0) loop_->SetFdInterest(reg_, true, false);
  busy_ = false;
}

}  // namespace quotlink
