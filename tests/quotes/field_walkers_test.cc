#include "quotes/quote_stream.h"

#include <gtest/gtest.h>

#include <cstring>

#include "database/record_packets.h"
#include "quotes/quote_stream.h"
#include "tests/support/quote_feeder.h"

namespace quotlink {
namespace {

struct WalkerTest : ::testing::Test {
  QuoteFeeder q;
  const int16_t eq = q.bas.Quotes().FindDatabase(kEquityKey);
  const int16_t fut = q.bas.Quotes().FindDatabase(kFuturesKey);
};

TEST_F(WalkerTest, FindDatabaseSearchesTheReversedKeyByEitherKey) {
  EXPECT_EQ(eq, 1);
  EXPECT_EQ(fut, 2);
  EXPECT_EQ(q.bas.Quotes().FindDatabase("ZYXW"), 1);   // Key2
  EXPECT_EQ(q.bas.Quotes().FindDatabase("ABCD"), -1);  // not reversed
  EXPECT_EQ(q.bas.Quotes().FindDatabase("ABC"), -1);
}

TEST_F(WalkerTest, ResolveFormatThroughTheTablesRecord) {
  const int32_t i = q.Known("CL", 5, kFuturesKey);
  struct Case {
    int16_t primary, secondary;
    int field;
    int32_t index;
    int16_t want;
  };
  const Case cases[] = {
      {3, -1, 5, 1, 3},     // 45 -> primary
      {47, 5, 5, 1, 5},     // 45 -> 47 -> secondary
      {-1, -1, 5, 1, -1},   // not told yet
      {-1, -1, 5, -1, 0},   // no record
      {-1, 9, 7, 1, 9},     // 47 -> secondary
      {-1, -1, 200, 1, 0},  // a field number the layout doesn't fill
  };
  for (const Case& c : cases) {
    SimboloRec r = q.bas.Quotes().Simbolos.at(i);
    r.PrimaryFormat = c.primary;
    r.SecondaryFormat = c.secondary;
    q.bas.Quotes().Simbolos.Store(i, r);
    EXPECT_EQ(q.bas.Quotes().ResolveFormat(fut, c.field, c.index), c.want)
        << c.field << " " << c.primary;
  }
}

TEST_F(WalkerTest, FlagWordHasOppositeByteOrdersInTheTwoWalkers) {
  const int32_t i = q.Known("CL", 5, kFuturesKey);
  // Positional: symbol, code, flags 01 02, primary 1 byte.
  int32_t index = i;
  ByteString text = ByteString("CL    ") + Be(1, 1) + ByteString("\x01\x02", 2) + Be(4, 1) + "tr";
  q.bas.Quotes().ReadFullRecord(text, fut, &index, 1, 4, kFuturesKey, 5);
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).QuoteFlags, 0x0102);
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).PrimaryFormat, 4);

  SimboloRec work = q.bas.Quotes().Simbolos.at(i);
  q.bas.Quotes().ApplyField(ByteString("\x01\x02", 2), 44, FieldKind::kNone, i, fut, work);
  EXPECT_EQ(work.QuoteFlags, 0x0201);
  q.bas.Quotes().ApplyField("\x03", 44, FieldKind::kNone, i, fut, work);
  EXPECT_EQ(work.QuoteFlags, 0x0303);
  // One byte in a positional record leaves the flag word as it was.
  index = i;
  text = ByteString("CL    ") + Be(1, 1) + ByteString("\x05", 1);
  q.bas.Quotes().ReadFullRecord(text + "tr", fut, &index, 1, 3, kFuturesKey, 5);
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).QuoteFlags, 0x0102);
}

TEST_F(WalkerTest, ApplyFieldDoesNothingWithoutRecordOrBytes) {
  SimboloRec work = NewWorkingRecord();
  const SimboloRec before = work;
  q.bas.Quotes().ApplyField(Be(100, 4), 2, FieldKind::kLast, -1, eq, work);
  q.bas.Quotes().ApplyField("", 2, FieldKind::kLast, 1, eq, work);
  EXPECT_EQ(std::memcmp(&work, &before, sizeof work), 0);
  q.bas.Quotes().ApplyField("\x07", 45, FieldKind::kNone, 1, eq, work);
  q.bas.Quotes().ApplyField("\x08", 47, FieldKind::kNone, 1, eq, work);
  EXPECT_EQ(work.PrimaryFormat, 7);
  EXPECT_EQ(work.SecondaryFormat, 8);
}

TEST_F(WalkerTest, NewRecordKeepsOnlyItsDefinitionFields) {
  q.Watch("IBM");
  int32_t index = -1;
  q.bas.Quotes().ReadFullRecord(EquityRecord("IBM", 1, 1000, 990, 1010, 500) + "tr", eq, &index, 1,
                                9, kEquityKey, 100);
  ASSERT_EQ(index, 1);
  const SimboloRec& r = q.bas.Quotes().Simbolos.at(1);
  EXPECT_EQ(r.Last, 0);
  EXPECT_EQ(r.Vol, 0);
  EXPECT_EQ(r.ProcessCode, 1);
  EXPECT_EQ(r.PrimaryFormat, -1);
  EXPECT_EQ(r.ChangeFieldDef, -1.0f);
  EXPECT_EQ(ByteString(r.DatabaseKey, 4), kEquityKey);
  // The same record for the existing instrument stores its values, without any merge rule.
  q.bas.Quotes().ReadFullRecord(EquityRecord("IBM", 1, 1000, 990, 1010, 500, 900, 0) + "tr", eq,
                                &index, 1, 9, kEquityKey, 100);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(1).Last, 10.0f);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(1).High, 9.0f);  // below Last, and stays so
  // Not on the watch list: refused, nothing stored.
  index = -1;
  q.bas.Quotes().ReadFullRecord(EquityRecord("XOM", 1, 1, 1, 1, 1) + "tr", eq, &index, 1, 9,
                                kEquityKey, 7);
  EXPECT_EQ(index, -1);
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 1);
}

TEST_F(WalkerTest, TheWalkStopsAtTheTrailerAndShortFieldsReadShort) {
  const int32_t i = q.Known("IBM", 100);
  SimboloRec r = q.bas.Quotes().Simbolos.at(i);
  r.Ask = 77;
  q.bas.Quotes().Simbolos.Store(i, r);
  int32_t index = i;
  // Symbol, code, last, and two bytes of bid; then the trailer "\xFF\xFF".
  q.bas.Quotes().ReadFullRecord(
      ByteString("IBM   ") + Be(0, 1) + Be(500, 4) + Be(3, 2) + "\xFF\xFF", eq, &index, 1, 200,
      kEquityKey, 100);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Last, 5.0f);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Bid, 0.03f);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Ask, 77.0f);
}

TEST_F(WalkerTest, ProcessCodeAppliesToTheFieldsBehindIt) {
  const int32_t i = q.Known("CL", 5, kFuturesKey);
  // Process code 1: the last digit of volume (format 0) counts eighths.
  int32_t index = i;
  ByteString text = ByteString("CL    ") + Be(1, 1) + Be(0, 2) + Be(2, 1) + Be(1, 3) + Be(1, 3) +
                    Be(1, 3) + Be(2, 1) + Be(1237, 2) + "tr";
  q.bas.Quotes().ReadFullRecord(text, fut, &index, 1, 9, kFuturesKey, 5);
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).ProcessCode, 1);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Vol, 123.875f);
  // A code field with no bytes left keeps the code as it was.
  text = ByteString("CL    ") + "tr";
  q.bas.Quotes().ReadFullRecord(text, fut, &index, 1, 9, kFuturesKey, 5);
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).ProcessCode, 1);
}

TEST_F(WalkerTest, FindSimboloShowsTheSymbolAndResultOnInfo) {
  EXPECT_EQ(q.bas.Quotes().FindSimbolo(kEquityKey, 1, "ES"), -1);
  EXPECT_EQ(q.frm.Info.Caption(), "ES -1");
  for (int k = 0; k < 5; ++k)
    q.Known("S" + std::to_string(k), k);
  EXPECT_EQ(q.bas.Quotes().FindSimbolo(kEquityKey, 4, "S4"), 5);
  EXPECT_EQ(q.frm.Info.Caption(), "S4  5");
  EXPECT_EQ(q.bas.Quotes().FindSimbolo(kFuturesKey, 4, "S4"), -1);
}

// Packets 13 and 28.
struct RecordPacketTest : WalkerTest {
  ByteString Frame(int type, uint32_t code, const ByteString& record) {
    return BuildFrame(static_cast<uint8_t>(type),
                      kEquityKey + Be(code, type == 13 ? 2 : 4) + record);
  }
};

TEST_F(RecordPacketTest, LengthChoosesTheFieldCountAndBothWidthsReachOneRecord) {
  const int32_t i = q.Known("IBM", 258);
  const ByteString full = EquityRecord("IBM", 0, 1000, 990, 1010, 500);
  const ByteString exact_a = full.substr(0, 11);  // LengthA: symbol, code, last
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(), Frame(13, 258, exact_a + Be(5, 4)),
                     2);  // longer: CountB
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Bid, 0.05f);
  q.clock.Advance(1000);  // the same price in the same second wouldn't ring the bell again
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(), Frame(28, 258, exact_a),
                     4);  // exactly LengthA: CountA
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Last, 10.0f);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Bid, 0.05f);
  ASSERT_EQ(q.published.size(), 2u);
  EXPECT_EQ(q.published[1].fFlag, 1);
  EXPECT_EQ(q.published[1].vSimbolo, "IBM");
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).LastUpdate, 0);  // record packets don't stamp it
}

TEST_F(RecordPacketTest, EdgesOfLengthCodeAndWatchList) {
  EXPECT_EQ(Frame(13, 1, "").size(), 16u);
  q.frm.Info.SetCaption("untouched");
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(), Frame(13, 1, "ab").substr(0, 17), 2);
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(), Frame(28, 1, "a").substr(0, 19), 4);
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(), Frame(28, 0x80000000u, "IBM   "), 4);
  EXPECT_EQ(q.frm.Info.Caption(), "untouched");
  // Not on the watch list: no record, no publication.
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(),
                     Frame(13, 9, EquityRecord("XOM", 0, 1, 1, 1, 1)), 2);
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 0);
  // Watched and new: added and published at once, prices at 0.
  q.Watch("XOM");
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(),
                     Frame(13, 9, EquityRecord("XOM", 0, 100, 1, 1, 1)), 2);
  ASSERT_EQ(q.published.size(), 1u);
  EXPECT_EQ(q.published[0].vLast, 0);
  // A record that exists but isn't watched is updated, not published.
  q.Known("IBM", 100);
  SimboloTable& t = q.bas.Quotes().Simbolos;
  const int32_t n = t.size();
  SimboloRec r = t.at(n);
  std::memcpy(r.Simbolo, "OTHER       ", 12);
  t.Store(n, r);
  DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(),
                     Frame(13, 100, EquityRecord("IBM", 0, 300, 1, 1, 1)), 2);
  EXPECT_FLOAT_EQ(t.at(n).Last, 3.0f);
  EXPECT_EQ(q.published.size(), 2u);  // IBM is watched (Known put it on the list)
}

}  // namespace
}  // namespace quotlink
