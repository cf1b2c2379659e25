#include "window/fltk_loop.h"

#include <FL/Fl.H>
#include <FL/x.H>
// For the fill of Xlib's output buffer, which its public interface doesn't tell.
#include <X11/Xlibint.h>

#include <cstdlib>

// For builds with LeakSanitizer (unused otherwise): the font library that the toolkit draws text
// with keeps its caches (patterns and font sets that the first text drawn loads) until the
// process ends, by design. Here, because every program with a window runs this file. Nothing of
// ours is listed.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}

namespace quotlink {

bool WindowAvailable() {
  const char* name = std::getenv("DISPLAY");
  if (name == nullptr || *name == '\0') return false;
  Display* probe = XOpenDisplay(name);
  if (probe == nullptr) return false;
  XCloseDisplay(probe);
  return true;
}

FltkLoop::FltkLoop(Clock* clock) : polls_(clock) {
  fl_open_display();
  // Readable X connection: the toolkit reads and dispatches what came. Its handlers (buttons,
  // the close box) may pump this loop again; the toolkit allows its own wait to nest.
  display_reg_ =
      polls_.AddFd(ConnectionNumber(fl_display), true, false, [this](int) { ToolkitTurn(); });
  polls_.SetFdWaitOnly(display_reg_, true);
  last_turn_ = Steady::now();
}

FltkLoop::~FltkLoop() {
  polls_.RemoveFd(display_reg_);
}

void FltkLoop::ApplyPending() {
  if (!drawing_pending_) return;
  drawing_pending_ = false;
  if (before_draw_) before_draw_();
}

bool FltkLoop::DrawingWaits() const {
  return drawing_pending_ || Fl::damage() != 0;
}

void FltkLoop::ToolkitTurn() {
  ++display_turns_;
  last_turn_ = Steady::now();
  ApplyPending();
  Fl::check();
}

void FltkLoop::ServeToolkit() {
  // Events that Xlib already read off the socket show nowhere but in its queue.
  if (XQLength(fl_display) > 0 ||
      Steady::now() - last_turn_ >= std::chrono::milliseconds(kFramePeriodMs)) {
    ToolkitTurn();
  }
}

void FltkLoop::FlushIfDue() {
  if (!DrawingWaits()) return;
  if (Steady::now() - last_turn_ < std::chrono::milliseconds(kFramePeriodMs)) return;
  // Only drawing: events wait for the next pass, so that no handler runs inside a caption
  // change.
  ++display_turns_;
  last_turn_ = Steady::now();
  ApplyPending();
  Fl::flush();
}

void FltkLoop::PumpOnce() {
  ServeToolkit();
  polls_.PumpOnce();
}

void FltkLoop::RunOnce(int max_wait_ms) {
  ServeToolkit();
  int wait = max_wait_ms;
  if (DrawingWaits()) {
    // Something waits to be drawn: wake in time for the next turn.
    const auto since =
        std::chrono::duration_cast<std::chrono::milliseconds>(Steady::now() - last_turn_);
    const int left = kFramePeriodMs - static_cast<int>(since.count());
    if (left < wait) wait = left < 0 ? 0 : left;
  }
  // Requests that a handler left in Xlib's buffer (a hide, a raise) must reach the server before
  // we sleep. Only when there are some: a flush also reads the connection for events, a system
  // call that, on every short sleep between datagrams, would cost a third of the UDP rate.
  if (wait > 0 && fl_display->bufptr != fl_display->buffer) {
    XFlush(fl_display);
    // The flush may have read events into Xlib's queue: the socket won't wake us for them.
    if (XQLength(fl_display) > 0) {
      ToolkitTurn();
      wait = 0;
    }
  }
  polls_.RunOnce(wait);
}

}  // namespace quotlink
