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
      {16777216, "\x01\0\0\0"s},
      // Outside the defined range: clamped, never undefined.
      {-1, "\0\0\0\0"s},
      {4294967296.0, "\xFF\xFF\xFF\xFF"},
      {std::numeric_limits<double>::infinity(), "\xFF\xFF\xFF\xFF"},
      {-std::numeric_limits<double>::infinity(), "\0\0\0\0"s},
      {std::nan(""), "\0\0\0\0"s},
      {100.75, "\0\0\0\x64"s},  // a fraction is dropped
  };
  for (const auto& c : cases)
    EXPECT_EQ(NumberToBytes(c.value), c.bytes) << c.value;
}

TEST(BuildRequestTest, FramesCodeAndDataWithTwoZeroBytes) {
  EXPECT_EQ(BuildRequest(kRequestTest, NumberToBytes(100)), "\x44\x0E\0\0\0\x64\0\0"s);
  EXPECT_EQ(BuildRequest(kRequestDatabaseImage, NumberToBytes(151191553)),
            "\x44\x05\x09\x03\x00\x01\0\0"s);
  // A 0 byte inside the data is data: the request is counted, not terminated.
  EXPECT_EQ(BuildRequest(kRequestDatabaseKey, "\0A\0\xFF"s), "\x44\x0B\0A\0\xFF\0\0"s);
  EXPECT_EQ(BuildRequest(255, ""), "\x44\xFF\0\0"s);
}

TEST(SendRequestTest, GoesOutWholeOrTheFailureShowsOnce) {
  LinkFixture f;
  f.link.SendRequest(kRequestTest, NumberToBytes(100));
  EXPECT_EQ(f.log.Take(),
            "Mensagem: TCP is not working - Wrong protocol or connection state for the requested "
            "transaction\n");
  EXPECT_TRUE(f.tcp.sent.empty());
  f.tcp.RaiseConnect();
  f.link.SendRequest(kRequestTest, NumberToBytes(100));
  EXPECT_EQ(f.tcp.sent, std::vector<ByteString>{"\x44\x0E\0\0\0\x64\0\0"s});
  EXPECT_EQ(f.log.Take(), "");
}

}  // namespace
}  // namespace quotlink
