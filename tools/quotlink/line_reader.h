// Lines of text from a file descriptor (standard input), delivered through the event loop.
#ifndef QUOTLINK_TOOLS_QUOTLINK_LINE_READER_H_
#define QUOTLINK_TOOLS_QUOTLINK_LINE_READER_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/event_loop.h"

namespace quotlink {

class LineReader {
 public:
  // The longest line taken, line end excluded: commands are short, and a reader that held any
  // length would let a stray stream of bytes without line ends take the memory.
  static constexpr size_t kMaxLine = 4096;

  // Calls `on_line` for each line (without its end, a CR before it dropped), `on_too_long` for
  // each line longer than kMaxLine (which is dropped whole), and `on_end` once at the end of
  // input. `loop` must outlive the reader; `fd` is not owned. With `fd` -1 nothing is read and
  // nothing is called: for a program without input.
  LineReader(EventLoop* loop, int fd, std::function<void(const std::string&)> on_line,
             std::function<void()> on_too_long, std::function<void()> on_end);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

 private:
  // Hands out the whole lines read and keeps the rest; each byte is looked at once.
  void OnReadable();

  EventLoop* const loop_;
  const int fd_;
  int reg_ = 0;
  bool busy_ = false;      // a command's handler may pump the loop (a restart does)
  bool skipping_ = false;  // inside a line that was too long, until its end
  std::string pending_;    // the start of a line whose end hasn't come
  std::function<void(const std::string&)> on_line_;
  std::function<void()> on_too_long_;
  std::function<void()> on_end_;
};

// `text` with every byte that a terminal could take for a control (below 0x20, 0x7F, and the
// bytes of 0x80 and up) written as \xNN, for echoing what a user typed.
std::string Printable(std::string_view text);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_LINE_READER_H_
