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

// One worked value per row of the format table, and the sign step at each length.
const DecodeCase kDecodeCases[] = {
    // Signed fields are sign and magnitude; all ones is zero.
    {"\x81", {0, 24, 36, 48}, -1, -1.0f},
    {"\x80", {0}, -1, 0.0f},
    {"\xFF", {0}, -1, 0.0f},
    {"\x80\x00\x01"sv, {0}, -1, -1.0f},
    // Unsigned whole numbers, and plain numbers for every code without a meaning of its own.
    {"\xFF", {6, 18}, -1, 255.0f},
    {"\x80", {32, 35, 42, 44, 46, 49, 63, 67, -1, -32768}, 1, 128.0f},
    {"\x80", {7}, -1, 12.8f},
    {"\xFF\xFF", {2}, -1, 0.0f},
    {"\x80\x64", {2, 26}, -1, -1.0f},
    {"\x30\x39", {5, 11, 29}, -1, 0.12345f},
    {"\xFF\xFF\xFF\xFF", {2}, -1, 0.0f},
    {"\x80\x00\x00\x01"sv, {4}, -1, -0.0001f},
    {"\xFF\xFF\xFF\xFF\xFF", {0}, -1, 1099511627776.0f},  // no sign beyond four bytes
    // Last digit in eighths while ProcessCode is 1.
    {"\x04\xD5", {0, 6, 12, 18, 24, 36}, 1, 123.875f},
    {"\x04\xD5", {36}, -1, 1237.0f},
    // Whole part by the code's digits, fraction by the process code.
    {"\x30\x35", {13}, 1, 1234.125f},
    {"\x04\xDA", {37}, 2, 124.5f},
    {"\x80\x05", {19}, 1, 3277.375f},  // unsigned: the top bit is a digit
    {"\x30\x39", {24}, -1, 12345.0f},  // signed whole, just past them
    {"\x80", {30}, -1, 256.0f},
    {"\x00\x00"sv, {31}, -1, 0.0f},
    {"\x00\x01"sv, {31}, -1, 25570.0f},
    {"\x01\x80", {64, 66}, -1, 1.5f},
    // Indirect codes: the sign rule stays that of 45 (signed) or 47 (unsigned).
    {"\x80\x64", {45}, -1, 0.0f},
    {"\x80\x64", {45}, -1, -1.0f, 2},
    {"\x80\x64", {47}, -1, 328.68f, -1, 2},
    {"\x80\x64", {47}, -1, 0.0f, 2, -1},
    {"\x80\x64", {45}, -1, -0.001f, 47, 5},
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
  // Just below halfway to 2^128 stays the largest single; halfway rounds to infinity.
  EXPECT_EQ(DecodeValue(Record(-1), "\xFF\xFF\xFF\x40" + ByteString(12, '\0'), 0), 0x1.fffffep127f);
  EXPECT_EQ(DecodeValue(Record(-1), "\xFF\xFF\xFF\x80" + ByteString(12, '\0'), 0), INFINITY);
}

TEST(DecodeFractionTest, ProcessCodes) {
  const struct {
    double x;
    std::vector<int32_t> process_codes;
    double want;
  } cases[] = {
      {12.5, {0}, 0.5},
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
      {12345.0, {15, INT32_MAX}, 0.0},
  };
  for (const auto& c : cases) {
    for (int32_t p : c.process_codes)
      EXPECT_NEAR(DecodeFraction(c.x, p), c.want, 1e-12) << c.x << " " << p;
  }
  // Exactly: frac(1130, 1000) * 1000 is just below 130, so 12 thirty-seconds, not 13.
  EXPECT_EQ(DecodeFraction(1130.0, 14), 0.375);
}

}  // namespace
}  // namespace quotlink
