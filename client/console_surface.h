// The console's surface: the status items that the logic writes to, the signal `Data`, the
// watch list `DTNSYMBOLS`, the quote board, and the window operations. All of the logic needs
// only these, so the feeder runs the same with or without a window: a ConsoleView decides what
// is shown (a log on a terminal, a window, or nothing).
//
// Header only: the subsystems below the client build on this contract without linking the
// client's library, so the layers keep running one way.
#ifndef QUOTLINK_CLIENT_CONSOLE_SURFACE_H_
#define QUOTLINK_CLIENT_CONSOLE_SURFACE_H_

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "client/subscribers.h"

namespace quotlink {

enum class ConsoleItem { kMensagem, kInfo, kInfo1, kDTNIPT, kDTNPORTT, kLOCALPORTT };

inline const char* ConsoleItemName(ConsoleItem item) {
  switch (item) {
    case ConsoleItem::kMensagem:
      return "Mensagem";
    case ConsoleItem::kInfo:
      return "Info";
    case ConsoleItem::kInfo1:
      return "Info1";
    case ConsoleItem::kDTNIPT:
      return "DTNIPT";
    case ConsoleItem::kDTNPORTT:
      return "DTNPORTT";
    case ConsoleItem::kLOCALPORTT:
      return "LOCALPORTT";
  }
  return "?";
}

// The three states of the lamp: the window's background colour until a frame paints it.
enum class LampColor { kUnpainted, kLightCyan, kLightRed };

// What shows the console. Every hook has an empty default: a headless feeder without a log
// shows nothing.
class ConsoleView {
 public:
  virtual ~ConsoleView() = default;
  // A caption or a text box's text changed to `text`.
  virtual void CaptionChanged(ConsoleItem, std::string_view /*text*/) {}
  // The item must show its caption before the call returns.
  virtual void RepaintItem(ConsoleItem) {}
  virtual void RepaintForm() {}
  virtual void LampChanged(LampColor) {}
  // Shows `text` with an OK button and returns when the operator has answered; the view keeps
  // the feeder's loop running meanwhile. Headless: returns at once.
  virtual void ModalMessage(std::string_view /*text*/) {}
  virtual void Beep() {}
  // Something the operator should know that none of the console's items shows (say, that
  // datagrams from strangers were refused); not a caption, never kept.
  virtual void Notice(std::string_view /*text*/) {}
  virtual void ShowWindow() {}
  virtual void HideWindow() {}
  virtual void SetWindowNormal() {}
  // Brings the window in front of all others without keeping it on top.
  virtual void BringToFront() {}
};

// A label or a text box: a text that a view shows.
class Label {
 public:
  Label(ConsoleItem item, ConsoleView* const* view) : item_(item), view_(view) {}
  Label(const Label&) = delete;
  Label& operator=(const Label&) = delete;

  // Sets the caption; the view hears of it only when the text differs. Reuses the caption's
  // storage, so a steady stream of captions allocates nothing.
  void SetCaption(std::string_view text) {
    if (text == caption_) return;
    caption_.assign(text);
    if (*view_ != nullptr) (*view_)->CaptionChanged(item_, caption_);
  }
  const std::string& Caption() const { return caption_; }
  // Has the caption shown before the call returns.
  void Refresh() {
    if (*view_ != nullptr) (*view_)->RepaintItem(item_);
  }

 private:
  const ConsoleItem item_;
  ConsoleView* const* const view_;
  std::string caption_;
};

class Lamp {
 public:
  explicit Lamp(ConsoleView* const* view) : view_(view) {}
  void SetColor(LampColor color) {
    if (color == color_) return;
    color_ = color;
    if (*view_ != nullptr) (*view_)->LampChanged(color);
  }
  LampColor Color() const { return color_; }

 private:
  ConsoleView* const* const view_;
  LampColor color_ = LampColor::kUnpainted;
};

// The text holder `Data`: a bell rung by a change of its text. Subscribers run at once, in the
// order they subscribed, and to their end, before SetText returns; setting the same text again
// runs nothing. A subscriber may subscribe, unsubscribe or set the text again from inside.
class TextSignal {
 public:
  using Handler = Subscribers::Handler;

  void SetText(std::string_view text) {
    if (text == text_) return;
    text_.assign(text);
    subscribers_.Fire();
  }
  const std::string& Text() const { return text_; }
  // Returns an id above 0 for Unsubscribe.
  int Subscribe(Handler handler) { return subscribers_.Subscribe(std::move(handler)); }
  void Unsubscribe(int id) { subscribers_.Unsubscribe(id); }

 private:
  std::string text_;
  Subscribers subscribers_;
};

// The watch list `DTNSYMBOLS`: symbol texts, positions counted from 1, in the order added.
// Nothing takes an entry out. Find is a hash lookup and compares exactly, case included.
class WatchList {
 public:
  // The position of `text`, or 0 when it isn't on the list.
  int32_t Find(std::string_view text) const {
    auto it = index_.find(text);
    return it == index_.end() ? 0 : it->second;
  }
  // Appends `text` and gives its position. REQUIRES: Find(text) < 1 (callers look first).
  int32_t Add(std::string_view text) {
    entries_.emplace_back(text);
    const auto position = static_cast<int32_t>(entries_.size());
    index_.emplace(entries_.back(), position);
    return position;
  }
  int32_t size() const { return static_cast<int32_t>(entries_.size()); }
  const std::string& at(int32_t position) const { return entries_[position - 1]; }

 private:
  std::deque<std::string> entries_;  // stable storage for the views of index_
  std::unordered_map<std::string_view, int32_t> index_;
};

// The quote being published: the public fields of the console that a publication fills and
// every started client object copies.
struct QuoteBoard {
  std::string vSimbolo;
  float vLast = 0, vLastS = 0, vBid = 0, vBidS = 0, vAsk = 0, vAskS = 0, vOpen = 0, vHi = 0,
        vLow = 0, vPrevious = 0, vChange = 0, vOInt = 0, vVol = 0, vTime = 0;
  int16_t fFlag = 0;
};

// The items of the console, and the window operations, over one ConsoleView.
class ConsoleSurface {
 public:
  // `view` may be null (nothing shown) and must outlive the surface.
  explicit ConsoleSurface(ConsoleView* view) : view_(view) {}
  ConsoleSurface(const ConsoleSurface&) = delete;
  ConsoleSurface& operator=(const ConsoleSurface&) = delete;

  void SetView(ConsoleView* view) { view_ = view; }
  ConsoleView* view() const { return view_; }

  Label Mensagem{ConsoleItem::kMensagem, &view_};
  Label Info{ConsoleItem::kInfo, &view_};
  Label Info1{ConsoleItem::kInfo1, &view_};
  Label DTNIPT{ConsoleItem::kDTNIPT, &view_};
  Label DTNPORTT{ConsoleItem::kDTNPORTT, &view_};
  Label LOCALPORTT{ConsoleItem::kLOCALPORTT, &view_};
  Lamp Picture1{&view_};
  TextSignal Data;
  WatchList DTNSYMBOLS;
  // The quote being published, and the flag that the end of an image raises.
  QuoteBoard board;
  int16_t ComunicationOK = 0;

  void RepaintForm() {
    if (view_ != nullptr) view_->RepaintForm();
  }
  // Shows `text` with an OK button and waits for the operator (headless: returns at once).
  void ModalMessage(std::string_view text) {
    if (view_ != nullptr) view_->ModalMessage(text);
  }
  void Beep() {
    if (view_ != nullptr) view_->Beep();
  }
  // Tells the operator of something the console's items have no place for.
  void Notice(std::string_view text) {
    if (view_ != nullptr) view_->Notice(text);
  }
  void Show() {
    visible_ = true;
    if (view_ != nullptr) view_->ShowWindow();
  }
  void Hide() {
    visible_ = false;
    if (view_ != nullptr) view_->HideWindow();
  }
  void SetNormal() {
    if (view_ != nullptr) view_->SetWindowNormal();
  }
  void BringToFront() {
    if (view_ != nullptr) view_->BringToFront();
  }
  bool visible() const { return visible_; }

 private:
  ConsoleView* view_;
  bool visible_ = false;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_CONSOLE_SURFACE_H_
