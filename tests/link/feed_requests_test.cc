#include "link/feed_requests.h"

#include <gtest/gtest.h>

#include <cmath>

#include "link/feed_requests_format.h"
#include "tests/support/link_fixture.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

TEST(FeedRequestsTest, NumbersGoMostSignificantFirstAndDataIsCounted) {
  const struct {
    double value;
    std::string bytes;
  } cases[] = {
      {4275878552.0, "\xFE\xDC\xBA\x98"},
      {151191553, "\x09\x03\0\x01"s},  // the default image version, &H09030001
      // Outside the defined range: clamped, never undefined.
      {-1, "\0\0\0\0"s},
      {4294967296.0, "\xFF\xFF\xFF\xFF"},
      {std::nan(""), "\0\0\0\0"s},
      {100.75, "\0\0\0\x64"s},  // a fraction is dropped
  };
  for (const auto& c : cases)
    EXPECT_EQ(NumberToBytes(c.value), c.bytes) << c.value;
  EXPECT_EQ(BuildRequest(kRequestDatabaseKey, "\0A\0\xFF"s), "\x44\x0B\0A\0\xFF\0\0"s);
  EXPECT_EQ(BuildRequest(255, ""), "\x44\xFF\0\0"s);
}

TEST(FeedRequestsTest, AFailedSendShowsOnMensagem) {
  LinkFixture f;
  f.link.SendRequest(kRequestTest, "");
  EXPECT_EQ(f.log.Take(),
            "Mensagem: TCP is not working - Wrong protocol or connection state for the requested "
            "transaction\n");
}

}  // namespace
}  // namespace quotlink
