#include "database/value_decoding.h"

#include <cfloat>
#include <cmath>
#include <cstddef>

namespace quotlink {
namespace {

// Int() of the decoding rules: the largest whole number not above `a`. It stays on doubles, so
// no value, however large, passes through a conversion to an integer type.
double Int(double a) {
  return std::floor(a);
}

// frac(x, m) = x/m - Int(x/m), in this order and with no rounding step between: values at the
// edge of a whole number follow the double arithmetic, and the feed's prices rely on that (1130
// under process code 14 reads as 12 thirty-seconds, not 13).
double Frac(double x, double m) {
  return x / m - Int(x / m);
}

// The divisors of the decimal codes, as doubles; index = number of decimal places.
constexpr double kPowersOfTen[] = {1.0, 10.0, 100.0, 1000.0, 10000.0, 100000.0};

// Signed fields of 1 to 4 bytes are sign and magnitude: the top bit of the first byte is the
// sign. A field of all ones is the feed's way of saying zero.
struct SignForm {
  double all_ones;
  double half;
};
constexpr SignForm kSignForms[] = {
    {255.0, 128.0},
    {65535.0, 32768.0},
    {16777215.0, 8388608.0},
    {4294967295.0, 2147483648.0},
};

// The codes whose bytes carry a sign. 45 counts as signed and 47 doesn't, whatever codes stand
// in for them later: the sign is settled before the indirection.
bool IsSignedCode(int32_t code) {
  return (code >= 0 && code <= 5) || (code >= 12 && code <= 17) || (code >= 24 && code <= 29) ||
         (code >= 36 && code <= 41) || code == 45 || code == 48;
}

// What the magnitude `m` comes to under `code`. A 45 or 47 that is still standing here (a
// stand-in that names an indirect code again) reads as a plain number: the indirection happens
// once.
double Magnitude(double m, int32_t code, int32_t process_code) {
  if (code == 0 || code == 6 || code == 12 || code == 18 || code == 24 || code == 36) {
    // Whole numbers, whose last digit counts eighths while the record says so.
    return process_code == 1 ? Int(m / 10.0) + DecodeFraction(m, 1) : m;
  }
  if (code >= 1 && code <= 5) return m / kPowersOfTen[code];
  if (code >= 7 && code <= 11) return m / kPowersOfTen[code - 6];
  if (code >= 25 && code <= 29) return m / kPowersOfTen[code - 24];
  // The code's digit count sets only the whole part; the process code alone says which low
  // digits hold the fraction.
  if (code >= 13 && code <= 17) {
    return Int(m / kPowersOfTen[code - 12]) + DecodeFraction(m, process_code);
  }
  if (code >= 19 && code <= 23) {
    return Int(m / kPowersOfTen[code - 18]) + DecodeFraction(m, process_code);
  }
  if (code >= 37 && code <= 41) {
    return Int(m / kPowersOfTen[code - 36]) + DecodeFraction(m, process_code);
  }
  if (code == 30) return m + m;
  if (code == 31) return 25569.0 + Int(m);  // days since 1 January 1970, as a date
  if (code >= 64 && code <= 66) {
    const double q = Int(m / 256.0);
    return q + (m - 256.0 * q) / 256.0;
  }
  return m;
}

// Round to nearest single. Finite doubles beyond the range of a float are settled here, since
// converting them is undefined in C++ even where the hardware would round them to infinity.
float NarrowToSingle(double d) {
  // The float above FLT_MAX would be 2^128; halfway to it (2^128 - 2^103) rounds up, the tie
  // going to the even mantissa.
  constexpr double kOverflowsAt = 0x1.ffffffp127;
  if (d >= kOverflowsAt) return INFINITY;
  if (d <= -kOverflowsAt) return -INFINITY;
  if (d > FLT_MAX) return FLT_MAX;
  if (d < -FLT_MAX) return -FLT_MAX;
  return static_cast<float>(d);
}

}  // namespace

float DecodeValue(const SimboloRec& record, ByteView bytes, int16_t formatCode) {
  // Horner's rule gives bit for bit the sum of byte(i) * 256^(L-i) added from the first byte on:
  // a product by 256 is exact, so each step rounds where that sum would. It also keeps leading
  // zero bytes of a very long field from meeting an overflowed power of 256.
  double v = 0.0;
  for (char c : bytes)
    v = v * 256.0 + static_cast<uint8_t>(c);

  int32_t code = formatCode;
  const size_t length = bytes.size();
  if (length >= 1 && length <= 4 && IsSignedCode(code)) {
    const SignForm& form = kSignForms[length - 1];
    if (v == form.all_ones) v = 0.0;
    if (v >= form.half) v = form.half - v;
  }

  if (code == 45) {
    code = record.PrimaryFormat;
    if (code == -1) return 0.0f;
  }
  if (code == 47) {
    code = record.SecondaryFormat;
    if (code == -1) return 0.0f;
  }

  const double r = Magnitude(std::fabs(v), code, record.ProcessCode);
  const double sign = v > 0.0 ? 1.0 : (v < 0.0 ? -1.0 : 0.0);
  return NarrowToSingle(sign * r);
}

double DecodeFraction(double x, int32_t processCode) {
  if (processCode < 1) return x - Int(x);
  switch (processCode) {
    case 1:
    case 11:
      return Frac(x, 10.0) * 10.0 / 8.0;  // last digit: eighths
    case 2:
      return Frac(x, 10.0) * 10.0 / 4.0;  // last digit: quarters
    case 3:
    case 9:
      return Frac(x, 100.0) * 100.0 / 32.0;  // last two digits: thirty-seconds
    case 4: {
      // Last three digits: two of thirty-seconds, then one of tenths of a thirty-second.
      const double y = Frac(x, 1000.0) * 1000.0;
      const double q = Int(y / 10.0);
      const double r = y - q * 10.0;
      return ((1.0 / 32.0) * r) / 10.0 + q / 32.0;
    }
    case 5:
      return Frac(x, 10000.0) * 100.0 / 64.0;  // sixty-fourths with two decimals
    case 6:
    case 12:
      return Frac(x, 100.0);  // hundredths
    case 7:
      return Frac(x, 100.0) * 100.0 / 64.0;  // sixty-fourths
    case 8:
      return Frac(x, 1000.0) * 100.0 / 64.0;  // sixty-fourths with one decimal
    case 10:
      return Frac(x, 1000.0) * 1000.0 / 256.0;  // 256ths
    case 13:
      return Frac(x, 10000.0) * 100.0 / 32.0;  // thirty-seconds with two decimals
    case 14:
      // Whole eighths in the last digit, thirty-seconds in the two before it; the sum may pass 1.
      return Frac(x, 10.0) * 10.0 / 8.0 + Int(Frac(x, 1000.0) * 1000.0 / 10.0) / 32.0;
    default:
      return 0.0;
  }
}

}  // namespace quotlink
