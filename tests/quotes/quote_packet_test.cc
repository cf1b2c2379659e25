#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "database/record_packets.h"
#include "quotes/quote_stream.h"
#include "tests/support/quote_rig.h"

namespace quotlink {
namespace {

// A field-list body: (field number, value) pairs.
ByteString Entries(std::initializer_list<std::pair<int, ByteString>> entries) {
  ByteString b;
  for (const auto& [f, v] : entries) {
    b.push_back(static_cast<char>(f));
    b += v;
  }
  return b;
}

ByteString FieldQuote(const std::string& symbol, int code, int field, uint32_t value) {
  return Quote(symbol, 4, code, 1, Entries({{field, Be(value, 4)}}));
}

ByteString Positional(const std::string& symbol, int code, int c, const ByteString& record) {
  return Quote(symbol, 4, code, c < 0 ? static_cast<int>(record.size()) : c, record);
}

template <typename... F>
std::vector<ByteString> Frames(F... frames) {
  return {frames...};
}

// An equity packet of symbol width 4.
ByteString Packet(uint8_t form, int n, const ByteString& quotes) {
  return QuotePacket(kEquityKey, form, 4, n, quotes);
}

// What becomes of the quotes of a packet, by what the table and the watch list know of them.
// Setup: "IBM" is watched, "IBM#100" known with code 100, "CL@5" known in the futures layout.
TEST(QuotePacketTest, OutcomeByWhatIsKnown) {
  const ByteString ibm = EquityRecord("IBM", 0, 1000, 990, 1010, 500, 1100);
  const ByteString ibm2 = EquityRecord("IBM", 0, 2000, 990, 1010, 500);
  const ByteString msft = EquityRecord("MSFT", 0, 100, 1, 1, 1);
  const ByteString ask = "11 7 7 7 11 33 33 33 ";
  const ByteString unknown_then_msft =
      Quote("IBM", 4, 0x1234, 2, Entries({{3, Be(1, 4)}, {4, Be(2, 4)}})) +
      FieldQuote("MSFT", 7, 3, 25050);
  ByteString no_trailer = Packet(1, 1, FieldQuote("IBM", 100, 3, 4200));
  no_trailer.resize(no_trailer.size() - 2);
  const ByteString abc =
      FieldQuote("AA", 1, 3, 100) + FieldQuote("BB", 2, 3, 200) + FieldQuote("CC", 3, 3, 300);
  const ByteString unresolved =
      QuotePacket(kFuturesKey, 1, 4, 2,
                  Quote("CL", 4, 5, 3, Entries({{9, Be(7, 2)}, {5, Be(1, 3)}, {9, Be(8, 2)}})) +
                      Quote("CL", 4, 5, 1, Entries({{9, Be(9, 2)}})));

  const struct {
    const char* name;
    std::string setup;
    std::vector<ByteString> frames;
    std::string want;
  } cases[] = {
      {"known, field list: merged and published", "IBM#100",
       Frames(
           Packet(1, 1, Quote("IBM", 4, 100, 2, Entries({{3, Be(12345, 4)}, {4, Be(12300, 4)}})))),
       "IBM 123.45/123/123.45/0; pub IBM=123.45; "},
      {"known, last record: replaced silently, the packet ends", "IBM#100",
       Frames(Packet(4, 2, Positional("IBM", 100, 0, ibm) + Positional("IBM", 100, 0, ibm2))),
       "IBM 10/9.9/11/500; "},
      {"unknown, watched, last record: added without prices", "IBM",
       Frames(Packet(4, 1, Positional("IBM", 100, 255, ibm))), "IBM 0/0/0/0; "},
      {"the same with a second pass: added, then replaced", "IBM",
       Frames(Packet(4, 2, Positional("IBM", 100, 0, ibm))), "IBM 10/9.9/11/500; "},
      {"unknown, unwatched, last record: nothing", "",
       Frames(Packet(4, 3, Positional("IBM", 100, 0, ibm))), ""},
      {"unknown, watched, field list: asks each time, walks on", "IBM MSFT#7",
       Frames(Packet(1, 2, unknown_then_msft), Packet(1, 1, unknown_then_msft)),
       "MSFT 250.5/0/250.5/0; pub MSFT=250.5; " + ask + ask},
      {"unknown, watched, positional: asks, adds, publishes without prices", "IBM",
       Frames(Packet(4, 1, Positional("IBM", 100, -1, ibm))), "IBM 0/0/0/0; pub IBM=0; " + ask},
      {"unknown, unwatched: skipped in both forms", "MSFT#7",
       Frames(Packet(1, 2, FieldQuote("IBM", 100, 3, 5) + FieldQuote("MSFT", 7, 3, 100)),
              Packet(4, 2, Positional("IBM", 100, -1, ibm) + Positional("MSFT", 7, -1, msft))),
       "MSFT 1/0.01/0/1; pub MSFT=1; "},
      {"form 81: all fields", "IBM#100", Frames(Packet(0x81, 1, Positional("IBM", 100, 0, ibm))),
       "IBM 10/9.9/11/500; "},
      {"forms 01 and 02: the first three", "IBM#100",
       Frames(Packet(1, 1, Positional("IBM", 100, 0, ibm)),
              Packet(2, 1, Positional("IBM", 100, 0, ibm))),
       "IBM 10/0/0/0; "},
      {"three quotes, all published", "AA#1 BB#2 CC#3", Frames(Packet(1, 3, abc)),
       "AA 1/0/1/0; BB 2/0/2/0; CC 3/0/3/0; pub AA=1; pub BB=2; pub CC=3; "},
      {"entries up to the last byte: merged, not published", "IBM#100", Frames(no_trailer),
       "IBM 42/0/42/0; "},
      {"short, empty or of an unknown layout: nothing", "IBM#100",
       Frames(Packet(1, 0, "").substr(0, 17), Packet(1, 0, FieldQuote("IBM", 100, 3, 1)),
              QuotePacket("NONE", 1, 4, 1, FieldQuote("IBM", 100, 3, 1))),
       "IBM 0/0/0/0; "},
      {"a format not told yet abandons the packet", "CL@5", Frames(unresolved), "CL 0/0/0/0; "},
      {"a field the layout doesn't fill takes no bytes", "IBM#100",
       Frames(Packet(1, 1, Quote("IBM", 4, 100, 2, Entries({{20, ""}, {3, Be(4200, 4)}})))),
       "IBM 42/0/42/0; pub IBM=42; "},
  };
  for (const auto& c : cases) {
    QuoteRig r;
    std::istringstream setup(c.setup);
    for (std::string s; setup >> s;) {
      const size_t at = s.find_first_of("#@");
      if (at == std::string::npos) {
        r.Watch(s);
      } else {
        r.Known(s.substr(0, at), std::stoi(s.substr(at + 1)),
                s[at] == '#' ? kEquityKey : kFuturesKey);
      }
    }
    for (const ByteString& f : c.frames)
      r.quotes.DecodeQuotePacket(f);
    EXPECT_EQ(r.Summary(), c.want) << c.name;
  }
}

TEST(QuotePacketTest, AskingNamesTheKeyAsReceivedAndTheCodeAsFourBytes) {
  QuoteRig r;
  r.Watch("IBM");
  r.quotes.DecodeQuotePacket(Packet(1, 1, FieldQuote("IBM", 0x1234, 3, 1)));
  const ByteString code("\0\0\x12\x34", 4);
  const std::vector<std::pair<int, ByteString>> want = {
      {11, kEquityKey}, {7, code},  {7, code},  {7, code},
      {11, kEquityKey}, {33, code}, {33, code}, {33, code}};
  EXPECT_EQ(r.requests.sent, want);
  EXPECT_EQ(r.console.Info.Caption(), "IBM  -1");  // the symbol as received, and the result
}

TEST(QuotePacketTest, SubscriberMayReenterTheStreamDuringPublication) {
  QuoteRig r;
  r.Known("IBM", 100);
  int depth = 0;
  r.console.Data.Subscribe([&] {
    if (depth++ > 0) return;
    // Grow the table past any capacity it had, and decode another packet inside.
    for (int k = 0; k < 2000; ++k) {
      r.Watch("S" + std::to_string(k));
      r.quotes.AddSimbolo(kEquityKey, 1000 + k, "S" + std::to_string(k));
    }
    r.quotes.DecodeQuotePacket(QuotePacket(kEquityKey, 1, 4, 1, FieldQuote("IBM", 100, 3, 150)));
  });
  r.quotes.DecodeQuotePacket(QuotePacket(
      kEquityKey, 1, 4, 2, FieldQuote("IBM", 100, 3, 100) + FieldQuote("IBM", 100, 3, 200)));
  EXPECT_FLOAT_EQ(r.quotes.Simbolos.at(1).Last, 2.0f);
  EXPECT_EQ(r.quotes.Simbolos.size(), 2001);
  EXPECT_EQ(r.console.Info.Caption(), "IBM   1");
}

TEST(QuotePacketTest, HostileFramesNeverReadOutOfRange) {
  QuoteRig r;
  r.Known("IBM", 100);
  r.Known("CL", 5, kFuturesKey);
  r.Watch("NEW");
  const std::vector<ByteString> seeds = {
      QuotePacket(kEquityKey, 1, 4, 2,
                  Quote("IBM", 4, 100, 2, Entries({{3, Be(12345, 4)}, {4, Be(1, 4)}})) +
                      FieldQuote("NEW", 9, 3, 1)),
      QuotePacket(kEquityKey, 4, 4, 2,
                  Positional("NEW", 9, 0, EquityRecord("NEW", 1, 5, 5, 5, 5)) +
                      Positional("IBM", 100, 37, EquityRecord("IBM", 1, 5, 5, 5, 5))),
      QuotePacket(kFuturesKey, 1, 4, 1,
                  Quote("CL", 4, 5, 2, Entries({{3, Be(2, 2)}, {5, Be(3, 3)}}))),
  };
  std::mt19937 rng(42);
  for (int iter = 0; iter < 3000; ++iter) {
    ByteString f = seeds[static_cast<size_t>(iter) % seeds.size()];
    for (int k = static_cast<int>(rng() % 4); k > 0; --k)
      f[rng() % f.size()] = static_cast<char>(rng());
    if (rng() % 2) f.resize(rng() % (f.size() + 1));
    r.quotes.DecodeQuotePacket(f);
    DecodeRecordPacket(r.database, r.quotes, f, 2);
    DecodeRecordPacket(r.database, r.quotes, f, 4);
  }
}

}  // namespace
}  // namespace quotlink
