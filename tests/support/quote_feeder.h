// A whole feeder with the quote tests' image parsed, ready for quote packets: for the tests and
// benchmarks that need the client objects or the link around the quote stream.
#ifndef QUOTLINK_TESTS_SUPPORT_QUOTE_FEEDER_H_
#define QUOTLINK_TESTS_SUPPORT_QUOTE_FEEDER_H_

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/feeder_fixture.h"
#include "tests/support/quote_frames.h"

namespace quotlink {

struct QuoteFeeder : FeederFixture {
  // Every publication as the board showed it when `Data` rang.
  std::vector<QuoteBoard> published;

  QuoteFeeder() {
    const ImageParse r = ParseFeedImage(WriteImage(TestImageLayout()), kTestImageVersion,
                                        &bas.Database(), [](std::string_view) {});
    EXPECT_EQ(r.kind, ImageParseKind::kAccepted) << r.reason;
    bas.Link().FeedVerified = 1;
    bas.Link().QuotesEnabled = 1;
    tcp.RaiseConnect();  // requests can go out
    frm.Data.Subscribe([this] { published.push_back(frm.board); });
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_QUOTE_FEEDER_H_
