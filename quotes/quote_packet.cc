// The live quote packet, type 20: a batch of quotes of one database.
#include "link/feed_requests_format.h"
#include "link/frame_format.h"
#include "quotes/quote_stream.h"

namespace quotlink {
namespace {

bool LastOfPacket(uint8_t c) {
  return c == 0 || c == 255;
}

// How many leading fields a positional record holds, by the packet's form byte.
int32_t FieldCount(const DatabaseRec& rec, uint8_t form) {
  if (form & 1) return (form & 0x80) ? rec.CountB : rec.CountA;
  return form == 2 ? rec.CountA : rec.CountB;
}

}  // namespace

// Asks the feed about an instrument it streams but hasn't described to us yet.
void QuoteStream::AskAbout(ByteView key, int32_t code) {
  const ByteString k = NumberToBytes(code);
  requests_->SendRequest(kRequestDatabaseKey, key);
  for (int i = 0; i < 3; ++i)
    requests_->SendRequest(kRequestSymbolCode, k);
  requests_->SendRequest(kRequestDatabaseKey, key);
  for (int i = 0; i < 3; ++i)
    requests_->SendRequest(kRequestWatchCode, k);
}

void QuoteStream::DecodeQuotePacket(ByteView frame) {
  if (frame.size() < kShortestPacket) return;
  const ByteView key = frame.substr(kKeyOffset, 4);
  const uint8_t form = ByteAt(frame, kFormOffset);
  const size_t L = ByteAt(frame, kSymbolWidthOffset);
  const int n = ByteAt(frame, kCountOffset);
  // W: the quotes, the quote in hand at its front, the frame's trailer at its end. The frame
  // (and so W and every symbol view) stays valid for the whole call.
  ByteView w = frame.substr(kQuotesOffset);
  const int16_t db = FindDatabase(key);
  if (db < 0) return;
  SimboloRec work{};

  for (int i = 1; i <= n; ++i) {
    // A head that runs past the frame has no defined meaning: end here, the table untouched.
    if (w.size() < L + 3) return;
    const ByteView symbol = w.substr(0, L);
    const int32_t code = static_cast<int32_t>(BigEndian16(w, L));
    const uint8_t c = ByteAt(w, L + 2);
    int32_t index = FindSimbolo(key, code, symbol);
    // Looked up afresh for every quote: a subscriber of the last publication may have pumped
    // the loop and so let a new image replace the layouts.
    const DatabaseRec* rec = database_->Database(db);
    if (rec == nullptr) return;
    const int32_t count = FieldCount(*rec, form);
    const auto start = static_cast<int32_t>(L + 4);

    if (index < 0) {
      if (LastOfPacket(c)) {
        // The next pass reads the same quote again, and finds the record if one was added.
        ReadFullRecord(w, db, &index, start, count, key, code);
        continue;
      }
      // Only an instrument without a record needs the watch list: a lookup per quote would
      // cost more than the rest of the quote on a long list.
      if (console_->DTNSYMBOLS.Find(CleanSymbol(symbol)) >= 1) AskAbout(key, code);
    }

    size_t pos;  // from 1, in w
    if (form & 1) {
      if (LastOfPacket(c)) {
        ReadFullRecord(w, db, &index, start, count, key, code);
        return;
      }
      pos = L + 4;
      if (index > 0) work = Simbolos.at(index);
      for (int e = 1; e <= c; ++e) {
        // A field number behind the frame: end here, the table untouched.
        if (pos > w.size()) return;
        const uint8_t f = ByteAt(w, pos - 1);
        const int16_t format = ResolveFormat(db, f, index);
        // A format the record hasn't been told yet: the packet can't be read any further.
        if (format == -1) return;
        const FieldSlot& slot = rec->Slot(f);
        const size_t width = slot.Length > 0 ? static_cast<size_t>(slot.Length) : 0;
        ApplyField(Slice(w, pos, width), format, slot.kind, index, db, work);
        pos += width + 1;
        if (pos > w.size()) break;
      }
      if (index > 0) Simbolos.Merge(index, work);
    } else {
      ReadFullRecord(w, db, &index, start, count, key, code);
      if (LastOfPacket(c)) return;
      pos = L + 4 + c;
    }

    // The trailer lets the last quote of a well-formed packet find a byte here.
    if (pos > w.size()) return;
    if (i < n) w = w.substr(pos - 1);
    const bool last_pass = w.size() < L + 6;
    if (index >= 1) PublishQuote(index, symbol);
    if (last_pass) return;
  }
}

}  // namespace quotlink
