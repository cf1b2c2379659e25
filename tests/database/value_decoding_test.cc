#include "database/value_decoding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace quotlink {
namespace {

// Bytes from hex pairs, blanks between them ignored: "80 64" is two bytes.
ByteString Hex(std::string_view hex) {
  ByteString out;
  int nibbles = 0;
  unsigned value = 0;
  for (char c : hex) {
    if (c == ' ') continue;
    value = value * 16 + static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
    if (++nibbles == 2) {
      out.push_back(static_cast<char>(value));
      nibbles = 0;
      value = 0;
    }
  }
  return out;
}

SimboloRec Record(int32_t process_code, int16_t primary = -1, int16_t secondary = -1) {
  SimboloRec r = NewWorkingRecord();
  r.ProcessCode = process_code;
  r.PrimaryFormat = primary;
  r.SecondaryFormat = secondary;
  return r;
}

struct DecodeCase {
  const char* hex;
  int16_t code;
  int32_t process_code;
  float want;
  int16_t primary = -1;
  int16_t secondary = -1;
};

// The worked values of the feed's field formats, and at least one case for each row of the
// format table.
const DecodeCase kDecodeCases[] = {
    // Signed whole numbers: sign and magnitude, all ones is zero.
    {"00", 0, -1, 0.0f},
    {"7F", 0, -1, 127.0f},
    {"81", 0, -1, -1.0f},
    {"FE", 0, -1, -126.0f},
    {"80", 0, -1, 0.0f},
    {"FF", 0, -1, 0.0f},
    {"81", 24, -1, -1.0f},
    {"81", 36, -1, -1.0f},
    // Unsigned whole numbers.
    {"FF", 6, -1, 255.0f},
    {"FF", 18, -1, 255.0f},
    // Decimal places, signed and unsigned.
    {"80", 7, -1, 12.8f},
    {"FF FF", 2, -1, 0.0f},
    {"FF FF", 8, -1, 655.35f},
    {"80 00", 2, -1, 0.0f},
    {"80 64", 2, -1, -1.0f},
    {"30 39", 2, -1, 123.45f},
    {"30 39", 3, -1, 12.345f},
    {"30 39", 5, -1, 0.12345f},
    {"30 39", 25, -1, 1234.5f},
    {"30 39", 29, -1, 0.12345f},
    {"80 64", 26, -1, -1.0f},
    {"30 39", 11, -1, 0.12345f},
    {"FF FF FF FF", 2, -1, 0.0f},
    {"80 00 00 01", 4, -1, -0.0001f},
    // Beyond four bytes there is no sign; the result is a single.
    {"FF FF FF FF FF", 0, -1, 1099511627776.0f},
    {"07 5B CD 15", 0, -1, 123456792.0f},
    // Last digit in eighths while ProcessCode is 1.
    {"04 D5", 0, 1, 123.875f},
    {"04 D5", 6, 1, 123.875f},
    {"04 D5", 12, 1, 123.875f},
    {"04 D5", 18, 1, 123.875f},
    {"04 D5", 24, 1, 123.875f},
    {"04 D5", 36, 1, 123.875f},
    {"04 D5", 36, -1, 1237.0f},
    {"04 D5", 1, 1, 123.7f},
    // Whole part by the code's digits, fraction by the process code.
    {"30 35", 13, 1, 1234.125f},
    {"80 30 35", 13, 1, -1234.125f},
    {"30 35", 13, -1, 1234.0f},
    {"30 35", 13, 0, 1234.0f},
    {"30 39", 14, 3, 124.40625f},
    {"30 39", 15, 10, 12.0f + 345.0f / 256.0f},
    {"04 DA", 37, 2, 124.5f},
    {"80 04 DA", 37, 2, -124.5f},
    {"30 2C", 20, 7, 123.5f},
    {"80 05", 19, 1, 3277.375f},  // unsigned: the top bit is a digit
    // Twice the value; dates; 256ths.
    {"00 05", 30, -1, 10.0f},
    {"80", 30, -1, 256.0f},
    {"00 00", 31, -1, 0.0f},
    {"00 01", 31, -1, 25570.0f},
    {"FF FF", 31, -1, 91104.0f},
    {"01 80", 64, -1, 1.5f},
    {"80 01", 66, -1, 32769.0f / 256.0f},
    // Signed plain number.
    {"81", 48, -1, -1.0f},
    {"80 64", 48, -1, -100.0f},
    // Indirect codes: the sign rule is that of 45 (signed) or 47 (unsigned).
    {"80 64", 45, -1, 0.0f},
    {"12 34", 45, -1, 0.0f},
    {"80 64", 45, -1, -1.0f, 2},
    {"80 64", 47, -1, 328.68f, -1, 2},
    {"80 64", 47, -1, 0.0f, 2, -1},
    {"80 64", 45, -1, -0.001f, 47, 5},
    {"80 64", 45, -1, 0.0f, 47, -1},
    {"04 D5", 45, 1, 123.875f, 0},
};

TEST(DecodeValueTest, WorkedValues) {
  for (const DecodeCase& c : kDecodeCases) {
    const SimboloRec r = Record(c.process_code, c.primary, c.secondary);
    EXPECT_EQ(DecodeValue(r, Hex(c.hex), c.code), c.want)
        << c.hex << " under code " << c.code << ", process code " << c.process_code;
  }
}

TEST(DecodeValueTest, PlainCodesTakeNoSign) {
  const SimboloRec r = Record(1);
  for (int16_t code :
       {32, 33, 34, 35, 42, 43, 44, 46, 49, 55, 63, 67, 1000, 32767, -1, -2, -32768}) {
    EXPECT_EQ(DecodeValue(r, Hex("80"), code), 128.0f) << code;
    EXPECT_EQ(DecodeValue(r, Hex("04 D5"), code), 1237.0f) << code;
  }
}

TEST(DecodeValueTest, EmptyBytesGiveZeroUnderEveryCode) {
  const SimboloRec r = Record(1, 2, 3);
  for (int code = -40; code <= 80; ++code) {
    EXPECT_EQ(DecodeValue(r, ByteView(), static_cast<int16_t>(code)), 0.0f) << code;
  }
}

TEST(DecodeValueTest, SignStepByLength) {
  struct Case {
    const char* hex;
    float want;
  };
  const Case cases[] = {
      {"FF", 0.0f},
      {"80", 0.0f},
      {"81", -1.0f},
      {"7F", 127.0f},
      {"FF FF", 0.0f},
      {"80 00", 0.0f},
      {"80 01", -1.0f},
      {"7F FF", 32767.0f},
      {"FF FF FF", 0.0f},
      {"80 00 00", 0.0f},
      {"80 00 01", -1.0f},
      {"7F FF FF", 8388607.0f},
      {"FF FF FF FF", 0.0f},
      {"80 00 00 00", 0.0f},
      {"80 00 00 01", -1.0f},
      {"7F FF FF FF", 2147483647.0f},
      // Five bytes: no sign, whatever the first bit.
      {"80 00 00 00 01", 549755813889.0f},
  };
  const SimboloRec r = Record(-1);
  for (const Case& c : cases) {
    EXPECT_EQ(DecodeValue(r, Hex(c.hex), 0), c.want) << c.hex;
    EXPECT_EQ(DecodeValue(r, Hex(c.hex), 48), c.want) << c.hex;
  }
}

TEST(DecodeValueTest, LongFieldsAccumulateInDouble) {
  const SimboloRec r = Record(1);
  // Leading zero bytes add nothing however many there are.
  EXPECT_EQ(DecodeValue(Record(-1), ByteString(300, '\0') + "\x05", 6), 5.0f);
  // Past the range of a single the result rounds to nearest: just below halfway to 2^128 stays
  // the largest single, halfway goes to infinity.
  const ByteString below = Hex("FF FF FF 40") + ByteString(12, '\0');
  const ByteString halfway = Hex("FF FF FF 80") + ByteString(12, '\0');
  EXPECT_EQ(DecodeValue(Record(-1), below, 0), 0x1.fffffep127f);
  EXPECT_EQ(DecodeValue(Record(-1), halfway, 0), INFINITY);
  // Past the range of a double.
  const ByteString huge(200, '\xFF');
  EXPECT_EQ(DecodeValue(r, huge, 7), INFINITY);
  EXPECT_TRUE(std::isnan(DecodeValue(r, huge, 13)));
}

TEST(DecodeValueTest, AnyBytesUnderAnyCodeHaveAResult) {
  std::mt19937 rng(20240601);
  for (int i = 0; i < 20000; ++i) {
    ByteString bytes(rng() % 24, '\0');
    for (char& c : bytes)
      c = static_cast<char>(rng());
    const SimboloRec r =
        Record(static_cast<int32_t>(rng() % 40) - 5, static_cast<int16_t>(rng() % 80) - 5,
               static_cast<int16_t>(rng() % 80) - 5);
    (void)DecodeValue(r, bytes, static_cast<int16_t>(rng()));
    (void)DecodeValue(r, bytes, static_cast<int16_t>(rng() % 70));
  }
}

TEST(DecodeFractionTest, ProcessCodes) {
  struct Case {
    double x;
    int32_t process_code;
    double want;
  };
  const Case cases[] = {
      {12.5, 0, 0.5},
      {7.0, -1, 0.0},
      {1237.0, 1, 7.0 / 8},
      {1237.0, 11, 7.0 / 8},
      {1237.0, 2, 7.0 / 4},
      {12345.0, 3, 45.0 / 32},
      {12345.0, 9, 45.0 / 32},
      {123127.0, 4, 12.0 / 32 + 7.0 / 320},
      {123456.0, 5, 34.56 / 64},
      {1234.0, 6, 0.34},
      {1234.0, 12, 0.34},
      {1232.0, 7, 32.0 / 64},
      {12345.0, 8, 34.5 / 64},
      {1128.0, 10, 128.0 / 256},
      {1231250.0, 13, 12.5 / 32},
      {123125.0, 14, 1.0},
      {1130.0, 14, 0.375},  // frac(1130, 1000) * 1000 is just below 130 in double
      {12345.0, 15, 0.0},
      {12345.0, 1000, 0.0},
      {12345.0, INT32_MAX, 0.0},
  };
  for (const Case& c : cases) {
    EXPECT_NEAR(DecodeFraction(c.x, c.process_code), c.want, 1e-12)
        << c.x << " under process code " << c.process_code;
  }
  EXPECT_EQ(DecodeFraction(1130.0, 14), 0.375);
  EXPECT_EQ(DecodeFraction(123125.0, 14), 1.0);
}

}  // namespace
}  // namespace quotlink
