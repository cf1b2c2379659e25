#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "quotes/quote_stream.h"
#include "tests/support/quote_rig.h"

namespace quotlink {
namespace {

struct WalkerTest : ::testing::Test {
  QuoteRig r;
  QuoteStream& q = r.quotes;
  const int16_t eq = q.FindDatabase(kEquityKey);
  const int16_t fut = q.FindDatabase(kFuturesKey);
  // Reads `text` (the frame's trailer "tr" is added) as a positional record of `count` fields.
  void Read(const ByteString& text, int16_t db, int32_t* index, int32_t count, int code) {
    q.ReadFullRecord(text + "tr", db, index, 1, count, db == eq ? kEquityKey : kFuturesKey, code);
  }
};

TEST_F(WalkerTest, ResolveFormatThroughTheTablesRecord) {
  const int32_t i = r.Known("CL", 5, kFuturesKey);
  // Primary, secondary, field, index, want. Field 5 reads format 45, field 7 format 47.
  const std::array<int, 5> cases[] = {
      {3, -1, 5, 1, 3},    {47, 5, 5, 1, 5}, {-1, -1, 5, 1, -1},  // 45 -> primary, not told yet
      {-1, -1, 5, -1, 0},  {-1, 9, 7, 2, 0}, {-1, 9, 7, 1, 9},    // no record; 47 -> secondary
      {-1, -1, 200, 1, 0},                                        // a field the layout lacks
  };
  for (const auto& [primary, secondary, field, index, want] : cases) {
    q.Simbolos.at(i).PrimaryFormat = static_cast<int16_t>(primary);
    q.Simbolos.at(i).SecondaryFormat = static_cast<int16_t>(secondary);
    EXPECT_EQ(q.ResolveFormat(fut, field, index), want) << field << " " << primary;
  }
  EXPECT_EQ(q.ResolveFormat(3, 5, i), 0);  // no such layout
}

TEST_F(WalkerTest, FieldsThatSayHowOthersReadAndTheFlagWord) {
  int32_t index = r.Known("CL", 5, kFuturesKey);
  // Positional: symbol, code, flags high byte first, primary; a single flag byte changes nothing.
  Read(ByteString("CL    \x01\x01\x02\x04", 10), fut, &index, 4, 5);
  Read(ByteString("CL    \x01\x05", 8), fut, &index, 3, 5);
  EXPECT_EQ(q.Simbolos.at(index).QuoteFlags, 0x0102);
  EXPECT_EQ(q.Simbolos.at(index).PrimaryFormat, 4);
  // A field list needs a record and bytes; its flag word comes low byte first.
  SimboloRec work = NewWorkingRecord();
  const SimboloRec before = work;
  q.ApplyField(Be(100, 4), 2, FieldKind::kLast, -1, eq, work);
  q.ApplyField(Be(100, 4), 2, FieldKind::kLast, 0, eq, work);
  q.ApplyField("", 2, FieldKind::kLast, 1, eq, work);
  q.ApplyField(Be(100, 4), 2, FieldKind::kLast, 1, 9, work);  // no such layout
  EXPECT_EQ(std::memcmp(&work, &before, sizeof work), 0);
  q.ApplyField("\x07", 45, FieldKind::kNone, 1, eq, work);
  q.ApplyField("\x08", 47, FieldKind::kNone, 1, eq, work);
  q.ApplyField(Be(100, 4), 2, FieldKind::kLast, 1, eq, work);
  q.ApplyField(ByteString("\x01\x02", 2), 44, FieldKind::kNone, 1, eq, work);
  EXPECT_EQ(work.PrimaryFormat, 7);
  EXPECT_EQ(work.SecondaryFormat, 8);
  EXPECT_FLOAT_EQ(work.Last, 1.0f);
  EXPECT_EQ(work.QuoteFlags, 0x0201);
  q.ApplyField("\x03", 44, FieldKind::kNone, 1, eq, work);
  EXPECT_EQ(work.QuoteFlags, 0x0303);
}

TEST_F(WalkerTest, NewRecordKeepsOnlyItsDefinitionFields) {
  r.Watch("IBM");
  int32_t index = -1;
  Read(EquityRecord("IBM", 1, 1000, 990, 1010, 500), eq, &index, 9, 100);
  ASSERT_EQ(index, 1);
  const SimboloRec& rec = q.Simbolos.at(1);
  EXPECT_EQ(rec.ProcessCode, 1);
  EXPECT_EQ(rec.PrimaryFormat, -1);
  EXPECT_EQ(rec.ChangeFieldDef, -1.0f);
  // The same record for the existing instrument stores its values, without any merge rule.
  Read(EquityRecord("IBM", 1, 1000, 990, 1010, 500, 900), eq, &index, 9, 100);
  EXPECT_EQ(r.Summary(), "IBM 10/9.9/9/50; ");  // the high stays below the last
}

TEST_F(WalkerTest, TheWalkStopsAtTheTrailerAndShortFieldsReadShort) {
  int32_t index = r.Known("IBM", 100);
  q.Simbolos.at(index).Ask = 77;
  // Symbol, code, last and bid, then the trailer "\xFF\xFF": the walk ends before the ask. A
  // bid cut short by the trailer reads the two bytes it has.
  const ByteString head = ByteString("IBM   \0", 7) + Be(500, 4);
  q.ReadFullRecord(head + Be(300, 4) + "\xFF\xFF", eq, &index, 1, 200, kEquityKey, 100);
  q.ReadFullRecord(head + Be(3, 2) + "\xFF\xFF", eq, &index, 1, 200, kEquityKey, 100);
  EXPECT_EQ(r.Summary(), "IBM 5/0.03/0/0; ");
  EXPECT_FLOAT_EQ(q.Simbolos.at(index).Ask, 77.0f);
}

TEST_F(WalkerTest, ProcessCodeAppliesToTheFieldsBehindIt) {
  int32_t index = r.Known("CL", 5, kFuturesKey);
  // Process code 1: the last digit of volume (format 0) counts eighths. A code field with no
  // bytes left keeps the code as it was.
  Read(ByteString("CL    ") + Be(1, 1) + Be(0, 2) + Be(2, 1) + Be(1, 3) + Be(1, 3) + Be(1, 3) +
           Be(2, 1) + Be(1237, 2),
       fut, &index, 9, 5);
  Read("CL    ", fut, &index, 9, 5);
  EXPECT_EQ(q.Simbolos.at(index).ProcessCode, 1);
  EXPECT_FLOAT_EQ(q.Simbolos.at(index).Vol, 123.875f);
}

}  // namespace
}  // namespace quotlink
