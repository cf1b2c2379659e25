// What a published quote carries: the JSON object that `quotlink watch --json` prints for it,
// with three keys more (doc/nats_subjects.md):
//   "seq"      the feeder's count of the quotes it has handed to publishing, from 1; a quote
//              that couldn't be sent leaves its number out, so a consumer sees the gap
//   "symbol_seq"  the same count for the quote's symbol alone, so that a consumer of some
//              symbols sees their gaps too
//   "time_us"  the feeder's wall clock when the quote reached FeederReady, microseconds since
//              1970 (UTC)
//   "feeder"   names the feeder's run; "seq" starts again at 1 under a new one
// DO NOT CHANGE the keys or their meaning: consumers on other hosts read them.
#ifndef QUOTLINK_PUBLISH_QUOTE_PAYLOAD_H_
#define QUOTLINK_PUBLISH_QUOTE_PAYLOAD_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quotlink {

// The quote of one FeederReady, of fixed size so that it is handed between threads without an
// allocation. A symbol longer than kMaxSymbol isn't publishable (the table's are 12 at most).
struct QuoteRecord {
  static constexpr size_t kMaxSymbol = 31;

  char Simbolo[kMaxSymbol + 1];
  uint8_t simbolo_size;
  float Last, LastS, Bid, BidS, Ask, AskS, Change, OpenV, High, Low, Previous, OInt, Vol, TimeV;
  int16_t Flag;
  int16_t ComunicationOK;
  uint64_t seq;
  uint64_t symbol_seq;
  int64_t time_us;

  std::string_view symbol() const { return {Simbolo, simbolo_size}; }
  // False, leaving the symbol as it was, when `s` is longer than kMaxSymbol.
  bool SetSymbol(std::string_view s);
};

// Appends the payload of `q` under the run name `feeder` to `*out`. The keys come in the order
// of the --json object, then "seq", "symbol_seq", "time_us", "feeder".
void AppendQuotePayload(const QuoteRecord& q, std::string_view feeder, std::string* out);

// A payload read back. Floats that were not finite come back as NaN.
struct ParsedQuote {
  std::string Simbolo;
  float Last = 0, LastS = 0, Bid = 0, BidS = 0, Ask = 0, AskS = 0, Change = 0, OpenV = 0, High = 0,
        Low = 0, Previous = 0, OInt = 0, Vol = 0, TimeV = 0;
  int16_t Flag = 0;
  int16_t ComunicationOK = 0;
  uint64_t seq = 0;
  uint64_t symbol_seq = 0;
  int64_t time_us = 0;
  std::string feeder;
};

// Reads a payload: one flat JSON object. Keys it doesn't know are passed over, so that later
// feeders may add some. False when `text` isn't such an object, or "Simbolo" or "seq" is
// missing.
bool ParseQuotePayload(std::string_view text, ParsedQuote* q);

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_QUOTE_PAYLOAD_H_
