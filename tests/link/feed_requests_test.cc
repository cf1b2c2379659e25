#include "link/feed_requests.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "link/feed_requests_format.h"
#include "tests/support/link_fixture.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

TEST(NumberToBytesTest, GivesFourBytesMostSignificantFirst) {
  const struct {
    double value;
    std::string bytes;
  } cases[] = {
      {0, "\0\0\0\0"s},
      {100, "\0\0\0\x64"s},
      {4294967295.0, "\xFF\xFF\xFF\xFF"},
      {151191553, "\x09\x03\x00\x01"s},  // the default image version, &H09030001
      {65535, "\0\0\xFF\xFF"s},
      {256, "\0\0\x01\0"s},
      // Outside the defined range: clamped, never undefined.
      {-1, "\0\0\0\0"s},
      {4294967296.0, "\xFF\xFF\xFF\xFF"},
      {-std::numeric_limits<double>::infinity(), "\0\0\0\0"s},
      {std::nan(""), "\0\0\0\0"s},
      {100.75, "\0\0\0\x64"s},  // a fraction is dropped
  };
  for (const auto& c : cases)
    EXPECT_EQ(NumberToBytes(c.value), c.bytes) << c.value;
}

TEST(BuildRequestTest, DataIsCountedNotTerminated) {
  EXPECT_EQ(BuildRequest(kRequestDatabaseKey, "\0A\0\xFF"s), "\x44\x0B\0A\0\xFF\0\0"s);
  EXPECT_EQ(BuildRequest(255, ""), "\x44\xFF\0\0"s);
}

TEST(SendRequestTest, AFailedSendShowsOnMensagem) {
  LinkFixture f;
  f.link.SendRequest(kRequestTest, NumberToBytes(100));
  EXPECT_EQ(f.log.Take(),
            "Mensagem: TCP is not working - Wrong protocol or connection state for the requested "
            "transaction\n");
}

}  // namespace
}  // namespace quotlink
