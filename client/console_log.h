// A ConsoleView for a machine without a window: every caption change, lamp change, modal
// message and beep becomes one line of text, for the operator's terminal or a log file.
//
// The lines, exactly: "Mensagem: TEXT", "Info: TEXT", "Info1: TEXT", "Picture1: cyan",
// "Picture1: red", "message: TEXT", "beep", "notice: TEXT". Control bytes in TEXT are written as
// '?', so that each event stays one line.
#ifndef QUOTLINK_CLIENT_CONSOLE_LOG_H_
#define QUOTLINK_CLIENT_CONSOLE_LOG_H_

#include <cstdio>
#include <string>

#include "client/console_surface.h"

namespace quotlink {

class ConsoleLog : public ConsoleView {
 public:
  // `out` is not owned and must stay open while the log is in use; each line is flushed.
  // `flush_first` (may be null, not owned) is buffered output that may share a destination with
  // the log: it is flushed before each line, so that what it wrote earlier comes earlier.
  explicit ConsoleLog(std::FILE* out, std::FILE* flush_first = nullptr)
      : out_(out), flush_first_(flush_first) {}

  void CaptionChanged(ConsoleItem item, std::string_view text) override;
  void LampChanged(LampColor color) override;
  void ModalMessage(std::string_view text) override;
  void Beep() override;
  void Notice(std::string_view text) override;

 private:
  void Line(std::string_view head, std::string_view text);

  std::FILE* const out_;
  std::FILE* const flush_first_;
  std::string line_;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_CONSOLE_LOG_H_
