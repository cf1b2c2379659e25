// The frames of the quote tests: a parsed image of two layouts, an equity layout with decimal
// prices and a futures layout with a flag word and indirect formats, and builders of quote
// packets and positional records for them.
#ifndef QUOTLINK_TESTS_SUPPORT_QUOTE_FRAMES_H_
#define QUOTLINK_TESTS_SUPPORT_QUOTE_FRAMES_H_

#include <cstring>
#include <string>
#include <vector>

#include "database/feed_database.h"
#include "quotes/simbolo_table.h"
#include "tools/imagegen/frame_writer.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {

// Field names, by name index (from 0).
enum TestName : int16_t {
  kNSymbol,
  kNLast,
  kNBid,
  kNAsk,
  kNVolume,
  kNProcessCode,
  kNFlags,
  kNPrimary,
  kNSecondary,
  kNHigh,
  kNLow,
  kNPrevious,
  kNChange,
  kNChangeDef,
  kNIncVolume,
  kNOpen,
  kNBidSize,
};

inline ImageLayout TestImageLayout() {
  ImageLayout img;
  img.field_names = {"SYMBOL",
                     "LAST",
                     "BID",
                     "ASK",
                     "VOLUME",
                     "TICK PROCESS CODE",
                     "FLAGS",
                     "PRIMARY FORMAT",
                     "SECONDARY FORMAT",
                     "HIGH",
                     "LOW",
                     "PREVIOUS CLOSE",
                     "CHANGE",
                     "CHANGE FIELD DEF",
                     "INCREMENTAL VOLUME",
                     "OPEN",
                     "BID SIZE"};
  img.sec_types = {{1, "EQUITY"}, {7, "FUTURES"}, {8, "FUTURE_OPTIONS"}, {9, "SPOTS"}};
  DatabaseLayout eq;
  eq.key1 = "ABCD";  // the wire carries it as DCBA
  eq.key2 = "WXYZ";
  eq.sec_type = 1;
  eq.count_a = 3;
  eq.length_a = 11;
  eq.slots = {{0, 6, kNSymbol}, {0, 1, kNProcessCode}, {2, 4, kNLast},
              {2, 4, kNBid},    {2, 4, kNAsk},         {0, 4, kNVolume},
              {2, 4, kNHigh},   {2, 4, kNLow},         {2, 4, kNPrevious}};
  DatabaseLayout fut;
  fut.key1 = "FUT1";  // the wire carries it as 1TUF
  fut.key2 = "FUT2";
  fut.sec_type = 7;
  fut.count_a = 5;
  fut.length_a = 13;
  fut.slots = {{0, 6, kNSymbol},   {0, 1, kNProcessCode}, {44, 2, kNFlags},
               {46, 1, kNPrimary}, {45, 3, kNLast},       {45, 3, kNBid},
               {47, 3, kNAsk},     {48, 1, kNSecondary},  {0, 2, kNVolume}};
  img.databases = {eq, fut};
  return img;
}

// The wire keys of the two layouts.
inline const ByteString kEquityKey = "DCBA";
inline const ByteString kFuturesKey = "1TUF";

// One quote: the symbol padded with blanks to `width`, the code, C, and the body.
inline ByteString Quote(const std::string& symbol, size_t width, int code, int c, ByteView body) {
  ByteString q = symbol.substr(0, width);
  q.resize(width, ' ');
  q.push_back(static_cast<char>(code >> 8));
  q.push_back(static_cast<char>(code & 0xFF));
  q.push_back(static_cast<char>(c));
  q.append(body);
  return q;
}

// A type-20 frame of `n` quotes.
inline ByteString QuotePacket(ByteView key, uint8_t form, uint8_t width, int n, ByteView quotes) {
  ByteString body = QuotePacketHead(key, form, width, static_cast<uint8_t>(n));
  body.append(quotes);
  return BuildFrame(20, body);
}

// A big-endian number of `width` bytes.
inline ByteString Be(uint64_t v, int width) {
  ByteString s;
  for (int i = width - 1; i >= 0; --i)
    s.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  return s;
}

// An equity positional record: symbol(6), process code(1), last, bid, ask (cents), volume,
// high, low, previous (cents).
inline ByteString EquityRecord(const std::string& symbol, int pc, uint32_t last, uint32_t bid,
                               uint32_t ask, uint32_t vol, uint32_t high = 0, uint32_t low = 0,
                               uint32_t prev = 0) {
  ByteString r = symbol.substr(0, 6);
  r.resize(6, ' ');
  r += Be(static_cast<uint64_t>(pc), 1) + Be(last, 4) + Be(bid, 4) + Be(ask, 4) + Be(vol, 4) +
       Be(high, 4) + Be(low, 4) + Be(prev, 4);
  return r;
}

// A table of `records` equity records "S0", "S1"..., each with its number as its code, for
// benchmarks that want a table of a given size.
inline std::vector<SimboloRec> EquityTable(int records) {
  std::vector<SimboloRec> table;
  for (int i = 0; i < records; ++i) {
    SimboloRec r = NewWorkingRecord();
    std::string sym = "S" + std::to_string(i);
    sym.resize(12, ' ');
    std::memcpy(r.Simbolo, sym.data(), 12);
    std::memcpy(r.DatabaseKey, kEquityKey.data(), 4);
    r.SymbolCode = i;
    table.push_back(r);
  }
  return table;
}

// The version that TestImageLayout carries.
inline const ByteString kTestImageVersion("\x09\x03\0\x01", 4);

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_QUOTE_FRAMES_H_
