#include "quotes/quote_stream.h"

#include <gtest/gtest.h>

#include <random>

#include "database/record_packets.h"
#include "quotes/quote_stream.h"
#include "tests/support/quote_feeder.h"

namespace quotlink {
namespace {

const std::vector<int> kAskSequence = {11, 7, 7, 7, 11, 33, 33, 33};

// A field-list body: (field number, value) pairs.
ByteString Entries(std::initializer_list<std::pair<int, ByteString>> entries) {
  ByteString b;
  for (const auto& [f, v] : entries) {
    b.push_back(static_cast<char>(f));
    b += v;
  }
  return b;
}

struct QuotePacketTest : ::testing::Test {
  QuoteFeeder q;
  void Decode(ByteView frame) { q.bas.Quotes().DecodeQuotePacket(frame); }
};

// What becomes of a quote, by what is known of it: one row of the table per test.
TEST_F(QuotePacketTest, KnownPairFieldListIsMergedAndPublished) {
  const int32_t i = q.Known("IBM", 100);
  Decode(QuotePacket(kEquityKey, 1, 4, 1,
                     Quote("IBM", 4, 100, 2, Entries({{3, Be(12345, 4)}, {4, Be(12300, 4)}}))));
  ASSERT_EQ(q.published.size(), 1u);
  EXPECT_EQ(q.published[0].vSimbolo, "IBM");
  EXPECT_FLOAT_EQ(q.published[0].vLast, 123.45f);
  EXPECT_FLOAT_EQ(q.published[0].vBid, 123.0f);
  EXPECT_EQ(q.published[0].fFlag, 0);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Last, 123.45f);
  // Merged: a first last price sets the day's high and low.
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).High, 123.45f);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Low, 123.45f);
  EXPECT_GT(q.bas.Quotes().Simbolos.at(i).LastUpdate, 0);
  EXPECT_TRUE(q.tcp.sent.empty());
}

TEST_F(QuotePacketTest, KnownPairLastRecordReplacesSilentlyAndEndsThePacket) {
  const int32_t i = q.Known("IBM", 100);
  const ByteString rec = EquityRecord("IBM", 0, 1000, 990, 1010, 500, 1100, 900, 950);
  Decode(QuotePacket(kEquityKey, 4, 4, 2,
                     Quote("IBM", 4, 100, 0, rec) + Quote("IBM", 4, 100, 0, rec)));
  EXPECT_TRUE(q.published.empty());
  const SimboloRec& r = q.bas.Quotes().Simbolos.at(i);
  EXPECT_FLOAT_EQ(r.Last, 10.0f);
  EXPECT_FLOAT_EQ(r.High, 11.0f);
  EXPECT_FLOAT_EQ(r.Previous, 9.5f);
  EXPECT_EQ(r.ProcessCode, 0);
}

TEST_F(QuotePacketTest, UnknownWatchedLastRecordIsAddedThenReplacedOnTheNextPass) {
  q.Watch("IBM");
  const ByteString rec = EquityRecord("IBM", 3, 1000, 990, 1010, 500);
  Decode(QuotePacket(kEquityKey, 4, 4, 1, Quote("IBM", 4, 100, 255, rec)));
  ASSERT_EQ(q.bas.Quotes().Simbolos.size(), 1);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(1).Last, 0.0f);  // a new record holds no prices yet
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(1).ProcessCode, 3);
  EXPECT_EQ(std::string(q.bas.Quotes().Simbolos.at(1).Simbolo, 12), "IBM         ");

  QuoteFeeder g;
  g.Watch("IBM");
  g.bas.Quotes().DecodeQuotePacket(QuotePacket(kEquityKey, 4, 4, 2, Quote("IBM", 4, 100, 0, rec)));
  ASSERT_EQ(g.bas.Quotes().Simbolos.size(), 1);
  EXPECT_FLOAT_EQ(g.bas.Quotes().Simbolos.at(1).Last, 10.0f);
  EXPECT_TRUE(g.published.empty());
  EXPECT_TRUE(g.tcp.sent.empty());
}

TEST_F(QuotePacketTest, UnknownUnwatchedLastRecordStoresNothing) {
  Decode(QuotePacket(kEquityKey, 4, 4, 3,
                     Quote("IBM", 4, 100, 0, EquityRecord("IBM", 0, 1, 1, 1, 1))));
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 0);
  EXPECT_TRUE(q.tcp.sent.empty());
}

TEST_F(QuotePacketTest, UnknownWatchedFieldListAsksAndIsWalkedToTheNextQuote) {
  q.Watch("IBM");
  const int32_t known = q.Known("MSFT", 7);
  const ByteString quotes = Quote("IBM", 4, 0x1234, 2, Entries({{3, Be(1, 4)}, {4, Be(2, 4)}})) +
                            Quote("MSFT", 4, 7, 1, Entries({{3, Be(25050, 4)}}));
  Decode(QuotePacket(kEquityKey, 1, 4, 2, quotes));
  EXPECT_EQ(q.RequestCodes(), kAskSequence);
  EXPECT_EQ(q.tcp.sent[0].substr(2, 4), kEquityKey);
  EXPECT_EQ(q.tcp.sent[1].substr(2, 4), ByteString("\0\0\x12\x34", 4));
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 1);
  ASSERT_EQ(q.published.size(), 1u);
  EXPECT_EQ(q.published[0].vSimbolo, "MSFT");
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(known).Last, 250.5f);
  // Each such quote asks again.
  Decode(QuotePacket(kEquityKey, 1, 4, 1, quotes));
  EXPECT_EQ(q.tcp.sent.size(), 16u);
}

TEST_F(QuotePacketTest, UnknownWatchedPositionalAsksAddsAndPublishesWithoutPrices) {
  q.Watch("IBM");
  const ByteString rec = EquityRecord("IBM", 0, 1000, 990, 1010, 500);
  Decode(QuotePacket(kEquityKey, 4, 4, 1, Quote("IBM", 4, 100, static_cast<int>(rec.size()), rec)));
  EXPECT_EQ(q.RequestCodes(), kAskSequence);
  ASSERT_EQ(q.published.size(), 1u);
  EXPECT_FLOAT_EQ(q.published[0].vLast, 0.0f);
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 1);
}

TEST_F(QuotePacketTest, UnknownUnwatchedIsSkippedWithoutRequests) {
  const int32_t known = q.Known("MSFT", 7);
  const ByteString rec = EquityRecord("IBM", 0, 1000, 990, 1010, 500);
  for (uint8_t form : {1, 4}) {
    const ByteString first = form == 1 ? Quote("IBM", 4, 100, 1, Entries({{3, Be(5, 4)}}))
                                       : Quote("IBM", 4, 100, static_cast<int>(rec.size()), rec);
    Decode(QuotePacket(kEquityKey, form, 4, 2,
                       first + Quote("MSFT", 4, 7, 1, Entries({{3, Be(100, 4)}}))));
  }
  EXPECT_TRUE(q.tcp.sent.empty());
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 1);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(known).Last, 1.0f);
}

TEST_F(QuotePacketTest, TheWorkedFrame) {
  const int32_t i = q.Known("ES", 4660);
  ByteString quote("ES  \x12\x34\x02", 7);
  quote += "\x07" + Be(10025, 4) + "\x09" + Be(10000, 4);
  const ByteString frame = QuotePacket(kEquityKey, 0x01, 0x04, 0x01, quote);
  EXPECT_EQ(frame.substr(12, 4), ByteString("\x01\x04\x00\x01", 4));
  Decode(frame);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).High, 100.25f);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Previous, 100.0f);
  ASSERT_EQ(q.published.size(), 1u);
  // The board's change is worked out from the record's prices; the record's stays 0.
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).Change, 0);
}

TEST_F(QuotePacketTest, FormByteChoosesTheFieldCount) {
  // CountA reads 3 fields (symbol, code, last); CountB all nine.
  struct Case {
    uint8_t form;
    int c;
    bool count_b;
  };
  for (const Case& c : {Case{0x81, 0, true}, Case{0x01, 0, false}, Case{0x02, 0, false},
                        Case{0x04, 0, true}, Case{0x82, 0, true}, Case{0x01, 255, false}}) {
    QuoteFeeder g;
    const int32_t i = g.Known("IBM", 100);
    g.bas.Quotes().DecodeQuotePacket(
        QuotePacket(kEquityKey, c.form, 4, 1,
                    Quote("IBM", 4, 100, c.c, EquityRecord("IBM", 0, 1000, 990, 1010, 500))));
    EXPECT_FLOAT_EQ(g.bas.Quotes().Simbolos.at(i).Last, 10.0f) << int(c.form);
    EXPECT_FLOAT_EQ(g.bas.Quotes().Simbolos.at(i).Bid, c.count_b ? 9.9f : 0.0f) << int(c.form);
  }
}

TEST_F(QuotePacketTest, ShortAndEmptyPacketsChangeNothing) {
  q.Known("IBM", 100);
  q.frm.Info.SetCaption("untouched");
  Decode(QuotePacket(kEquityKey, 1, 4, 0, "").substr(0, 17));
  EXPECT_EQ(q.frm.Info.Caption(), "untouched");
  Decode(QuotePacket(kEquityKey, 1, 4, 0, Quote("IBM", 4, 100, 1, Entries({{3, Be(1, 4)}}))));
  Decode(QuotePacket("NONE", 1, 4, 1, Quote("IBM", 4, 100, 1, Entries({{3, Be(1, 4)}}))));
  EXPECT_TRUE(q.published.empty());
  EXPECT_EQ(q.frm.Info.Caption(), "untouched");
}

TEST_F(QuotePacketTest, UnresolvedIndirectFormatAbandonsThePacket) {
  const int32_t i = q.Known("CL", 5, kFuturesKey);  // PrimaryFormat still -1
  // Field 9 (volume, format 0) then field 5 (last, format 45), then a quote behind.
  Decode(QuotePacket(kFuturesKey, 1, 4, 2,
                     Quote("CL", 4, 5, 3, Entries({{9, Be(7, 2)}, {5, Be(1, 3)}, {9, Be(8, 2)}})) +
                         Quote("CL", 4, 5, 1, Entries({{9, Be(9, 2)}}))));
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).Vol, 0);
  EXPECT_TRUE(q.published.empty());
}

TEST_F(QuotePacketTest, ThreeQuotesOfAPacketAreAllPublished) {
  q.Known("AA", 1);
  q.Known("BB", 2);
  q.Known("CC", 3);
  ByteString quotes;
  for (int c = 1; c <= 3; ++c) {
    quotes += Quote(std::string(2, static_cast<char>('A' + c - 1)), 4, c, 1,
                    Entries({{3, Be(static_cast<uint64_t>(c * 100), 4)}}));
  }
  Decode(QuotePacket(kEquityKey, 1, 4, 3, quotes));
  ASSERT_EQ(q.published.size(), 3u);
  EXPECT_EQ(q.published[2].vSimbolo, "CC");
  EXPECT_FLOAT_EQ(q.published[2].vLast, 3.0f);
}

TEST_F(QuotePacketTest, EntriesEndingAtTheLastByteAreMergedButNotPublished) {
  const int32_t i = q.Known("IBM", 100);
  ByteString frame =
      QuotePacket(kEquityKey, 1, 4, 1, Quote("IBM", 4, 100, 1, Entries({{3, Be(4200, 4)}})));
  frame.resize(frame.size() - 2);  // no trailer
  Decode(frame);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(i).Last, 42.0f);
  EXPECT_TRUE(q.published.empty());
}

TEST_F(QuotePacketTest, SubscriberMayReenterTheFeederDuringPublication) {
  q.Known("IBM", 100);
  const ByteString packet = QuotePacket(kEquityKey, 1, 4, 2,
                                        Quote("IBM", 4, 100, 1, Entries({{3, Be(100, 4)}})) +
                                            Quote("IBM", 4, 100, 1, Entries({{3, Be(200, 4)}})));
  int depth = 0;
  q.frm.Data.Subscribe([&] {
    if (depth++ > 0) return;
    // Grow the table past any capacity it had, and decode another packet inside.
    for (int k = 0; k < 2000; ++k) {
      q.Watch("S" + std::to_string(k));
      q.bas.Quotes().Simbolos.Add(kEquityKey, 1000 + k, "S" + std::to_string(k),
                                  [&](std::string_view s) { return q.frm.DTNSYMBOLS.Find(s); });
    }
    q.bas.Quotes().DecodeQuotePacket(
        QuotePacket(kEquityKey, 1, 4, 1, Quote("IBM", 4, 100, 1, Entries({{3, Be(150, 4)}}))));
  });
  Decode(packet);
  EXPECT_FLOAT_EQ(q.bas.Quotes().Simbolos.at(1).Last, 2.0f);
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 2001);
}

TEST_F(QuotePacketTest, HostileFramesNeverReadOutOfRange) {
  q.Known("IBM", 100);
  q.Known("CL", 5, kFuturesKey);
  q.Watch("NEW");
  const std::vector<ByteString> seeds = {
      QuotePacket(kEquityKey, 1, 4, 2,
                  Quote("IBM", 4, 100, 2, Entries({{3, Be(12345, 4)}, {4, Be(1, 4)}})) +
                      Quote("NEW", 4, 9, 1, Entries({{3, Be(1, 4)}}))),
      QuotePacket(kEquityKey, 4, 4, 2,
                  Quote("NEW", 4, 9, 0, EquityRecord("NEW", 1, 5, 5, 5, 5)) +
                      Quote("IBM", 4, 100, 37, EquityRecord("IBM", 1, 5, 5, 5, 5))),
      QuotePacket(kFuturesKey, 1, 4, 1,
                  Quote("CL", 4, 5, 2, Entries({{3, Be(2, 2)}, {5, Be(3, 3)}}))),
  };
  std::mt19937 rng(42);
  for (int iter = 0; iter < 3000; ++iter) {
    ByteString f = seeds[static_cast<size_t>(iter) % seeds.size()];
    const int flips = static_cast<int>(rng() % 4);
    for (int k = 0; k < flips; ++k)
      f[rng() % f.size()] = static_cast<char>(rng());
    if (rng() % 2) f.resize(rng() % (f.size() + 1));
    Decode(f);
    DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(), f, 2);
    DecodeRecordPacket(q.bas.Database(), q.bas.Quotes(), f, 4);
  }
  SUCCEED();
}

}  // namespace
}  // namespace quotlink
