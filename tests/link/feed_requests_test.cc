#include "link/feed_requests.h"

#include <gtest/gtest.h>

#include <cmath>

#include "link/feed_requests_format.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

TEST(FeedRequestsTest, NumbersGoMostSignificantFirstClampedIntoFourBytes) {
  const struct {
    double value;
    std::string bytes;
  } cases[] = {
      {4275878552.0, "\xFE\xDC\xBA\x98"},
      {-1, "\0\0\0\0"s},
      {4294967296.0, "\xFF\xFF\xFF\xFF"},
      {std::nan(""), "\0\0\0\0"s},
      {100.75, "\0\0\0\x64"s},
  };
  for (const auto& c : cases)
    EXPECT_EQ(NumberToBytes(c.value), c.bytes) << c.value;
  EXPECT_EQ(BuildRequest(255, "\0\xFF"s), "\x44\xFF\0\xFF\0\0"s);
}

}  // namespace
}  // namespace quotlink
