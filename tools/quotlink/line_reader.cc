#include "tools/quotlink/line_reader.h"

#include <unistd.h>

#include <cerrno>

namespace quotlink {

LineReader::LineReader(EventLoop* loop, int fd, std::function<void(const std::string&)> on_line,
                       std::function<void()> on_too_long, std::function<void()> on_end)
    : loop_(loop),
      fd_(fd),
      on_line_(std::move(on_line)),
      on_too_long_(std::move(on_too_long)),
      on_end_(std::move(on_end)) {
  if (fd_ >= 0) reg_ = loop_->AddFd(fd_, true, false, [this](int) { OnReadable(); });
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
    if (!pending_.empty() && !skipping_) on_line_(pending_);
    pending_.clear();
    on_end_();
    busy_ = false;
    return;
  }
  const size_t scanned = pending_.size();
  pending_.append(buf, static_cast<size_t>(n));
  size_t start = 0;
  for (size_t nl;
       (nl = pending_.find('\n', scanned > start ? scanned : start)) != std::string::npos;
       start = nl + 1) {
    if (skipping_) {
      skipping_ = false;
      continue;
    }
    std::string line = pending_.substr(start, nl - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.size() > kMaxLine) {
      on_too_long_();
    } else {
      on_line_(line);
    }
  }
  pending_.erase(0, start);
  // A line still without its end past the bound: drop what came and the rest up to its end.
  if (!skipping_ && pending_.size() > kMaxLine + 1) {
    skipping_ = true;
    on_too_long_();
  }
  if (skipping_) pending_.clear();
  if (reg_ != 0) loop_->SetFdInterest(reg_, true, false);
  busy_ = false;
}

std::string Printable(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (c >= 0x20 && c < 0x7F) {
      out.push_back(ch);
    } else {
      out += "\\x";
      out.push_back(kHex[c >> 4]);
      out.push_back(kHex[c & 0xF]);
    }
  }
  return out;
}

}  // namespace quotlink
