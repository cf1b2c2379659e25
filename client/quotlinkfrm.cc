#include "client/quotlinkfrm.h"

#include <charconv>

namespace quotlink {
namespace {

std::string PortText(int32_t port) {
  char digits[16];
  const auto r = std::to_chars(digits, digits + sizeof digits, port);
  return std::string(digits, r.ptr);
}

}  // namespace

QUOTLINKFRM::QUOTLINKFRM(ConsoleView* view, EventLoop* loop, FeedLink* link, Settings* settings,
                         std::function<void()> end_feeder)
    : ConsoleSurface(view),
      loop_(loop),
      link_(link),
      settings_(settings),
      end_feeder_(std::move(end_feeder)) {}

QUOTLINKFRM::~QUOTLINKFRM() {
  if (timer1_ != 0) loop_->RemoveTimer(timer1_);
}

void QUOTLINKFRM::Load() {
  if (loaded_) return;
  loaded_ = true;
  Form_Load();
}

void QUOTLINKFRM::ShowForm() {
  Load();
  Show();
}

void QUOTLINKFRM::Unload() {
  Form_Unload();
}

void QUOTLINKFRM::SaveSettings() {
  const Status st = WriteSettings(settings_->DataFolder, *settings_);
  if (st.ok()) return;
  // Nothing waits on the file: report it and go on; the settings in memory stay as they are.
  Mensagem.SetCaption("Settings not saved - " + st.message());
  Mensagem.Refresh();
}

void QUOTLINKFRM::Form_Load() {
  timer1_ = loop_->AddTimer(kTimer1IntervalMs, [this] { Timer1_Timer(); });
  const Status st = ReadSettings(settings_->DataFolder, settings_);
  ReadUdpFrom(settings_->DataFolder, settings_);
  if (!st.ok()) {
    // The file could be neither read nor created: the session runs on what the feeder holds.
    Mensagem.SetCaption("Settings file unreadable - " + st.message());
    Mensagem.Refresh();
  }
  DTNIPT.SetCaption(settings_->FeedAddress);
  DTNPORTT.SetCaption(PortText(settings_->FeedPort));
  LOCALPORTT.SetCaption(PortText(settings_->LocalPort));
  link_->ApplySocketSettings();
  Show();
  RepaintForm();
  link_->StartSession();
  if (link_->stopped()) return;
  Show();
  RepaintForm();
}

void QUOTLINKFRM::Form_Unload() {
  SaveSettings();
  end_feeder_();
}

void QUOTLINKFRM::Command1_Click() {
  Hide();
}

void QUOTLINKFRM::Command2_Click() {
  int32_t feed_port = 0;
  int32_t local_port = 0;
  const bool feed_ok = ParsePortText(DTNPORTT.Caption(), &feed_port);
  const bool local_ok = ParsePortText(LOCALPORTT.Caption(), &local_port);
  if (!feed_ok || !local_ok) {
    // A port that isn't a whole 32-bit number: nothing changes, and the session runs on.
    ModalMessage(std::string(feed_ok ? "LOCAL PORT" : "DTN PORT") +
                 " must be a whole number from -2147483648 to 2147483647; nothing changed.");
    return;
  }
  settings_->FeedAddress = DTNIPT.Caption();
  settings_->FeedPort = feed_port;
  settings_->LocalPort = local_port;
  SaveSettings();
  link_->RestartFeed();
}

void QUOTLINKFRM::Timer1_Timer() {
  link_->WriteStatusLine();
  RepaintForm();
}

void QUOTLINKFRM::PressHide() {
  if (Ended()) return;
  Command1_Click();
}

void QUOTLINKFRM::PressRestart() {
  // Before the form is loaded there are no settings in the boxes to restart with.
  if (Ended() || !loaded_) return;
  Command2_Click();
}

void QUOTLINKFRM::CloseWindow() {
  if (Ended()) return;
  Unload();
}

void QUOTLINKFRM::EditBox(ConsoleItem box, std::string_view text) {
  if (Ended()) return;
  switch (box) {
    case ConsoleItem::kDTNIPT:
      DTNIPT.SetCaption(text);
      break;
    case ConsoleItem::kDTNPORTT:
      DTNPORTT.SetCaption(text);
      break;
    case ConsoleItem::kLOCALPORTT:
      LOCALPORTT.SetCaption(text);
      break;
    default:
      // Only the settings boxes take the operator's typing.
      break;
  }
}

}  // namespace quotlink
