// The image writer's frames: what the feed simulator and the transfer tests send.
#include <gtest/gtest.h>

#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

TEST(CutImageIntoFramesTest, FramesCarryTheImageInOrder) {
  ByteString big(100000, '\0');
  for (size_t i = 0; i < big.size(); ++i)
    big[i] = static_cast<char>(i * 7);
  const struct {
    ByteString image;
    size_t piece;
    size_t frames;
  } cases[] = {
      {"", 10, 2},      {"abc", 10, 2}, {"abcdefghij", 10, 2}, {"abcdefghijk", 10, 3},
      {"abcdef", 1, 7}, {big, 0, 3},    {big, 1000000, 3},     {big, 65533, 3},
  };
  for (const auto& c : cases) {
    const std::vector<ByteString> frames = CutImageIntoFrames(c.image, c.piece);
    ASSERT_EQ(frames.size(), c.frames);
    ByteString joined;
    for (size_t i = 0; i < frames.size(); ++i) {
      const ByteString& f = frames[i];
      const uint8_t want_type =
          i == 0 ? kImageFirstFrame : (i + 1 == frames.size() ? kImageEndFrame : kImageMoreFrame);
      ASSERT_GE(f.size(), 12u);
      EXPECT_EQ(ByteAt(f, 0), 0x22);
      EXPECT_EQ(ByteAt(f, 1), want_type);
      const size_t body = BigEndian16(f, 2);
      EXPECT_EQ(f.size(), body + 10);
      if (want_type == kImageEndFrame) {
        EXPECT_EQ(body, 2u);
      } else {
        joined += f.substr(10, body - 2);
      }
    }
    EXPECT_EQ(joined, c.image);
  }
}

}  // namespace
}  // namespace quotlink
