// A quote stream on its own: the quote tests' image parsed into a FeedDatabase, a console
// without a view, a fake clock, and a sink that records requests instead of sending them.
#ifndef QUOTLINK_TESTS_SUPPORT_QUOTE_RIG_H_
#define QUOTLINK_TESTS_SUPPORT_QUOTE_RIG_H_

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "client/console_surface.h"
#include "link/feed_requests.h"
#include "platform/clock.h"
#include "quotes/quote_stream.h"
#include "tests/support/quote_frames.h"

namespace quotlink {

struct RecordingSink : RequestSink {
  std::vector<std::pair<int, ByteString>> sent;  // code and data of each request
  void SendRequest(int16_t code, ByteView data) override { sent.emplace_back(code, data); }
};

// A float as "%g" prints it: short and exact enough for prices of two decimals.
inline std::string Num(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%g", v);
  return buf;
}

struct QuoteRig {
  FeedDatabase database;
  ConsoleSurface console{nullptr};
  FakeClock clock;
  RecordingSink requests;
  QuoteStream quotes{&database, &console, &clock, &requests};
  // Every publication as the board showed it when `Data` rang.
  std::vector<QuoteBoard> published;

  QuoteRig() {
    const ImageParse r =
        ParseFeedImage(WriteImage(TestImageLayout()), kTestImageVersion, &database, nullptr);
    EXPECT_EQ(r.kind, ImageParseKind::kAccepted) << r.reason;
    console.Data.Subscribe([this] { published.push_back(console.board); });
  }
  void Watch(const std::string& symbol) {
    if (console.DTNSYMBOLS.Find(symbol) < 1) console.DTNSYMBOLS.Add(symbol);
  }
  // Adds a watched record with its definition fields unset, as a record packet leaves a new one.
  int32_t Known(const std::string& symbol, int code, const ByteString& key = kEquityKey) {
    Watch(symbol);
    const int32_t i = quotes.AddSimbolo(key, code, symbol);
    SimboloRec r = quotes.Simbolos.at(i);
    r.PrimaryFormat = r.SecondaryFormat = -1;
    r.ProcessCode = -1;
    r.ChangeFieldDef = -1;
    quotes.Simbolos.Store(i, r);
    return i;
  }
  // The table (symbol last/bid/high/volume), the publications (symbol=last) and the codes of
  // the requests, as one line.
  std::string Summary() const {
    std::string s;
    for (int32_t i = 1; i <= quotes.Simbolos.size(); ++i) {
      const SimboloRec& r = quotes.Simbolos.at(i);
      s += std::string(CleanSymbol(std::string_view(r.Simbolo, 12))) + " " + Num(r.Last) + "/" +
           Num(r.Bid) + "/" + Num(r.High) + "/" + Num(r.Vol) + "; ";
    }
    for (const QuoteBoard& b : published)
      s += "pub " + b.vSimbolo + "=" + Num(b.vLast) + "; ";
    for (const auto& [code, data] : requests.sent)
      s += std::to_string(code) + " ";
    return s;
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_QUOTE_RIG_H_
