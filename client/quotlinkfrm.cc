#include "client/quotlinkfrm.h"

#include "link/packet_dispatch.h"

namespace quotlink {

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

void QUOTLINKFRM::Form_Load() {
  timer1_ = bas_->loop().AddTimer(kTimer1IntervalMs, [this] { Timer1_Timer(); });
  Show();
  RepaintForm();
}

void QUOTLINKFRM::Form_Unload() {
  bas_->End();
}

void QUOTLINKFRM::Command1_Click() {
  Hide();
}

void QUOTLINKFRM::Command2_Click() {}

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

}  // namespace quotlink
