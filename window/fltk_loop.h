// The feeder's event loop with the window toolkit riding on it.
//
// Which loop owns the thread: ours. A PollLoop keeps every socket, timer and command of the
// feeder, and the X connection is one more descriptor in its poll set; the toolkit only gets
// non-blocking turns (Fl::check) from it. The other way round (the toolkit's own wait owning
// the thread) would hand it our timers, which then run on the wall clock only: the feeder's
// waits are measured on an injectable Clock, and tests run a 15-second session start in a
// fraction of a second on a fake one. The price is that no toolkit call that waits by itself
// (fl_alert, fl_ask and the like) may be used: their nested wait would deliver window events
// but none of ours. The console's modal box is therefore its own, and waits on this loop.
//
// When the toolkit gets its turn:
// - the X connection is readable;
// - events already sit in Xlib's queue while the socket looks idle (a reply that Xlib waited
//   for brought them in): poll() would never report those, so every pass looks at the queue;
// - at least every kFramePeriodMs, so that damaged widgets are drawn and the toolkit's own
//   timeouts run, which it checks only inside its wait.
// A turn draws whatever is damaged. A caption set per frame doesn't even touch its widget: the
// console keeps the text and the loop has it put on the widgets just before a drawing (see
// SetBeforeDraw), so a burst of frames costs one drawing per period, not one per frame.
//
// The X connection is in the poll set only for passes that may sleep. A pump that doesn't wait
// (the UDP intake pumps once per datagram) would pay a second descriptor in every poll() for
// events that the periodic turn reads anyway, at most kFramePeriodMs later.
#ifndef QUOTLINK_WINDOW_FLTK_LOOP_H_
#define QUOTLINK_WINDOW_FLTK_LOOP_H_

#include <chrono>
#include <functional>

#include "platform/event_loop.h"
#include "platform/poll_loop.h"

namespace quotlink {

// True when a window can be opened: $DISPLAY is set and the X server there answers. The toolkit
// ends the process when it can't open its display, so this is asked before anything of it runs.
bool WindowAvailable();

class FltkLoop : public EventLoop {
 public:
  // The longest time damaged widgets wait to be drawn; about the pace of a display.
  static constexpr int kFramePeriodMs = 30;

  // Opens the toolkit's display. `clock` must outlive the loop.
  // REQUIRES: WindowAvailable().
  explicit FltkLoop(Clock* clock);
  ~FltkLoop() override;
  FltkLoop(const FltkLoop&) = delete;
  FltkLoop& operator=(const FltkLoop&) = delete;

  Clock& clock() override { return polls_.clock(); }
  int AddFd(int fd, bool want_read, bool want_write, FdHandler handler) override {
    return polls_.AddFd(fd, want_read, want_write, std::move(handler));
  }
  void SetFdInterest(int id, bool want_read, bool want_write) override {
    polls_.SetFdInterest(id, want_read, want_write);
  }
  void RemoveFd(int id) override { polls_.RemoveFd(id); }
  int AddTimer(int interval_ms, TimerHandler handler) override {
    return polls_.AddTimer(interval_ms, std::move(handler));
  }
  void RemoveTimer(int id) override { polls_.RemoveTimer(id); }
  void PumpOnce() override;
  void RunOnce(int max_wait_ms) override;

  // Draws what is damaged now when the last drawing is at least kFramePeriodMs old: for a
  // caption that must show during work that doesn't pump.
  void FlushIfDue();

  // `hook` puts what changed since the last drawing on the widgets; it runs before every toolkit
  // turn and flush that follows a DrawingPending().
  void SetBeforeDraw(std::function<void()> hook) { before_draw_ = std::move(hook); }
  // Something waits for the before-draw hook: the loop wakes in time for the next turn.
  void DrawingPending() { drawing_pending_ = true; }

  // Times the display was served so far: toolkit turns and flushes (for tests of the pacing).
  long display_turns() const { return display_turns_; }

 private:
  using Steady = std::chrono::steady_clock;

  // Gives the toolkit a turn when one of the reasons above holds.
  void ServeToolkit();
  void ToolkitTurn();
  // Runs the before-draw hook when something waits for it.
  void ApplyPending();
  bool DrawingWaits() const;

  PollLoop polls_;
  int display_reg_ = 0;
  Steady::time_point last_turn_;
  long display_turns_ = 0;
  std::function<void()> before_draw_;
  bool drawing_pending_ = false;
};

}  // namespace quotlink

#endif  // QUOTLINK_WINDOW_FLTK_LOOP_H_
