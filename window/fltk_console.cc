#include "window/fltk_console.h"

#include <FL/Enumerations.H>
#include <FL/Fl.H>
#include <FL/Fl_Box.H>
#include <FL/Fl_Button.H>
#include <FL/Fl_Double_Window.H>
#include <FL/Fl_Input.H>
#include <FL/Fl_RGB_Image.H>
#include <FL/Fl_Return_Button.H>
#include <FL/fl_ask.H>
#include <FL/fl_draw.H>

#include <cstdio>

namespace quotlink {
namespace {

// 7.8 point at the console's 96 dots to the inch.
constexpr int kFontPx = 10;
constexpr Fl_Font kRegular = FL_HELVETICA;
constexpr Fl_Font kBold = FL_HELVETICA_BOLD;

// An item's place on the form, in twips.
struct Place {
  int left, top, width, height;
};

// DO NOT CHANGE: the form's layout as the operator knows it.
constexpr Place kPicture1{1260, 2196, 225, 225};
constexpr Place kMensagem{108, 36, 2952, 528};
constexpr Place kCommand1{144, 2196, 975, 360};
constexpr Place kInfo{108, 612, 2952, 240};
constexpr Place kInfo1{108, 900, 2952, 240};
constexpr Place kDTNIPT{1548, 1188, 1524, 288};
constexpr Place kLabel1{144, 1224, 948, 264};
constexpr Place kDTNPORTT{1548, 1512, 1524, 288};
constexpr Place kLabel2{144, 1548, 1344, 264};
constexpr Place kLOCALPORTT{1548, 1836, 1524, 288};
constexpr Place kLabel3{144, 1872, 1308, 264};
constexpr Place kCommand2{2088, 2196, 975, 360};

template <typename W>
W* Make(const Place& p, const char* caption = nullptr) {
  return new W(TwipsToPixels(p.left), TwipsToPixels(p.top), TwipsToPixels(p.width),
               TwipsToPixels(p.height), caption);
}

// A bordered status label: centred text from the top, wrapped at the border.
Fl_Box* StatusLabel(const Place& p) {
  Fl_Box* b = Make<Fl_Box>(p);
  b->box(FL_BORDER_BOX);
  b->color(FL_BACKGROUND_COLOR);
  b->align(FL_ALIGN_TOP | FL_ALIGN_INSIDE | FL_ALIGN_WRAP | FL_ALIGN_CLIP);
  b->labelfont(kRegular);
  b->labelsize(kFontPx);
  return b;
}

// A label that names a box: no border, text from the top left.
void NameLabel(const Place& p, const char* caption) {
  Fl_Box* b = Make<Fl_Box>(p, caption);
  b->box(FL_NO_BOX);
  b->align(FL_ALIGN_TOP_LEFT | FL_ALIGN_INSIDE);
  b->labelfont(kRegular);
  b->labelsize(kFontPx);
}

Fl_Button* Button(const Place& p, const char* caption) {
  Fl_Button* b = Make<Fl_Button>(p, caption);
  b->labelfont(kBold);
  b->labelsize(kFontPx);
  return b;
}

Fl_Input* Box(const Place& p) {
  Fl_Input* in = Make<Fl_Input>(p);
  in->textfont(kRegular);
  in->textsize(kFontPx);
  in->when(FL_WHEN_CHANGED);
  return in;
}

// The text as the toolkit's labels draw it: "@" starts a symbol there, "@@" is a plain "@".
void ShownText(std::string_view text, std::string* out) {
  out->clear();
  for (char c : text) {
    out->push_back(c);
    if (c == '@') out->push_back('@');
  }
}

Fl_Color LampFill(LampColor color) {
  switch (color) {
    case LampColor::kLightCyan:
      return fl_rgb_color(0, 255, 255);
    case LampColor::kLightRed:
      return fl_rgb_color(255, 0, 0);
    case LampColor::kUnpainted:
      break;
  }
  return FL_BACKGROUND_COLOR;
}

}  // namespace

FltkConsole::FltkConsole(FltkLoop* loop) : loop_(loop) {
  window_ = new Fl_Double_Window(TwipsToPixels(kFormWidthTwips), TwipsToPixels(kFormHeightTwips),
                                 "DTN Control");
  window_->labelfont(kBold);
  window_->labelsize(kFontPx);
  window_->xclass("quotlink");
  window_->callback(OnClose, this);

  // Children in the form's tab order: the toolkit moves the focus in the order of creation.
  lamp_ = Make<Fl_Box>(kPicture1);
  lamp_->box(FL_DOWN_BOX);
  lamp_->color(FL_BACKGROUND_COLOR);
  lamp_->labelfont(kRegular);
  lamp_->labelsize(kFontPx);
  mensagem_ = StatusLabel(kMensagem);
  hide_ = Button(kCommand1, "Hide");
  hide_->callback(OnHide, this);
  info_ = StatusLabel(kInfo);
  info1_ = StatusLabel(kInfo1);
  dtnipt_ = Box(kDTNIPT);
  NameLabel(kLabel1, "DTN IP");
  dtnportt_ = Box(kDTNPORTT);
  NameLabel(kLabel2, "DTN PORT");
  localportt_ = Box(kLOCALPORTT);
  NameLabel(kLabel3, "LOCAL PORT");
  restart_ = Button(kCommand2, "Restart");
  restart_->callback(OnRestart, this);
  for (Fl_Input* in : {dtnipt_, dtnportt_, localportt_})
    in->callback(OnEdit, this);
  window_->end();

  static const auto pixels = ConsoleIconPixels();
  icon_ = std::make_unique<Fl_RGB_Image>(pixels.data(), 32, 32, 3);
  window_->icon(icon_.get());
  loop_->SetBeforeDraw([this] { ApplyCaptions(); });
}

FltkConsole::~FltkConsole() {
  loop_->SetBeforeDraw(nullptr);
  delete window_;
}

Fl_Widget* FltkConsole::widget(ConsoleItem item) const {
  switch (item) {
    case ConsoleItem::kMensagem:
      return mensagem_;
    case ConsoleItem::kInfo:
      return info_;
    case ConsoleItem::kInfo1:
      return info1_;
    case ConsoleItem::kDTNIPT:
      return dtnipt_;
    case ConsoleItem::kDTNPORTT:
      return dtnportt_;
    case ConsoleItem::kLOCALPORTT:
      return localportt_;
  }
  return nullptr;
}

void FltkConsole::SetLabelText(ConsoleItem item, std::string_view text) {
  const auto slot = static_cast<size_t>(item) - static_cast<size_t>(ConsoleItem::kMensagem);
  caption_[slot].assign(text);
  caption_new_[slot] = true;
  loop_->DrawingPending();
}

void FltkConsole::ApplyCaptions() {
  for (size_t slot = 0; slot < caption_.size(); ++slot) {
    if (!caption_new_[slot]) continue;
    caption_new_[slot] = false;
    std::string& shown = label_text_[slot];
    ShownText(caption_[slot], &shown);
    // The string may have moved while growing: point the widget at it again, every time.
    Fl_Widget* w =
        widget(static_cast<ConsoleItem>(static_cast<size_t>(ConsoleItem::kMensagem) + slot));
    w->label(shown.c_str());
    w->redraw();
  }
}

void FltkConsole::CaptionChanged(ConsoleItem item, std::string_view text) {
  switch (item) {
    case ConsoleItem::kMensagem:
    case ConsoleItem::kInfo:
    case ConsoleItem::kInfo1:
      return SetLabelText(item, text);
    case ConsoleItem::kDTNIPT:
    case ConsoleItem::kDTNPORTT:
    case ConsoleItem::kLOCALPORTT: {
      auto* in = static_cast<Fl_Input*>(widget(item));
      // An edit of the operator's comes back here through the surface: leave the box (and its
      // cursor) alone then.
      if (std::string_view(in->value(), static_cast<size_t>(in->size())) == text) return;
      in->value(text.data(), static_cast<int>(text.size()));
      return;
    }
  }
}

void FltkConsole::RepaintItem(ConsoleItem item) {
  widget(item)->redraw();
  loop_->FlushIfDue();
}

void FltkConsole::RepaintForm() {
  // Every change has marked its widget already; what is left is to draw, at the display's pace.
  loop_->FlushIfDue();
}

void FltkConsole::LampChanged(LampColor color) {
  lamp_->color(LampFill(color));
  lamp_->redraw();
}

void FltkConsole::ModalMessage(std::string_view text) {
  if (open_boxes_ >= kMaxOpenBoxes) {
    std::fprintf(stderr, "quotlink: %d message boxes wait for OK; not shown as a box: %.*s\n",
                 open_boxes_, static_cast<int>(text.size()), text.data());
    return;
  }
  std::string shown;
  ShownText(text, &shown);
  fl_font(kRegular, 12);
  int text_w = 320, text_h = 0;
  fl_measure(shown.c_str(), text_w, text_h);
  if (text_w < 200) text_w = 200;
  const int w = text_w + 40, h = text_h + 76;

  auto box = std::make_unique<Fl_Window>(w, h, "DTN Control");
  auto* msg = new Fl_Box(20, 16, text_w, text_h, shown.c_str());
  msg->labelfont(kRegular);
  msg->labelsize(12);
  msg->align(FL_ALIGN_TOP_LEFT | FL_ALIGN_INSIDE | FL_ALIGN_WRAP);
  auto* ok = new Fl_Return_Button((w - 90) / 2, h - 44, 90, 26, "OK");
  ok->labelfont(kBold);
  ok->labelsize(kFontPx);
  ok->callback([](Fl_Widget* b, void*) { b->window()->hide(); });
  box->end();
  box->set_modal();
  if (window_->shown()) box->position(window_->x() + 10, window_->y() + 10);
  box->show();

  Fl_Window* const outer = modal_;
  modal_ = box.get();
  ++open_boxes_;
  // The feeder runs on while the operator reads: sockets, Timer1 and the client's commands all
  // come through this loop. A feeder that ends meanwhile takes the box with it.
  while (box->shown() && !(operator_ != nullptr && operator_->Ended()) && !loop_->quitting())
    loop_->RunOnce(100);
  --open_boxes_;
  modal_ = outer;
}

void FltkConsole::Beep() {
  fl_beep();
}

void FltkConsole::Notice(std::string_view text) {
  std::fprintf(stderr, "quotlink: %.*s\n", static_cast<int>(text.size()), text.data());
}

void FltkConsole::ShowWindow() {
  window_->show();
}

void FltkConsole::HideWindow() {
  window_->hide();
}

void FltkConsole::SetWindowNormal() {
  // Shown but not visible: iconified. A show maps it again.
  if (window_->shown() && !window_->visible()) window_->show();
}

void FltkConsole::BringToFront() {
  // A show of a shown window raises it, once, without keeping it above others.
  if (window_->shown()) window_->show();
}

void FltkConsole::OnHide(Fl_Widget*, void* self) {
  auto* c = static_cast<FltkConsole*>(self);
  if (c->operator_ != nullptr) c->operator_->PressHide();
}

void FltkConsole::OnRestart(Fl_Widget*, void* self) {
  auto* c = static_cast<FltkConsole*>(self);
  if (c->operator_ == nullptr || c->operator_->Ended()) return;
  if (c->restarting_) {
    fl_beep();
    return;
  }
  c->restarting_ = true;
  c->operator_->PressRestart();
  c->restarting_ = false;
}

void FltkConsole::OnClose(Fl_Widget*, void* self) {
  // Escape also reaches a window's callback; only the close box ends the feeder.
  if (Fl::event() == FL_SHORTCUT && Fl::event_key() == FL_Escape) return;
  auto* c = static_cast<FltkConsole*>(self);
  if (c->operator_ != nullptr) c->operator_->CloseWindow();
  c->window_->hide();
}

void FltkConsole::OnEdit(Fl_Widget* w, void* self) {
  auto* c = static_cast<FltkConsole*>(self);
  if (c->operator_ == nullptr) return;
  auto* in = static_cast<Fl_Input*>(w);
  const ConsoleItem box = in == c->dtnipt_     ? ConsoleItem::kDTNIPT
                          : in == c->dtnportt_ ? ConsoleItem::kDTNPORTT
                                               : ConsoleItem::kLOCALPORTT;
  c->operator_->EditBox(box, std::string_view(in->value(), static_cast<size_t>(in->size())));
}

}  // namespace quotlink
