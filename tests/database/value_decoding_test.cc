#include "database/value_decoding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string_view>
#include <vector>

namespace quotlink {
namespace {

using namespace std::string_view_literals;

SimboloRec Record(int32_t process_code, int16_t primary = -1, int16_t secondary = -1) {
  SimboloRec r = NewWorkingRecord();
  r.ProcessCode = process_code;
  r.PrimaryFormat = primary;
  r.SecondaryFormat = secondary;
  return r;
}

struct DecodeCase {
  std::string_view bytes;
  std::vector<int16_t> codes;
  int32_t process_code;
  float want;
  int16_t primary = -1;
  int16_t secondary = -1;
};

// The worked values of the field formats, with a case for each row of the format table and for
// the sign step at each length.
const DecodeCase kDecodeCases[] = {
    // Signed whole numbers: sign and magnitude, all ones is zero.
    {"\x00"sv, {0}, -1, 0.0f},
    {"\x7F", {0}, -1, 127.0f},
    {"\x81", {0, 24, 36, 48}, -1, -1.0f},
    {"\xFE", {0}, -1, -126.0f},
    {"\x80", {0}, -1, 0.0f},
    {"\xFF", {0}, -1, 0.0f},
    {"\x80\x01", {0}, -1, -1.0f},
    {"\x7F\xFF", {0}, -1, 32767.0f},
    {"\xFF\xFF\xFF", {0}, -1, 0.0f},
    {"\x80\x00\x00"sv, {0}, -1, 0.0f},
    {"\x80\x00\x01"sv, {0}, -1, -1.0f},
    {"\x7F\xFF\xFF\xFF", {48}, -1, 2147483647.0f},
    {"\x80\x00\x00\x00"sv, {48}, -1, 0.0f},
    {"\x80\x64", {48}, -1, -100.0f},
    // Unsigned whole numbers, and plain numbers for every code without a meaning of its own.
    {"\xFF", {6, 18}, -1, 255.0f},
    {"\x80", {32, 35, 42, 44, 46, 49, 63, 67, -1, -32768}, 1, 128.0f},
    // Decimal places, signed and unsigned.
    {"\x80", {7}, -1, 12.8f},
    {"\xFF\xFF", {2}, -1, 0.0f},
    {"\xFF\xFF", {8}, -1, 655.35f},
    {"\x80\x00"sv, {2}, -1, 0.0f},
    {"\x80\x64", {2, 26}, -1, -1.0f},
    {"\x30\x39", {2}, -1, 123.45f},
    {"\x30\x39", {5, 11, 29}, -1, 0.12345f},
    {"\x30\x39", {25}, -1, 1234.5f},
    {"\xFF\xFF\xFF\xFF", {2}, -1, 0.0f},
    {"\x80\x00\x00\x01"sv, {4}, -1, -0.0001f},
    // Beyond four bytes there is no sign; the result is a single.
    {"\xFF\xFF\xFF\xFF\xFF", {0}, -1, 1099511627776.0f},
    {"\x80\x00\x00\x00\x01"sv, {0}, -1, 549755813889.0f},
    {"\x07\x5B\xCD\x15", {0}, -1, 123456792.0f},
    // Last digit in eighths while ProcessCode is 1.
    {"\x04\xD5", {0, 6, 12, 18, 24, 36}, 1, 123.875f},
    {"\x04\xD5", {36}, -1, 1237.0f},
    {"\x04\xD5", {1}, 1, 123.7f},
    // Whole part by the code's digits, fraction by the process code.
    {"\x30\x35", {13}, 1, 1234.125f},
    {"\x80\x30\x35", {13}, 1, -1234.125f},
    {"\x30\x35", {13}, -1, 1234.0f},
    {"\x30\x35", {13}, 0, 1234.0f},
    {"\x30\x39", {14}, 3, 124.40625f},
    {"\x30\x39", {15}, 10, 12.0f + 345.0f / 256.0f},
    {"\x04\xDA", {37}, 2, 124.5f},
    {"\x80\x04\xDA", {37}, 2, -124.5f},
    {"\x30\x2C", {20}, 7, 123.5f},
    {"\x80\x05", {19}, 1, 3277.375f},  // unsigned: the top bit is a digit
    // Twice the value; dates; 256ths.
    {"\x00\x05"sv, {30}, -1, 10.0f},
    {"\x80", {30}, -1, 256.0f},
    {"\x00\x00"sv, {31}, -1, 0.0f},
    {"\x00\x01"sv, {31}, -1, 25570.0f},
    {"\xFF\xFF", {31}, -1, 91104.0f},
    {"\x01\x80", {64}, -1, 1.5f},
    {"\x80\x01", {66}, -1, 32769.0f / 256.0f},
    // Indirect codes: the sign rule stays that of 45 (signed) or 47 (unsigned).
    {"\x80\x64", {45}, -1, 0.0f},
    {"\x12\x34", {45}, -1, 0.0f},
    {"\x80\x64", {45}, -1, -1.0f, 2},
    {"\x80\x64", {47}, -1, 328.68f, -1, 2},
    {"\x80\x64", {47}, -1, 0.0f, 2, -1},
    {"\x80\x64", {45}, -1, -0.001f, 47, 5},
    {"\x80\x64", {45}, -1, 0.0f, 47, -1},
    {"\x04\xD5", {45}, 1, 123.875f, 0},
};

// Each case also checks that an empty field reads as 0 under the same code.
TEST(DecodeValueTest, WorkedValues) {
  for (const DecodeCase& c : kDecodeCases) {
    for (int16_t code : c.codes) {
      const SimboloRec r = Record(c.process_code, c.primary, c.secondary);
      EXPECT_EQ(DecodeValue(r, c.bytes, code), c.want)
          << "code " << code << ", " << c.bytes.size() << " bytes, process " << c.process_code;
      EXPECT_EQ(DecodeValue(r, ByteView(), code), 0.0f) << "code " << code;
    }
  }
}

TEST(DecodeValueTest, LongFieldsAccumulateInDouble) {
  EXPECT_EQ(DecodeValue(Record(-1), ByteString(300, '\0') + "\x05", 6), 5.0f);
  // Beyond the range of a single: just below halfway to 2^128 stays the largest single, halfway
  // rounds to infinity.
  EXPECT_EQ(DecodeValue(Record(-1), "\xFF\xFF\xFF\x40" + ByteString(12, '\0'), 0), 0x1.fffffep127f);
  EXPECT_EQ(DecodeValue(Record(-1), "\xFF\xFF\xFF\x80" + ByteString(12, '\0'), 0), INFINITY);
  // Beyond the range of a double.
  EXPECT_EQ(DecodeValue(Record(1), ByteString(200, '\xFF'), 7), INFINITY);
  EXPECT_TRUE(std::isnan(DecodeValue(Record(1), ByteString(200, '\xFF'), 13)));
}

TEST(DecodeFractionTest, ProcessCodes) {
  const struct {
    double x;
    std::vector<int32_t> process_codes;
    double want;
  } cases[] = {
      {12.5, {0}, 0.5},
      {7.0, {-1}, 0.0},
      {1237.0, {1, 11}, 7.0 / 8},
      {1237.0, {2}, 7.0 / 4},
      {12345.0, {3, 9}, 45.0 / 32},
      {123127.0, {4}, 12.0 / 32 + 7.0 / 320},
      {123456.0, {5}, 34.56 / 64},
      {1234.0, {6, 12}, 0.34},
      {1232.0, {7}, 32.0 / 64},
      {12345.0, {8}, 34.5 / 64},
      {1128.0, {10}, 128.0 / 256},
      {1231250.0, {13}, 12.5 / 32},
      {12345.0, {15, 1000, INT32_MAX}, 0.0},
  };
  for (const auto& c : cases) {
    for (int32_t p : c.process_codes)
      EXPECT_NEAR(DecodeFraction(c.x, p), c.want, 1e-12) << c.x << " " << p;
  }
  // Exactly, as the double arithmetic gives them: frac(1130, 1000) * 1000 is just below 130.
  EXPECT_EQ(DecodeFraction(123125.0, 14), 1.0);
  EXPECT_EQ(DecodeFraction(1130.0, 14), 0.375);
}

}  // namespace
}  // namespace quotlink
