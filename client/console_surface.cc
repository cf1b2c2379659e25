#include "client/console_surface.h"

namespace quotlink {

const char* ConsoleItemName(ConsoleItem item) {
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

void Label::SetCaption(std::string_view text) {
  if (text == caption_) return;
  caption_.assign(text);
  if (*view_ != nullptr) (*view_)->CaptionChanged(item_, caption_);
}

void Label::Refresh() {
  if (*view_ != nullptr) (*view_)->RepaintItem(item_);
}

void Lamp::SetColor(LampColor color) {
  if (color == color_) return;
  color_ = color;
  if (*view_ != nullptr) (*view_)->LampChanged(color);
}

void TextSignal::SetText(std::string_view text) {
  if (text == text_) return;
  text_.assign(text);
  subscribers_.Fire();
}

int32_t WatchList::Find(std::string_view text) const {
  auto it = index_.find(text);
  return it == index_.end() ? 0 : it->second;
}

int32_t WatchList::Add(std::string_view text) {
  entries_.emplace_back(text);
  const auto position = static_cast<int32_t>(entries_.size());
  index_.emplace(entries_.back(), position);
  return position;
}

void ConsoleSurface::RepaintForm() {
  if (view_ != nullptr) view_->RepaintForm();
}

void ConsoleSurface::ModalMessage(std::string_view text) {
  modal_messages_.emplace_back(text);
  if (view_ != nullptr) view_->ModalMessage(text);
}

void ConsoleSurface::Beep() {
  ++beeps_;
  if (view_ != nullptr) view_->Beep();
}

void ConsoleSurface::Show() {
  visible_ = true;
  if (view_ != nullptr) view_->ShowWindow();
}

void ConsoleSurface::Hide() {
  visible_ = false;
  if (view_ != nullptr) view_->HideWindow();
}

void ConsoleSurface::SetNormal() {
  if (view_ != nullptr) view_->SetWindowNormal();
}

void ConsoleSurface::BringToFront() {
  if (view_ != nullptr) view_->BringToFront();
}

}  // namespace quotlink
