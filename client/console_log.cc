#include "client/console_log.h"

namespace quotlink {

void ConsoleLog::Line(std::string_view head, std::string_view text) {
  line_.assign(head);
  for (char c : text) {
    const auto b = static_cast<unsigned char>(c);
    line_.push_back(b < 0x20 || b == 0x7F ? '?' : c);
  }
  line_.push_back('\n');
  if (flush_first_ != nullptr) std::fflush(flush_first_);
  std::fwrite(line_.data(), 1, line_.size(), out_);
  std::fflush(out_);
}

void ConsoleLog::CaptionChanged(ConsoleItem item, std::string_view text) {
  switch (item) {
    case ConsoleItem::kMensagem:
      return Line("Mensagem: ", text);
    case ConsoleItem::kInfo:
      return Line("Info: ", text);
    case ConsoleItem::kInfo1:
      return Line("Info1: ", text);
    default:
      return;  // the settings boxes are the operator's own input
  }
}

void ConsoleLog::LampChanged(LampColor color) {
  if (color == LampColor::kLightCyan) Line("Picture1: cyan", "");
  if (color == LampColor::kLightRed) Line("Picture1: red", "");
}

void ConsoleLog::ModalMessage(std::string_view text) {
  Line("message: ", text);
}

void ConsoleLog::Beep() {
  Line("beep", "");
}

void ConsoleLog::Notice(std::string_view text) {
  Line("notice: ", text);
}

}  // namespace quotlink
