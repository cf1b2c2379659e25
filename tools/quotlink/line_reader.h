// Lines of text from a file descriptor (standard input), delivered through the event loop.
#ifndef QUOTLINK_TOOLS_QUOTLINK_LINE_READER_H_
#define QUOTLINK_TOOLS_QUOTLINK_LINE_READER_H_

#include <functional>
#include <string>

#include "platform/event_loop.h"

namespace quotlink {

class LineReader {
 public:
  // Calls `on_line` for each line (without its end, a CR before it dropped) and `on_end` once
  // at the end of input. `loop` must outlive the reader; `fd` is not owned.
  LineReader(EventLoop* loop, int fd, std::function<void(const std::string&)> on_line,
             std::function<void()> on_end);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

 private:
  void OnReadable();

  EventLoop* const loop_;
  const int fd_;
  int reg_ = 0;
  bool busy_ = false;  // a command's handler may pump the loop (a restart does)
  std::string pending_;
  std::function<void(const std::string&)> on_line_;
  std::function<void()> on_end_;
};

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_LINE_READER_H_
