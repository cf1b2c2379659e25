#include <gtest/gtest.h>

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
  const struct {
    int16_t primary, secondary;
    int field;
    int32_t index;
    int16_t want;
  } cases[] = {
      {3, -1, 5, 1, 3},     // 45 -> primary
      {47, 5, 5, 1, 5},     // 45 -> 47 -> secondary
      {-1, -1, 5, 1, -1},   // not told yet
      {-1, -1, 5, -1, 0},   // no record
      {-1, 9, 7, 2, 0},     // beyond the table: no record
      {-1, 9, 7, 1, 9},     // 47 -> secondary
      {-1, -1, 200, 1, 0},  // a field number the layout doesn't fill
  };
  for (const auto& c : cases) {
    SimboloRec rec = q.Simbolos.at(i);
    rec.PrimaryFormat = c.primary;
    rec.SecondaryFormat = c.secondary;
    q.Simbolos.Store(i, rec);
    EXPECT_EQ(q.ResolveFormat(fut, c.field, c.index), c.want) << c.field << " " << c.primary;
  }
  EXPECT_EQ(q.ResolveFormat(3, 5, i), 0);  // no such layout
}

TEST_F(WalkerTest, FlagWordHasOppositeByteOrdersInTheTwoWalkers) {
  const int32_t i = r.Known("CL", 5, kFuturesKey);
  // Positional: symbol, code, flags 01 02, primary 1 byte.
  int32_t index = i;
  Read(ByteString("CL    \x01\x01\x02\x04", 10), fut, &index, 4, 5);
  EXPECT_EQ(q.Simbolos.at(i).QuoteFlags, 0x0102);
  EXPECT_EQ(q.Simbolos.at(i).PrimaryFormat, 4);
  // One byte in a positional record leaves the flag word as it was.
  Read(ByteString("CL    \x01\x05", 8), fut, &index, 3, 5);
  EXPECT_EQ(q.Simbolos.at(i).QuoteFlags, 0x0102);

  SimboloRec work = q.Simbolos.at(i);
  q.ApplyField(ByteString("\x01\x02", 2), 44, FieldKind::kNone, i, fut, work);
  EXPECT_EQ(work.QuoteFlags, 0x0201);
  q.ApplyField("\x03", 44, FieldKind::kNone, i, fut, work);
  EXPECT_EQ(work.QuoteFlags, 0x0303);
}

TEST_F(WalkerTest, ApplyFieldNeedsARecordAndBytes) {
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
  EXPECT_EQ(work.PrimaryFormat, 7);
  EXPECT_EQ(work.SecondaryFormat, 8);
  EXPECT_FLOAT_EQ(work.Last, 1.0f);
}

TEST_F(WalkerTest, NewRecordKeepsOnlyItsDefinitionFields) {
  r.Watch("IBM");
  int32_t index = -1;
  Read(EquityRecord("IBM", 1, 1000, 990, 1010, 500), eq, &index, 9, 100);
  ASSERT_EQ(index, 1);
  const SimboloRec& rec = q.Simbolos.at(1);
  EXPECT_EQ(r.Summary(), "IBM 0/0/0/0; ");
  EXPECT_EQ(ByteString(rec.DatabaseKey, 4) + " " + std::to_string(rec.SymbolCode), "DCBA 100");
  EXPECT_EQ(rec.ProcessCode, 1);
  EXPECT_EQ(rec.PrimaryFormat, -1);
  EXPECT_EQ(rec.ChangeFieldDef, -1.0f);
  // The same record for the existing instrument stores its values, without any merge rule.
  Read(EquityRecord("IBM", 1, 1000, 990, 1010, 500, 900), eq, &index, 9, 100);
  EXPECT_EQ(r.Summary(), "IBM 10/9.9/9/50; ");  // the high stays below the last
  // Not on the watch list: refused, nothing stored.
  index = -1;
  Read(EquityRecord("XOM", 1, 1, 1, 1, 1), eq, &index, 9, 7);
  EXPECT_EQ(index, -1);
  EXPECT_EQ(q.Simbolos.size(), 1);
}

TEST_F(WalkerTest, TheWalkStopsAtTheTrailerAndShortFieldsReadShort) {
  const int32_t i = r.Known("IBM", 100);
  q.Simbolos.at(i).Ask = 77;
  int32_t index = i;
  // Symbol, code, last and bid, then the trailer "\xFF\xFF": the walk ends before the ask.
  const ByteString head = ByteString("IBM   \0", 7) + Be(500, 4);
  q.ReadFullRecord(head + Be(300, 4) + "\xFF\xFF", eq, &index, 1, 200, kEquityKey, 100);
  EXPECT_FLOAT_EQ(q.Simbolos.at(i).Ask, 77.0f);
  // A bid cut short by the trailer reads the two bytes it has.
  q.ReadFullRecord(head + Be(3, 2) + "\xFF\xFF", eq, &index, 1, 200, kEquityKey, 100);
  EXPECT_EQ(r.Summary(), "IBM 5/0.03/0/0; ");
  EXPECT_FLOAT_EQ(q.Simbolos.at(i).Ask, 77.0f);
}

TEST_F(WalkerTest, ProcessCodeAppliesToTheFieldsBehindIt) {
  const int32_t i = r.Known("CL", 5, kFuturesKey);
  // Process code 1: the last digit of volume (format 0) counts eighths.
  int32_t index = i;
  Read(ByteString("CL    ") + Be(1, 1) + Be(0, 2) + Be(2, 1) + Be(1, 3) + Be(1, 3) + Be(1, 3) +
           Be(2, 1) + Be(1237, 2),
       fut, &index, 9, 5);
  EXPECT_EQ(q.Simbolos.at(i).ProcessCode, 1);
  EXPECT_FLOAT_EQ(q.Simbolos.at(i).Vol, 123.875f);
  // A code field with no bytes left keeps the code as it was.
  Read("CL    ", fut, &index, 9, 5);
  EXPECT_EQ(q.Simbolos.at(i).ProcessCode, 1);
}

TEST_F(WalkerTest, FindSimboloShowsTheSymbolAndResultOnInfo) {
  EXPECT_EQ(q.FindSimbolo(kEquityKey, 0, "ES"), -1);
  EXPECT_EQ(r.console.Info.Caption(), "ES -1");
  r.Known("S0", 0);
  EXPECT_EQ(q.FindSimbolo(kEquityKey, 0, "S0"), 1);
  EXPECT_EQ(r.console.Info.Caption(), "S0  1");
  EXPECT_EQ(q.FindSimbolo(kFuturesKey, 0, "S0"), -1);
}

}  // namespace
}  // namespace quotlink
