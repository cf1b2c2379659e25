// Quote publication: one quote handed from a decoder to every client object, through the
// QuoteBoard of the console and the bell `Data`.
#include <charconv>
#include <cmath>

#include "quotes/quote_stream.h"

namespace quotlink {

void AppendPlainNumber(std::string* out, double value, int significant_digits) {
  // The text of printf's "%.*G", without printf's cost (it was most of a quote's time): to_chars
  // in the general style gives the same digits and exponent, in lower case. The buffer holds
  // the largest double at 17 digits with sign, point and exponent.
  char buf[48];
  const std::to_chars_result r =
      std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, significant_digits);
  const size_t n = r.ec == std::errc() ? static_cast<size_t>(r.ptr - buf) : 0;
  for (size_t i = 0; i < n; ++i) {
    if (buf[i] >= 'a' && buf[i] <= 'z') buf[i] = static_cast<char>(buf[i] - 'a' + 'A');
  }
  std::string_view text(buf, n);
  if (!text.empty() && text[0] != '-') out->push_back(' ');
  if (text.starts_with("-0.")) {
    out->push_back('-');
    text.remove_prefix(2);
  } else if (text.starts_with("0.")) {
    text.remove_prefix(1);
  }
  out->append(text);
}

namespace {

// Fills the board from record R, in the order a subscriber may rely on.
void FillBoard(QuoteBoard& b, const SimboloRec& r, ByteView symbol) {
  b.vSimbolo.assign(CleanSymbol(symbol));
  b.vLast = r.Last;
  b.vLastS = r.LastS;
  b.vBid = r.Bid;
  b.vBidS = r.BidS;
  b.vAsk = r.Ask;
  b.vAskS = r.AskS;
  b.vOpen = r.OpenV;
  b.vHi = r.High;
  b.vLow = r.Low;
  b.vPrevious = r.Previous;
  b.vChange = r.Change;
  // Only the board gets a change worked out; the record's stays 0.
  if (r.Previous != 0 && r.Change == 0) b.vChange = r.Last - r.Previous;
  b.vOInt = r.OInt;
  b.vVol = r.Vol;
}

}  // namespace

// The bell's text: the stored symbol, the last price, and minute * 60 + second, so that it
// differs from the one before for any new price or second.
void QuoteStream::RingData(const SimboloRec& r, double now) {
  std::string& text = data_text_;
  text.assign(r.Simbolo, sizeof r.Simbolo);
  text.push_back(' ');
  AppendPlainNumber(&text, r.Last, 7);
  text.push_back(' ');
  AppendPlainNumber(&text, static_cast<double>(SecondOfDay(now) % 3600), 7);
  console_->Data.SetText(text);
}

void QuoteStream::Publish(int32_t index, ByteView symbol, bool record_packet) {
  if (index < 1 || index > Simbolos.size()) return;
  QuoteBoard& board = console_->board;
  const SimboloRec& r = Simbolos.at(index);
  FillBoard(board, r, symbol);
  const double now = clock_->Now();
  if (!record_packet) {
    // Hours and minutes of the local clock, its seconds left out.
    const int32_t minutes = SecondOfDay(now) / 60;
    board.vTime = static_cast<float>(minutes / 60 * 100 + minutes % 60);
  }
  board.fFlag = record_packet ? 1 : 0;
  RingData(r, now);  // subscribers run here and may do anything
  if (record_packet) return;
  if (index <= Simbolos.size()) Simbolos.at(index).LastUpdate = std::floor(now);
}

void QuoteStream::PublishQuote(int32_t index, ByteView symbol) {
  Publish(index, symbol, false);
}

void QuoteStream::PublishRecord(int32_t index, ByteView symbol) {
  Publish(index, symbol, true);
}

}  // namespace quotlink
