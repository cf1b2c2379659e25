#include "util/bytes.h"

#include <gtest/gtest.h>

namespace quotlink {
namespace {

TEST(ByteReaderTest, ReadsUpToTheLastByteAndNeverBehindIt) {
  const ByteView data("\x01\xFF\x80", 3);
  int16_t s16 = 0;
  uint16_t u16 = 0;
  uint8_t u8 = 0;
  ByteView bytes;
  ByteReader r(data);
  ASSERT_TRUE(r.GetLittle16(&s16));
  EXPECT_EQ(s16, -255);
  // One byte is left: every longer read fails and leaves its output alone.
  EXPECT_FALSE(r.GetLittleU16(&u16) || r.GetLittle16(&s16) || r.Skip(2) || r.GetBytes(2, &bytes));
  ASSERT_TRUE(r.GetU8(&u8));
  EXPECT_FALSE(r.GetU8(&u8));
  EXPECT_EQ(u8, 0x80);
  // Reads that end exactly at the end succeed.
  ByteReader whole(data);
  EXPECT_TRUE(whole.Skip(1) && whole.GetLittleU16(&u16) && whole.remaining() == 0);
  EXPECT_EQ(u16, 0x80FF);
}

}  // namespace
}  // namespace quotlink
