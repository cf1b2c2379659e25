#include "client/quotlinkfrm.h"

#include <charconv>

#include "client/settings.h"
#include "link/packet_dispatch.h"
#include "link/session.h"

namespace quotlink {
namespace {

std::string PortText(int32_t port) {
  char digits[16];
  const auto r = std::to_chars(digits, digits + sizeof digits, port);
  return std::string(digits, r.ptr);
}

}  // namespace

QUOTLINKFRM::QUOTLINKFRM(QUOTLINKBAS* bas) : ConsoleSurface(bas->view()), bas_(bas) {
  TCP = bas->sockets().Create(Protocol::kTcp);
  UDP = bas->sockets().Create(Protocol::kUdp);
  TCP->on_data_arrival = [this] { TCP_DataArrival(*bas_); };
  UDP->on_data_arrival = [this] { UDP_DataArrival(*bas_); };
  TCP->on_connect = [this] { TCP_Connect(); };
}

QUOTLINKFRM::~QUOTLINKFRM() {
  if (timer1_ != 0) bas_->loop().RemoveTimer(timer1_);
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

Settings QUOTLINKFRM::CurrentSettings() const {
  return Settings{bas_->FeedAddress, bas_->FeedPort, bas_->LocalPort};
}

void QUOTLINKFRM::SaveSettings() {
  const Status st = WriteSettings(bas_->DataFolder, CurrentSettings());
  if (st.ok()) return;
  // Nothing waits on the file: report it and go on; the settings in memory stay as they are.
  Mensagem.SetCaption("Settings not saved - " + st.message());
  Mensagem.Refresh();
}

void QUOTLINKFRM::Form_Load() {
  timer1_ = bas_->loop().AddTimer(kTimer1IntervalMs, [this] { Timer1_Timer(); });
  Settings settings = CurrentSettings();
  const Status st = ReadSettings(bas_->DataFolder, &settings);
  bas_->FeedAddress = settings.FeedAddress;
  bas_->FeedPort = settings.FeedPort;
  bas_->LocalPort = settings.LocalPort;
  if (!st.ok()) {
    // The file could be neither read nor created: the session runs on what the feeder holds.
    Mensagem.SetCaption("Settings file unreadable - " + st.message());
    Mensagem.Refresh();
  }
  DTNIPT.SetCaption(bas_->FeedAddress);
  DTNPORTT.SetCaption(PortText(bas_->FeedPort));
  LOCALPORTT.SetCaption(PortText(bas_->LocalPort));
  ApplySocketSettings(*bas_);
  Show();
  RepaintForm();
  StartSession(*bas_);
  if (bas_->ended()) return;
  Show();
  RepaintForm();
}

void QUOTLINKFRM::Form_Unload() {
  SaveSettings();
  bas_->End();
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
  bas_->FeedAddress = DTNIPT.Caption();
  bas_->FeedPort = feed_port;
  bas_->LocalPort = local_port;
  SaveSettings();
  RestartFeed(*bas_);
}

void QUOTLINKFRM::Timer1_Timer() {
  WriteStatusLine();
  RepaintForm();
}

void QUOTLINKFRM::TCP_Connect() {
  bas_->TcpConnected = 1;
}

void QUOTLINKFRM::WriteStatusLine() {
  FormatStatusLine(&status_line_, bas_->TcpPacketCount, bas_->UdpPacketCount);
  Mensagem.SetCaption(status_line_);
}

void QUOTLINKFRM::PressHide() {
  if (bas_->ended()) return;
  Command1_Click();
}

void QUOTLINKFRM::PressRestart() {
  // Before the form is loaded there are no settings in the boxes to restart with.
  if (bas_->ended() || !loaded_) return;
  Command2_Click();
}

void QUOTLINKFRM::CloseWindow() {
  if (bas_->ended()) return;
  Unload();
}

void QUOTLINKFRM::EditBox(ConsoleItem box, std::string_view text) {
  if (bas_->ended()) return;
  switch (box) {
    case ConsoleItem::kDTNIPT:
      return DTNIPT.SetCaption(text);
    case ConsoleItem::kDTNPORTT:
      return DTNPORTT.SetCaption(text);
    case ConsoleItem::kLOCALPORTT:
      return LOCALPORTT.SetCaption(text);
    case ConsoleItem::kMensagem:
    case ConsoleItem::kInfo:
    case ConsoleItem::kInfo1:
      return;
  }
}

bool QUOTLINKFRM::Ended() const {
  return bas_->ended();
}

}  // namespace quotlink
