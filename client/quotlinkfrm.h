// QUOTLINKFRM: the console form "DTN Control". Besides what the operator sees (the surface),
// it owns the two sockets, their FeedBuffers, the timer, the watch list, the QuoteBoard and the
// signal `Data`, and its handlers run the session.
#ifndef QUOTLINK_CLIENT_QUOTLINKFRM_H_
#define QUOTLINK_CLIENT_QUOTLINKFRM_H_

#include <memory>
#include <string>

#include "client/console_operator.h"
#include "client/console_surface.h"
#include "client/quotlinkbas.h"
#include "client/settings.h"
#include "link/frame_intake.h"
#include "platform/socket.h"

namespace quotlink {

class QUOTLINKFRM : public ConsoleSurface, public ConsoleOperator {
 public:
  // Timer1's interval.
  static constexpr int kTimer1IntervalMs = 2000;

  // `bas` owns the form and outlives it.
  explicit QUOTLINKFRM(QUOTLINKBAS* bas);
  ~QUOTLINKFRM();
  QUOTLINKFRM(const QUOTLINKFRM&) = delete;
  QUOTLINKFRM& operator=(const QUOTLINKFRM&) = delete;

  // Loads the form if it isn't loaded yet: Form_Load runs to its end before this returns.
  void Load();
  bool loaded() const { return loaded_; }
  // Shows the window, loading the form first if needed.
  void ShowForm();
  // Unloads the form: Form_Unload.
  void Unload();

  // Handlers.
  void Form_Load();
  void Form_Unload();
  void Command1_Click();
  void Command2_Click();
  void Timer1_Timer();
  void TCP_Connect();

  // Writes the status line of the packet counts to Mensagem.
  void WriteStatusLine();

  // The settings as the feeder holds them, and their file written from them. A failed write is
  // reported on the console and changes nothing else.
  Settings CurrentSettings() const;
  void SaveSettings();

  std::unique_ptr<Socket> TCP;
  std::unique_ptr<Socket> UDP;
  FeedBuffer tcp_buffer;
  FeedBuffer udp_buffer;
  QuoteBoard board;
  int16_t ComunicationOK = 0;

  // The buffer that a DataArrival event reads into; one per path, reused.
  ByteString& read_scratch(FeedPath path) { return path == FeedPath::kTcp ? tcp_read_ : udp_read_; }

  // The operator's hand on the console, for the window and the command line.
  void PressHide() override;
  void PressRestart() override;
  void CloseWindow() override;
  void EditBox(ConsoleItem box, std::string_view text) override;
  bool Ended() const override;

 private:
  QUOTLINKBAS* const bas_;
  bool loaded_ = false;
  int timer1_ = 0;
  ByteString tcp_read_;
  ByteString udp_read_;
  std::string status_line_;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_QUOTLINKFRM_H_
