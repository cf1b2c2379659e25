// The payload: the --json object of the watch command plus the sequence keys, and back.
#include "publish/quote_payload.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "tools/quotlink/quote_output.h"

namespace quotlink {
namespace {

QuoteRecord Sample(std::string_view symbol) {
  QuoteRecord q{};
  EXPECT_TRUE(q.SetSymbol(symbol));
  q.Last = 4500.25f;
  q.LastS = 3;
  q.Bid = 4500;
  q.BidS = 12;
  q.Ask = 4500.5f;
  q.AskS = 7;
  q.Change = -0.1f;
  q.OpenV = 4490;
  q.High = std::numeric_limits<float>::infinity();
  q.Low = 4480.75f;
  q.Previous = 1e-7f;
  q.OInt = 250000;
  q.Vol = 16777217.0f;
  q.TimeV = 1437;
  q.Flag = 1;
  q.ComunicationOK = 1;
  q.seq = 18446744073709551615ull;
  q.symbol_seq = 42;
  q.time_us = 1700000000123456;
  return q;
}

TEST(QuotePayloadTest, IsTheWatchObjectWithTheSequenceKeysAndReadsBack) {
  const QuoteRecord q = Sample("A\"B\\C\xE9 ");
  std::string payload;
  AppendQuotePayload(q, "host:1:2", &payload);

  const QuoteView v{std::string(q.symbol()),
                    q.Last,
                    q.LastS,
                    q.Bid,
                    q.BidS,
                    q.Ask,
                    q.AskS,
                    q.Change,
                    q.OpenV,
                    q.High,
                    q.Low,
                    q.Previous,
                    q.OInt,
                    q.Vol,
                    q.TimeV,
                    q.Flag,
                    q.ComunicationOK};
  const std::string json = QuoteJson(v);
  EXPECT_EQ(payload, json.substr(0, json.size() - 1) +
                         ",\"seq\":18446744073709551615,\"symbol_seq\":42,"
                         "\"time_us\":1700000000123456,\"feeder\":\"host:1:2\"}");

  ParsedQuote p;
  ASSERT_TRUE(ParseQuotePayload(payload, &p)) << payload;
  EXPECT_EQ(p.Simbolo, q.symbol());
  EXPECT_EQ(p.Last, q.Last);
  EXPECT_EQ(p.Change, q.Change);
  EXPECT_EQ(p.Previous, q.Previous);
  EXPECT_EQ(p.Vol, q.Vol);
  EXPECT_TRUE(std::isnan(p.High));  // infinity travels as null
  EXPECT_EQ(p.TimeV, q.TimeV);
  EXPECT_EQ(p.Flag, 1);
  EXPECT_EQ(p.ComunicationOK, 1);
  EXPECT_EQ(p.seq, q.seq);
  EXPECT_EQ(p.symbol_seq, 42u);
  EXPECT_EQ(p.time_us, q.time_us);
  EXPECT_EQ(p.feeder, "host:1:2");
}

TEST(QuotePayloadTest, OtherWritersSpacingAndKeysAreRead) {
  ParsedQuote p;
  EXPECT_FALSE(ParseQuotePayload("{\"later\":[1],\"Simbolo\":\"A\",\"seq\":7}", &p))
      << "an array is no value of a payload";
  ASSERT_TRUE(
      ParseQuotePayload(" { \"later\" : 12 , \"Simbolo\" : \"\\u00e9\\u20ac\\/\\n\", \"seq\" : 7 , "
                        "\"note\": \"x\", \"Last\": 1.5e2, \"ok\": true }\n",
                        &p));
  EXPECT_EQ(p.Simbolo, "\xE9\xE2\x82\xAC/\n");
  EXPECT_EQ(p.seq, 7u);
  EXPECT_EQ(p.Last, 150.0f);
}

TEST(QuotePayloadTest, BrokenOrIncompletePayloadsAreRefused) {
  std::string good;
  AppendQuotePayload(Sample("ES"), "f", &good);
  ParsedQuote p;
  // Every cut of a good payload, byte by byte, is refused, and nothing is read past the cut.
  for (size_t n = 0; n < good.size(); ++n) {
    const std::string cut = good.substr(0, n);
    EXPECT_FALSE(ParseQuotePayload(cut, &p)) << cut;
  }
  for (const char* bad : {"{\"Simbolo\":\"A\"}", "{\"seq\":1}", "{\"Simbolo\":\"A\",\"seq\":x}",
                          "{\"Simbolo\":\"A\",\"seq\":-1}", "{\"Simbolo\":\"A\",\"seq\":1}x",
                          "{\"Simbolo\":\"A\\u12\",\"seq\":1}", "{\"Simbolo\":\"A\\q\",\"seq\":1}",
                          "{\"Simbolo\":\"A\",\"seq\":1,\"Last\":\"1\"}",
                          "{\"Simbolo\":\"A\",\"seq\":1,\"Flag\":70000}", "[]", ""}) {
    EXPECT_FALSE(ParseQuotePayload(bad, &p)) << bad;
  }
}

}  // namespace
}  // namespace quotlink
