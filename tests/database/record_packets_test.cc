#include "database/record_packets.h"

#include <gtest/gtest.h>

#include "tests/support/quote_rig.h"

namespace quotlink {
namespace {

// A type-13 (2-byte code) or type-28 (4-byte code) frame of the equity layout.
ByteString Frame(int type, uint32_t code, const ByteString& record) {
  return BuildFrame(static_cast<uint8_t>(type), kEquityKey + Be(code, type == 13 ? 2 : 4) + record);
}

void Decode(QuoteRig& r, const ByteString& frame) {
  DecodeRecordPacket(r.database, r.quotes, frame, static_cast<uint8_t>(frame[1]) == 13 ? 2 : 4);
}

TEST(RecordPacketTest, LengthChoosesTheFieldCountAndBothWidthsReachOneRecord) {
  QuoteRig r;
  const int32_t i = r.Known("IBM", 258);
  const ByteString first_three = EquityRecord("IBM", 0, 1000, 0, 0, 0).substr(0, 11);
  Decode(r, Frame(13, 258, first_three + Be(5, 4)));  // longer than LengthA: every field
  r.clock.Advance(1000);  // the same price in the same second wouldn't ring the bell again
  Decode(r, Frame(28, 258, EquityRecord("IBM", 0, 2000, 0, 0, 0).substr(0, 11)));  // LengthA
  EXPECT_EQ(r.Summary(), "IBM 20/0.05/0/0; pub IBM=10; pub IBM=20; ");
  EXPECT_EQ(r.published[1].fFlag, 1);
  EXPECT_EQ(r.quotes.Simbolos.at(i).LastUpdate, 0);  // record packets don't stamp it
}

TEST(RecordPacketTest, EdgesOfLengthCodeAndWatchList) {
  QuoteRig r;
  r.console.Info.SetCaption("untouched");       // a lookup would overwrite it
  Decode(r, Frame(13, 1, "ab").substr(0, 17));  // one byte short of a record
  Decode(r, Frame(28, 1, "a").substr(0, 19));   // likewise
  Decode(r, Frame(28, 0x80000000u, "IBM   "));  // a code beyond a signed 32-bit number
  EXPECT_EQ(r.console.Info.Caption(), "untouched");
  // Not on the watch list: no record, no publication.
  Decode(r, Frame(13, 9, EquityRecord("XOM", 0, 1, 1, 1, 1)));
  EXPECT_EQ(r.Summary(), "");
  // Watched and new: added and published at once, prices at 0.
  r.Watch("XOM");
  Decode(r, Frame(13, 9, EquityRecord("XOM", 0, 100, 1, 1, 1)));
  EXPECT_EQ(r.Summary(), "XOM 0/0/0/0; pub XOM=0; ");
  // A record that exists is updated; it is published only when its new symbol is watched.
  r.Known("IBM", 100);
  Decode(r, Frame(13, 100, EquityRecord("XYZ", 0, 300, 1, 1, 1)));
  EXPECT_EQ(r.Summary(), "XOM 0/0/0/0; XYZ 3/0.01/0/1; pub XOM=0; ");
}

}  // namespace
}  // namespace quotlink
