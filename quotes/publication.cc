// Quote publication: one quote handed from a decoder to every client object, through the
// QuoteBoard of the console and the bell `Data`.
#include <cmath>
#include <cstdio>

#include "quotes/quote_stream.h"

namespace quotlink {

void AppendPlainNumber(std::string* out, double value, int significant_digits) {
  char buf[48];
  int n = std::snprintf(buf, sizeof buf, "%.*G", significant_digits, value);
  if (n < 0) n = 0;
  std::string_view text(buf, static_cast<size_t>(n));
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
