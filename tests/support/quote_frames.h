// The frames of the quote tests: a parsed image of two layouts, an equity layout with decimal
// prices and a futures layout with a flag word and indirect formats, and builders of quote
// packets and positional records for them.
#ifndef QUOTLINK_TESTS_SUPPORT_QUOTE_FRAMES_H_
#define QUOTLINK_TESTS_SUPPORT_QUOTE_FRAMES_H_

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "database/feed_database.h"
#include "quotes/simbolo_table.h"
#include "tools/imagegen/frame_writer.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {

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
  // A slot of `width` bytes in `format` for the field called `name`.
  const auto slot = [&img](int16_t format, int16_t width, std::string_view name) {
    const auto at = std::find(img.field_names.begin(), img.field_names.end(), name);
    return SlotLayout{format, width, static_cast<int16_t>(at - img.field_names.begin())};
  };
  img.sec_types = {{1, "EQUITY"}, {7, "FUTURES"}, {8, "FUTURE_OPTIONS"}, {9, "SPOTS"}};
  DatabaseLayout eq;
  eq.key1 = "ABCD";  // the wire carries it as DCBA
  eq.key2 = "WXYZ";
  eq.sec_type = 1;
  eq.count_a = 3;
  eq.length_a = 11;
  eq.slots = {slot(0, 6, "SYMBOL"),        slot(0, 1, "TICK PROCESS CODE"),
              slot(2, 4, "LAST"),          slot(2, 4, "BID"),
              slot(2, 4, "ASK"),           slot(0, 4, "VOLUME"),
              slot(2, 4, "HIGH"),          slot(2, 4, "LOW"),
              slot(2, 4, "PREVIOUS CLOSE")};
  DatabaseLayout fut;
  fut.key1 = "FUT1";  // the wire carries it as 1TUF
  fut.key2 = "FUT2";
  fut.sec_type = 7;
  fut.count_a = 5;
  fut.length_a = 13;
  fut.slots = {slot(0, 6, "SYMBOL"), slot(0, 1, "TICK PROCESS CODE"),
               slot(44, 2, "FLAGS"), slot(46, 1, "PRIMARY FORMAT"),
               slot(45, 3, "LAST"),  slot(45, 3, "BID"),
               slot(47, 3, "ASK"),   slot(48, 1, "SECONDARY FORMAT"),
               slot(0, 2, "VOLUME")};
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
