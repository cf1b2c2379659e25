// The simulator's encodings, read back by the feeder's own decoders: what the feeder stores
// must be the market state the simulator meant.
#include <gtest/gtest.h>

#include <cmath>

#include "database/feed_database.h"
#include "database/record_packets.h"
#include "database/value_decoding.h"
#include "quotes/quote_stream.h"
#include "tests/support/feeder_fixture.h"
#include "tools/feedsim/quote_encoding.h"
#include "tools/feedsim/universe.h"

namespace quotlink::feedsim {
namespace {

const ByteString kVersion("\x09\x03\x00\x01", 4);

ByteString Big(uint32_t v) {
  ByteString s;
  for (int i = 3; i >= 0; --i)
    s.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  return s;
}

// A price as the feeder stores it: a single, from double arithmetic.
void ExpectPrice(float got, PriceCode code, int64_t ticks, const std::string& what) {
  const double want = TicksToPrice(code, ticks);
  EXPECT_NEAR(got, want, 1e-6 * std::fabs(want) + 1e-6) << what << " ticks " << ticks;
}

struct PriceCase {
  PriceCode code;
  int64_t ticks;
  double price;
};

// Every price form, at whole points and at the last tick before the next point, where a low
// digit that overflowed into the whole part would show.
TEST(FeedsimPrices, EveryPriceFormDecodesToItsPrice) {
  const PriceCase cases[] = {
      {PriceCode::kCents, 14520, 145.20},
      {PriceCode::kCents, 99, 0.99},
      {PriceCode::kDecimal5, 108345, 1.08345},
      {PriceCode::kDecimal3, 149999, 149.999},
      {PriceCode::kWhole, 35000, 35000},
      {PriceCode::kQuarters, 18003, 4500.75},
      {PriceCode::kQuarters, 18000, 4500.0},
      {PriceCode::kThirtySeconds, 3792, 118.5},
      {PriceCode::kThirtySeconds, 3807, 118 + 31.0 / 32},
      {PriceCode::kHalfThirtySeconds, 7073, 110 + 16.5 / 32},
      {PriceCode::kHalfThirtySeconds, 7103, 110 + 31.5 / 32},
      {PriceCode::kHalfThirtySeconds, 7040, 110.0},
      {PriceCode::kHundredths, 7543, 75.43},
      {PriceCode::kHundredths, 195099, 1950.99},
  };
  for (const PriceCase& c : cases) {
    const PriceScale scale = ScaleOf(c.code);
    SimboloRec rec = NewWorkingRecord();
    rec.ProcessCode = scale.process_code;
    rec.PrimaryFormat = scale.format;
    rec.SecondaryFormat = scale.format;
    const ByteString wire = Big(PriceToWire(c.code, c.ticks));
    EXPECT_DOUBLE_EQ(TicksToPrice(c.code, c.ticks), c.price);
    // Directly, through 45 (signed) and 47 (unsigned), as the layouts use them.
    for (int16_t format : {scale.format, int16_t{45}, int16_t{47}}) {
      EXPECT_NEAR(DecodeValue(rec, wire, format), c.price, 1e-6 * c.price)
          << "format " << format << " ticks " << c.ticks;
    }
  }
}

// A feeder that has accepted the simulator's image and watches every instrument.
struct FeederOfUniverse : FeederFixture {
  Universe u;

  explicit FeederOfUniverse(std::vector<SymbolChoice> choices = {}) {
    std::string error;
    EXPECT_TRUE(Universe::Build(choices, &u, &error)) << error;
    const ImageParse r =
        ParseFeedImage(u.Image(kVersion), kVersion, &bas.Database(), [](std::string_view) {});
    EXPECT_EQ(r.kind, ImageParseKind::kAccepted) << r.reason;
    bas.Link().FeedVerified = 1;
    bas.Link().QuotesEnabled = 1;
    tcp.RaiseConnect();
    for (size_t i = 0; i < u.size(); ++i)
      frm.DTNSYMBOLS.Add(u.at(i).symbol);
  }
  // The feeder's record of `inst`, or null.
  const SimboloRec* Stored(const Instrument& inst) const {
    const int32_t i = bas.Quotes().Simbolos.Find(u.WireKey(inst.kind), inst.code);
    return i >= 1 ? &bas.Quotes().Simbolos.at(i) : nullptr;
  }
  // Gives the feeder every instrument's record, twice: the first adds it with its definition
  // fields, the second fills it.
  void SendAllRecords(bool wide) {
    for (int pass = 0; pass < 2; ++pass) {
      for (size_t i = 0; i < u.size(); ++i) {
        const Instrument& inst = u.at(i);
        const ByteString frame =
            RecordPacket(u.WireKey(inst.kind), inst.code, EncodeRecord(u, inst, true), wide);
        DecodeRecordPacket(bas.Database(), bas.Quotes(), frame, wide ? 4 : 2);
      }
    }
  }
  void ExpectStateStored(bool with_day_fields) {
    for (size_t i = 0; i < u.size(); ++i) {
      const Instrument& inst = u.at(i);
      const SimboloRec* r = Stored(inst);
      ASSERT_NE(r, nullptr) << inst.symbol;
      const std::string s = inst.symbol;
      EXPECT_EQ(std::string(r->Simbolo, 12).substr(0, s.size()), s);
      ExpectPrice(r->Last, inst.price_code, inst.last, s + " last");
      ExpectPrice(r->Bid, inst.price_code, inst.bid, s + " bid");
      ExpectPrice(r->Ask, inst.price_code, inst.ask, s + " ask");
      ExpectPrice(r->Previous, inst.price_code, inst.previous, s + " previous");
      ExpectPrice(r->High, inst.price_code, inst.high, s + " high");
      ExpectPrice(r->Low, inst.price_code, inst.low, s + " low");
      EXPECT_EQ(r->Vol, static_cast<float>(inst.volume)) << s;
      if (with_day_fields) {
        ExpectPrice(r->OpenV, inst.price_code, inst.open, s + " open");
        EXPECT_EQ(r->BidS, static_cast<float>(inst.bid_size)) << s;
        EXPECT_EQ(r->AskS, static_cast<float>(inst.ask_size)) << s;
      }
      if (inst.kind == InstrumentKind::kFuture || inst.kind == InstrumentKind::kOption) {
        EXPECT_EQ(r->OInt, static_cast<float>(inst.open_interest)) << s;
      }
    }
  }
};

TEST(FeedsimDecoding, RecordPacketsOfEveryInstrumentAreStoredAsMeant) {
  for (bool wide : {false, true}) {
    SCOPED_TRACE(wide ? "type 28" : "type 13");
    FeederOfUniverse f;
    // Equities carry their change, in sign and magnitude: make it a fall.
    Instrument& ibm = f.u.at(10);
    ASSERT_EQ(ibm.symbol, "IBM");
    ibm.last = ibm.low = ibm.previous - 25;
    f.SendAllRecords(wide);
    f.ExpectStateStored(true);
    EXPECT_NEAR(f.Stored(ibm)->Change, -0.25, 1e-6);
  }
}

TEST(FeedsimDecoding, StreamKeepsTheFeedersTableEqualToTheMarketAcrossANewDay) {
  FeederOfUniverse f;
  f.SendAllRecords(false);
  QuoteStream stream(&f.u, 7);
  int quotes = 0;
  for (int i = 0; i < 3000; ++i) {
    int n = 0;
    f.bas.Quotes().DecodeQuotePacket(stream.NextPacket(&n));
    quotes += n;
  }
  EXPECT_GT(quotes, 3000);
  f.ExpectStateStored(false);
  // Every instrument was known, so no quote sent the feeder asking.
  EXPECT_TRUE(f.tcp.sent.empty());

  // The feeder learns of a new day from the first trade's lower volume.
  Instrument& es = f.u.at(0);
  ASSERT_EQ(es.symbol, "ES");
  const float es_volume_before = f.Stored(es)->Vol;
  ASSERT_GT(es_volume_before, 0.0f);
  const int64_t es_last = es.last;
  f.u.NewDay();
  Rng rng(11);
  while (f.u.Step(&es, &rng) != kFlagTrade) {
  }
  f.bas.Quotes().DecodeQuotePacket(QuotePacket(f.u.WireKey(es.kind), kFormFieldList,
                                               f.u.HeadWidth(es.kind),
                                               {FieldListQuote(f.u, es, kFlagTrade)}));
  const SimboloRec* r = f.Stored(es);
  EXPECT_LT(r->Vol, es_volume_before);
  EXPECT_EQ(r->Vol, static_cast<float>(es.last_size));
  ExpectPrice(r->Previous, es.price_code, es_last, "previous after the new day");
  ExpectPrice(r->OpenV, es.price_code, es.open, "open after the new day");
}

}  // namespace
}  // namespace quotlink::feedsim
