#include "quotes/quote_stream.h"

#include <gtest/gtest.h>

#include "tests/support/quote_feeder.h"

namespace quotlink {
namespace {

// 2026-11-23 14:05:07 as a date.
constexpr double kDay = 46349.0;
double At(int h, int m, int s) {
  return kDay + (h * 3600 + m * 60 + s) / 86400.0;
}

struct PublicationTest : ::testing::Test {
  QuoteFeeder q;
  int32_t i = q.Known("ES", 1);
  void Set(float last, float prev, float change, float bid = 0) {
    SimboloRec r = q.bas.Quotes().Simbolos.at(i);
    r.Last = last;
    r.Previous = prev;
    r.Change = change;
    r.Bid = bid;
    q.bas.Quotes().Simbolos.Store(i, r);
  }
};

TEST_F(PublicationTest, ChangeRuleAndBoard) {
  struct Case {
    float last, prev, change, want;
  };
  int second = 0;
  for (const Case& c : {Case{101, 100, 0, 1}, Case{101, 0, 0, 0}, Case{101, 100, 0.75f, 0.75f}}) {
    q.clock.SetDate(At(9, 7, second++));
    Set(c.last, c.prev, c.change);
    q.bas.Quotes().PublishQuote(i, "ES  ");
    EXPECT_FLOAT_EQ(q.frm.board.vChange, c.want);
    EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).Change, c.change);
  }
  EXPECT_EQ(q.frm.board.vTime, 907);
  EXPECT_EQ(q.frm.board.vSimbolo, "ES");
  EXPECT_EQ(q.published.size(), 3u);
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).LastUpdate, kDay);
}

TEST_F(PublicationTest, DataTextRingsOnlyWhenItChanges) {
  q.clock.SetDate(At(0, 2, 5));
  Set(12.5f, 0, 0, 10);
  q.bas.Quotes().PublishQuote(i, "ES");
  EXPECT_EQ(q.frm.Data.Text(), "ES            12.5  125");
  EXPECT_EQ(q.frm.board.vTime, 2);
  Set(12.5f, 0, 0, 11);  // same price, same second: the board changes, the bell doesn't ring
  q.bas.Quotes().PublishQuote(i, "ES");
  EXPECT_EQ(q.published.size(), 1u);
  EXPECT_EQ(q.frm.board.vBid, 11);
  q.clock.Advance(1000);
  q.bas.Quotes().PublishQuote(i, "ES");
  EXPECT_EQ(q.published.size(), 2u);
  q.clock.SetDate(At(0, 0, 0));
  q.bas.Quotes().PublishQuote(i, "ES");
  EXPECT_EQ(q.frm.board.vTime, 0);
}

TEST_F(PublicationTest, RecordPublicationKeepsTimeAndLastUpdate) {
  q.clock.SetDate(At(14, 5, 0));
  Set(1, 0, 0);
  q.bas.Quotes().PublishQuote(i, "ES");
  q.clock.SetDate(At(15, 30, 0) + 3);
  SimboloRec r = q.bas.Quotes().Simbolos.at(i);
  r.LastUpdate = 0;
  q.bas.Quotes().Simbolos.Store(i, r);
  Set(2, 0, 0);
  q.bas.Quotes().PublishRecord(i, "ES");
  EXPECT_EQ(q.frm.board.vTime, 1405);
  EXPECT_EQ(q.frm.board.fFlag, 1);
  EXPECT_EQ(q.bas.Quotes().Simbolos.at(i).LastUpdate, 0);
}

TEST(PlainNumberTest, AsThePlatformPrintsThem) {
  struct Case {
    double v;
    const char* want;
  };
  for (const Case& c :
       {Case{12.5, " 12.5"}, Case{0, " 0"}, Case{-1.5, "-1.5"}, Case{0.5, " .5"},
        Case{-0.25, "-.25"}, Case{125, " 125"}, Case{static_cast<float>(1234.567), " 1234.567"}}) {
    std::string s;
    AppendPlainNumber(&s, c.v, 7);
    EXPECT_EQ(s, c.want);
  }
}

}  // namespace
}  // namespace quotlink
