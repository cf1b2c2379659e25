#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <tuple>

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

// A stream whose table holds ES as record 1.
struct StreamTest : ::testing::Test {
  QuoteRig r;
  QuoteStream& q = r.quotes;
  const int16_t eq = q.FindDatabase(kEquityKey);
  const int16_t fut = q.FindDatabase(kFuturesKey);
  int32_t i = r.Known("ES", 1);
  SimboloRec& rec = q.Simbolos.at(i);
};

TEST_F(StreamTest, FieldsThatSayHowOthersReadAndTheFormatsTheyResolve) {
  r.Watch("CL");
  int32_t index = -1;
  // Code 1 (eighths), flags high byte first, primary 2, prices, secondary 3, volume, trailer.
  const ByteString full = ByteString("CL    ") + Be(1, 1) + Be(0x0102, 2) + Be(2, 1) + Be(1, 3) +
                          Be(1, 3) + Be(1, 3) + Be(3, 1) + Be(1237, 2) + "tr";
  q.ReadFullRecord(full, fut, &index, 1, 9, kFuturesKey, 5);
  ASSERT_EQ(index, 2);
  SimboloRec& cl = q.Simbolos.at(2);
  // A new instrument keeps only the fields that say how the others read.
  EXPECT_EQ(std::tuple(cl.ProcessCode, cl.QuoteFlags, cl.PrimaryFormat, cl.SecondaryFormat,
                       cl.ChangeFieldDef, cl.Vol),
            std::tuple(1, 0x0102, 2, 3, -1.0f, 0.0f));
  // The code applies to the fields behind it; a single flag byte changes nothing.
  q.ReadFullRecord(full, fut, &index, 1, 9, kFuturesKey, 5);
  q.ReadFullRecord(ByteString("CL    \x01\x05tr", 10), fut, &index, 1, 3, kFuturesKey, 5);
  EXPECT_FLOAT_EQ(cl.Vol, 123.875f);
  EXPECT_EQ(cl.QuoteFlags, 0x0102);
  // Primary, secondary, field, record, want. Field 5 reads format 45, field 7 format 47.
  const std::array<int, 5> cases[] = {
      {3, -1, 5, 2, 3},    {47, 5, 5, 2, 5}, {-1, -1, 5, 2, -1},  // 45 -> primary, not told yet
      {-1, -1, 5, -1, 0},  {-1, 9, 7, 3, 0}, {-1, 9, 7, 2, 9},    // no record; 47 -> secondary
      {-1, -1, 200, 2, 0},                                        // a field the layout lacks
  };
  for (const auto& [primary, secondary, field, record, want] : cases) {
    cl.PrimaryFormat = static_cast<int16_t>(primary);
    cl.SecondaryFormat = static_cast<int16_t>(secondary);
    EXPECT_EQ(q.ResolveFormat(fut, field, record), want) << field << " " << primary;
  }
  EXPECT_EQ(q.ResolveFormat(3, 5, index), 0);  // no such layout
  // A field list needs a record and bytes; its flag word comes low byte first.
  SimboloRec work = NewWorkingRecord();
  const SimboloRec before = work;
  q.ApplyField(Be(100, 4), 2, FieldKind::kLast, 0, eq, work);
  q.ApplyField("", 2, FieldKind::kLast, 1, eq, work);
  q.ApplyField(Be(100, 4), 2, FieldKind::kLast, 1, 9, work);  // no such layout
  EXPECT_EQ(std::memcmp(&work, &before, sizeof work), 0);
  q.ApplyField("\x07", 45, FieldKind::kNone, 1, eq, work);
  q.ApplyField("\x08", 47, FieldKind::kNone, 1, eq, work);
  q.ApplyField(Be(100, 4), 2, FieldKind::kLast, 1, eq, work);
  q.ApplyField(ByteString("\x01\x02", 2), 44, FieldKind::kNone, 1, eq, work);
  EXPECT_EQ(std::tuple(work.PrimaryFormat, work.SecondaryFormat, work.Last, work.QuoteFlags),
            std::tuple(7, 8, 1.0f, 0x0201));
}

// What becomes of the quotes of a packet, by what the table and the watch list know of them.
// Setup: "IBM" is watched, "IBM#100" known with code 100, "CL@5" known in the futures layout.
TEST(QuotePacketTest, OutcomeByWhatIsKnown) {
  const ByteString ibm = EquityRecord("IBM", 0, 1000, 990, 1010, 500, 900);
  const ByteString msft = EquityRecord("MSFT", 0, 100, 1, 1, 1);
  const ByteString ask = "11 7 7 7 11 33 33 33 ";
  const ByteString unknown_then_msft =
      Quote("IBM", 4, 0x1234, 2, Entries({{3, Be(1, 4)}, {4, Be(2, 4)}})) +
      FieldQuote("MSFT", 7, 3, 25050);
  ByteString no_trailer = Packet(1, 1, FieldQuote("IBM", 100, 3, 4200));
  no_trailer.resize(no_trailer.size() - 2);
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
      {"known, last record: stored as it is (high below last), the packet ends", "IBM#100",
       Frames(Packet(4, 2, Positional("IBM", 100, 0, ibm) + FieldQuote("IBM", 100, 3, 2000))),
       "IBM 10/9.9/9/500; "},
      {"unknown, watched, last record: added without prices", "IBM",
       Frames(Packet(4, 1, Positional("IBM", 100, 255, ibm))), "IBM 0/0/0/0; "},
      {"the same with a second pass: added, then replaced", "IBM",
       Frames(Packet(4, 2, Positional("IBM", 100, 0, ibm))), "IBM 10/9.9/9/500; "},
      {"unknown, watched, field list: asks each time, walks on", "IBM MSFT#7",
       Frames(Packet(1, 2, unknown_then_msft), Packet(1, 1, unknown_then_msft)),
       "MSFT 250.5/0/250.5/0; pub MSFT=250.5; " + ask + ask},
      {"unknown, watched, positional: asks, adds, publishes without prices", "IBM",
       Frames(Packet(4, 1, Positional("IBM", 0x1234, -1, ibm))), "IBM 0/0/0/0; pub IBM=0; " + ask},
      {"unknown, unwatched: skipped in both forms", "MSFT#7",
       Frames(Packet(1, 2, FieldQuote("IBM", 100, 3, 5) + FieldQuote("MSFT", 7, 3, 100)),
              Packet(4, 2, Positional("IBM", 100, -1, ibm) + Positional("MSFT", 7, -1, msft))),
       "MSFT 1/0.01/0/1; pub MSFT=1; "},
      {"form 81: all fields", "IBM#100", Frames(Packet(0x81, 1, Positional("IBM", 100, 0, ibm))),
       "IBM 10/9.9/9/500; "},
      {"form 01: the first three", "IBM#100", Frames(Packet(1, 1, Positional("IBM", 100, 0, ibm))),
       "IBM 10/0/0/0; "},
      {"entries up to the last byte: merged, not published", "IBM#100", Frames(no_trailer),
       "IBM 42/0/42/0; "},
      {"short, empty or of an unknown layout: nothing", "IBM#100",
       Frames(Packet(1, 0, "").substr(0, 17), Packet(1, 0, FieldQuote("IBM", 100, 3, 1)),
              QuotePacket("NONE", 1, 4, 1, FieldQuote("IBM", 100, 3, 1))),
       "IBM 0/0/0/0; "},
      {"a positional record cut short by the trailer reads what it has", "IBM#100",
       Frames(Packet(4, 1,
                     Positional("IBM", 100, 0,
                                EquityRecord("IBM", 0, 500, 0, 0, 0).substr(0, 11) + Be(3, 2)))),
       "IBM 5/0.03/0/0; "},
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
      r.Watch(s.substr(0, at));
      if (at != std::string::npos)
        r.Known(s.substr(0, at), std::stoi(s.substr(at + 1)),
                s[at] == '#' ? kEquityKey : kFuturesKey);
    }
    for (const ByteString& f : c.frames)
      r.quotes.DecodeQuotePacket(f);
    EXPECT_EQ(r.Summary(), c.want) << c.name;
    // Asking names the key as received and the code as four bytes.
    for (const auto& [code, data] : r.requests.sent)
      EXPECT_EQ(data, code == 11 ? kEquityKey : ByteString("\0\0\x12\x34", 4)) << c.name;
  }
}

TEST_F(StreamTest, SubscriberMayReenterTheStreamDuringPublication) {
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
  EXPECT_FLOAT_EQ(q.Simbolos.at(2).Last, 2.0f);
  EXPECT_EQ(q.Simbolos.size(), 2002);
}

TEST_F(StreamTest, HostileFramesNeverReadOutOfRange) {
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
  for (const int32_t index : {-1, 0, r.quotes.Simbolos.size() + 1})
    EXPECT_EQ(r.quotes.CleanSymbolOf(index), "") << index;  // no record there
}

// 2026-11-23 as a date, and a time of that day.
constexpr double kDay = 46349.0;
double At(int h, int m, int s) {
  return kDay + (h * 3600 + m * 60 + s) / 86400.0;
}

TEST_F(StreamTest, BoardChangeBellAndRecordPublication) {
  r.clock.SetDate(At(23, 2, 5));
  rec.Last = 0.5f;
  r.quotes.PublishQuote(i, "ES  ");
  EXPECT_EQ(r.console.Data.Text(), "ES            .5  125");
  EXPECT_EQ(r.console.board.vChange, 0);  // no previous close: no change worked out
  // Only the board gets a change worked out, and only when the record has none.
  rec.Previous = 10;
  r.quotes.PublishQuote(i, "ES");
  EXPECT_FLOAT_EQ(r.console.board.vChange, -9.5f);
  rec.Change = 0.75f;
  r.quotes.PublishQuote(i, "ES");
  EXPECT_FLOAT_EQ(r.console.board.vChange, 0.75f);
  // A record's publication keeps the quote's time; prices print to seven digits.
  r.clock.SetDate(At(15, 30, 0) + 3);
  rec.Last = -0.1234567f;
  r.quotes.PublishRecord(i, "ES");
  EXPECT_EQ(r.console.board.vTime, 2302);
  EXPECT_EQ(r.console.Data.Text(), "ES           -.1234567  1800");
}

TEST_F(StreamTest, TheClocksSecondsAreLeftOutNotRounded) {
  // The last moments of a minute, and of the day, belong to that minute.
  struct Case {
    int h, m, s, ms;
    float time_v;
    const char* bell_seconds;  // minute * 60 + second, as the bell's text ends
  };
  for (const Case& c : {Case{15, 51, 59, 999, 1551, " 3119"}, Case{15, 52, 0, 0, 1552, " 3120"},
                        Case{23, 59, 59, 999, 2359, " 3599"}, Case{0, 0, 0, 0, 0, " 0"}}) {
    r.clock.SetDate(At(c.h, c.m, c.s) + c.ms / kMsPerDay);
    rec.Last = static_cast<float>(c.h * 100 + c.m) + c.ms / 1000.0f;  // a new price: a new ring
    r.quotes.PublishQuote(i, "ES");
    EXPECT_EQ(r.console.board.vTime, c.time_v) << c.h << ":" << c.m << ":" << c.s << "." << c.ms;
    const std::string& text = r.console.Data.Text();
    EXPECT_EQ(text.substr(text.rfind(' ')), c.bell_seconds) << text;
    EXPECT_EQ(rec.LastUpdate, kDay) << "the record's day stays its own";
  }
}

// The bell rings once for two quotes exactly when their texts are equal, so a number must print
// as printf's "%.7G" prints it (with the leading 0 dropped), for every float a price can hold.
TEST(PlainNumberTest, PrintsAsPrintfDoesForEveryKindOfFloat) {
  auto printf_text = [](double v) {
    char buf[64];
    const int n = std::snprintf(buf, sizeof buf, "%.7G", v);
    std::string t(buf, static_cast<size_t>(n));
    std::string out = t[0] == '-' ? "" : " ";
    if (t.rfind("-0.", 0) == 0) return out + "-" + t.substr(2);
    if (t.rfind("0.", 0) == 0) return out + t.substr(1);
    return out + t;
  };
  std::vector<float> values = {0.0f,
                               -0.0f,
                               1.0f,
                               -1.0f,
                               0.5f,
                               1e-5f,
                               -1e-5f,
                               1e-4f,
                               9.999999e-5f,
                               1e7f,
                               9999999.0f,
                               10000000.0f,
                               12345678.0f,
                               1e8f,
                               -3.4e38f,
                               std::numeric_limits<float>::max(),
                               std::numeric_limits<float>::lowest(),
                               std::numeric_limits<float>::min(),
                               std::numeric_limits<float>::denorm_min(),
                               std::numeric_limits<float>::infinity(),
                               -std::numeric_limits<float>::infinity(),
                               std::numeric_limits<float>::quiet_NaN(),
                               4512.25f,
                               0.1234567f,
                               99999.995f,
                               0.00012345675f};
  std::mt19937 rng(7);
  for (int k = 0; k < 200000; ++k) {
    const uint32_t bits = rng();
    float f;
    std::memcpy(&f, &bits, sizeof f);
    values.push_back(f);
    values.push_back(static_cast<float>(rng() % 10000000) / 100.0f);  // prices in cents
  }
  std::string ours;
  for (const float f : values) {
    ours.clear();
    AppendPlainNumber(&ours, f, 7);
    ASSERT_EQ(ours, printf_text(f)) << f;
  }
}

}  // namespace
}  // namespace quotlink
