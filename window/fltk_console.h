// The operator's window "DTN Control": a ConsoleView that lays the console's items out as a
// window, with the buttons "Hide" and "Restart" and the three settings boxes.
//
// Captions are taken as they come (once per frame, often) but only kept: the loop has them put
// on the widgets just before it draws, at the display's pace (see FltkLoop). The settings boxes are
// the operator's: an edit goes straight to the operator interface (into the surface's text of
// DTNIPT, DTNPORTT or LOCALPORTT), where "Restart" reads it.
#ifndef QUOTLINK_WINDOW_FLTK_CONSOLE_H_
#define QUOTLINK_WINDOW_FLTK_CONSOLE_H_

#include <array>
#include <memory>
#include <string>
#include <string_view>

#include "client/console_operator.h"
#include "client/console_surface.h"
#include "window/fltk_loop.h"

class Fl_Box;
class Fl_Button;
class Fl_Input;
class Fl_RGB_Image;
class Fl_Widget;
class Fl_Window;

namespace quotlink {

// Window measures are given in twips; the screen has 15 twips to a pixel.
constexpr int kTwipsPerPixel = 15;
// Twips to pixels, rounded to the nearest.
constexpr int TwipsToPixels(int twips) {
  return (twips + kTwipsPerPixel / 2) / kTwipsPerPixel;
}

// Size of the window's client area, in twips.
constexpr int kFormWidthTwips = 3144;
constexpr int kFormHeightTwips = 2604;

// The 32 x 32 icon, drawn in code: 3 bytes (red, green, blue) per pixel, rows from the top.
std::array<unsigned char, 32 * 32 * 3> ConsoleIconPixels();

class FltkConsole : public ConsoleView {
 public:
  // Builds the window (not yet shown). `loop` must outlive the console.
  explicit FltkConsole(FltkLoop* loop);
  ~FltkConsole() override;
  FltkConsole(const FltkConsole&) = delete;
  FltkConsole& operator=(const FltkConsole&) = delete;

  // Connects the buttons, the boxes and the close box to the feeder's console. Until then they
  // do nothing. `op` must outlive the console, or Attach(nullptr) must come first.
  void Attach(ConsoleOperator* op) { operator_ = op; }

  void CaptionChanged(ConsoleItem item, std::string_view text) override;
  void RepaintItem(ConsoleItem item) override;
  void RepaintForm() override;
  void LampChanged(LampColor color) override;
  // A modal box with OK; the loop keeps running (sockets, Timer1, the client's commands) until
  // the operator answers or the feeder ends.
  // At most kMaxOpenBoxes at once: messages that come while that many wait for the operator
  // (a feed repeating its complaint, say) go to standard error instead of piling up boxes.
  void ModalMessage(std::string_view text) override;
  static constexpr int kMaxOpenBoxes = 4;
  void Beep() override;
  // On standard error: the window has no place for it.
  void Notice(std::string_view text) override;
  void ShowWindow() override;
  void HideWindow() override;
  void SetWindowNormal() override;
  void BringToFront() override;

  // Puts the captions that came since the last drawing on their widgets. The loop calls this
  // before it draws; tests call it to read a caption back at once.
  void ApplyCaptions();

  // The widgets, for tests and screenshots. Owned by the window; valid as long as the console.
  Fl_Window* window() const { return window_; }
  Fl_Widget* widget(ConsoleItem item) const;
  Fl_Box* lamp() const { return lamp_; }
  Fl_Button* hide_button() const { return hide_; }
  Fl_Button* restart_button() const { return restart_; }
  // The modal box while one is up (the innermost), else null.
  Fl_Window* modal() const { return modal_; }

 private:
  static void OnHide(Fl_Widget*, void* self);
  static void OnRestart(Fl_Widget*, void* self);
  static void OnClose(Fl_Widget*, void* self);
  static void OnEdit(Fl_Widget* w, void* self);

  void SetLabelText(ConsoleItem item, std::string_view text);

  FltkLoop* const loop_;
  ConsoleOperator* operator_ = nullptr;
  Fl_Window* window_ = nullptr;  // owns every widget below
  Fl_Box* lamp_ = nullptr;
  Fl_Box* mensagem_ = nullptr;
  Fl_Box* info_ = nullptr;
  Fl_Box* info1_ = nullptr;
  Fl_Input* dtnipt_ = nullptr;
  Fl_Input* dtnportt_ = nullptr;
  Fl_Input* localportt_ = nullptr;
  Fl_Button* hide_ = nullptr;
  Fl_Button* restart_ = nullptr;
  std::unique_ptr<Fl_RGB_Image> icon_;
  // The captions of Mensagem, Info and Info1 as they came, and whether each is newer than its
  // widget's.
  std::array<std::string, 3> caption_;
  std::array<bool, 3> caption_new_{};
  // The shown captions, with '@' doubled (the toolkit draws "@name" as a symbol). The widgets
  // point into these strings, so they are reused, never reallocated between a caption and its
  // label() call.
  std::array<std::string, 3> label_text_;
  Fl_Window* modal_ = nullptr;
  int open_boxes_ = 0;  // modal boxes up, one inside the other
  // "Restart" pumps the loop for seconds (the session start waits); a second click, delivered
  // by that pump, would start a session inside the first one's wait.
  bool restarting_ = false;
};

}  // namespace quotlink

#endif  // QUOTLINK_WINDOW_FLTK_CONSOLE_H_
