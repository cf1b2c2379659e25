// QUOTLINKFRM: the console form "DTN Control". It is the console's surface (the items that the
// rest of the feeder writes to, the quote board and the signal `Data`), and its handlers load
// the settings, run Timer1 and answer the operator's buttons by driving the feed link.
#ifndef QUOTLINK_CLIENT_QUOTLINKFRM_H_
#define QUOTLINK_CLIENT_QUOTLINKFRM_H_

#include <functional>

#include "client/console_operator.h"
#include "client/console_surface.h"
#include "client/settings.h"
#include "link/feed_link.h"
#include "platform/event_loop.h"

namespace quotlink {

class QUOTLINKFRM : public ConsoleSurface, public ConsoleOperator {
 public:
  // Timer1's interval.
  static constexpr int kTimer1IntervalMs = 2000;

  // `view` (may be null) shows the form. `loop`, `link` and `settings` are not owned and must
  // outlive the form; `link` need not be built yet, it is used from the first Load on.
  // `end_feeder` runs when the form unloads: it shuts the feeder down.
  QUOTLINKFRM(ConsoleView* view, EventLoop* loop, FeedLink* link, Settings* settings,
              std::function<void()> end_feeder);
  ~QUOTLINKFRM() override;
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

  // The settings file written from the settings the feeder holds. A failed write is reported
  // on the console and changes nothing else.
  void SaveSettings();

  // The operator's hand on the console, for the window and the command line.
  void PressHide() override;
  void PressRestart() override;
  void CloseWindow() override;
  void EditBox(ConsoleItem box, std::string_view text) override;
  bool Ended() const override { return link_->stopped(); }

 private:
  EventLoop* const loop_;
  FeedLink* const link_;
  Settings* const settings_;
  const std::function<void()> end_feeder_;
  bool loaded_ = false;
  int timer1_ = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_QUOTLINKFRM_H_
