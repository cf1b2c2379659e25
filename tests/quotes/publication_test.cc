#include <gtest/gtest.h>

#include "quotes/quote_stream.h"
#include "tests/support/quote_rig.h"

namespace quotlink {
namespace {

// 2026-11-23 as a date, and a time of that day.
constexpr double kDay = 46349.0;
double At(int h, int m, int s) {
  return kDay + (h * 3600 + m * 60 + s) / 86400.0;
}

struct PublicationTest : ::testing::Test {
  QuoteRig r;
  int32_t i = r.Known("ES", 1);
  SimboloRec& rec = r.quotes.Simbolos.at(i);
};

TEST_F(PublicationTest, BoardChangeBellAndRecordPublication) {
  r.clock.SetDate(At(23, 2, 5));
  rec.Last = 12.5f;
  rec.Bid = 10;
  r.quotes.PublishQuote(i, "ES  ");
  EXPECT_EQ(r.console.Data.Text(), "ES            12.5  125");
  EXPECT_EQ(r.console.board.vSimbolo, "ES");
  EXPECT_EQ(r.console.board.vChange, 0);  // no previous close: no change worked out
  // Same price, same second: the board changes, the bell doesn't ring. Only the board gets a
  // change worked out, and only when the record has none.
  rec.Previous = 10;
  rec.Bid = 11;
  r.quotes.PublishQuote(i, "ES");
  EXPECT_EQ(r.published.size(), 1u);
  EXPECT_EQ(r.console.board.vBid, 11);
  EXPECT_FLOAT_EQ(r.console.board.vChange, 2.5f);
  EXPECT_EQ(rec.Change, 0);
  r.clock.Advance(1000);
  rec.Change = 0.75f;
  r.quotes.PublishQuote(i, "ES");
  ASSERT_EQ(r.published.size(), 2u);
  EXPECT_FLOAT_EQ(r.published[1].vChange, 0.75f);
  EXPECT_EQ(r.published[1].fFlag, 0);
  // A record's publication keeps the quote's time and leaves LastUpdate alone.
  r.clock.SetDate(At(15, 30, 0) + 3);
  rec.LastUpdate = 0;
  r.quotes.PublishRecord(i, "ES");
  EXPECT_EQ(r.published.size(), 3u);
  EXPECT_EQ(r.console.board.vTime, 2302);
  EXPECT_EQ(r.console.board.fFlag, 1);
  EXPECT_EQ(rec.LastUpdate, 0);
}

TEST_F(PublicationTest, TheClocksSecondsAreLeftOutNotRounded) {
  // The last moments of a minute, and of the day, belong to that minute: TimeV and the bell's
  // minute and second never run ahead to the next one.
  struct Case {
    int h, m, s, ms;
    float time_v;
    const char* bell_seconds;  // minute * 60 + second, as the bell's text ends
  };
  for (const Case& c : {Case{15, 51, 59, 500, 1551, " 3119"}, Case{15, 51, 59, 999, 1551, " 3119"},
                        Case{15, 52, 0, 0, 1552, " 3120"}, Case{23, 59, 59, 999, 2359, " 3599"},
                        Case{0, 0, 0, 0, 0, " 0"}}) {
    r.clock.SetDate(At(c.h, c.m, c.s) + c.ms / kMsPerDay);
    rec.Last = static_cast<float>(c.h * 100 + c.m) + c.ms / 1000.0f;  // a new price: a new ring
    r.quotes.PublishQuote(i, "ES");
    EXPECT_EQ(r.console.board.vTime, c.time_v) << c.h << ":" << c.m << ":" << c.s << "." << c.ms;
    const std::string& text = r.console.Data.Text();
    EXPECT_EQ(text.substr(text.rfind(' ')), c.bell_seconds) << text;
    EXPECT_EQ(rec.LastUpdate, kDay) << "the record's day stays its own";
  }
}

TEST(PlainNumberTest, AsThePlatformPrintsThem) {
  const std::pair<double, const char*> cases[] = {
      {12.5, " 12.5"}, {0, " 0"},     {-1.5, "-1.5"},          {0.5, " .5"},
      {-0.25, "-.25"}, {125, " 125"}, {1234.567f, " 1234.567"}};
  for (const auto& [v, want] : cases) {
    std::string s;
    AppendPlainNumber(&s, v, 7);
    EXPECT_EQ(s, want);
  }
}

}  // namespace
}  // namespace quotlink
