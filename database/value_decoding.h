// What the raw bytes of one quote field come to as a number.
//
// A field's bytes mean nothing by themselves: the format code that the feed database gives for
// the field, and the ProcessCode, PrimaryFormat and SecondaryFormat that earlier fields left in
// the symbol's record, say how to read them. These two functions are pure: they keep no state,
// write to no record and allocate nothing.
#ifndef QUOTLINK_DATABASE_VALUE_DECODING_H_
#define QUOTLINK_DATABASE_VALUE_DECODING_H_

#include <cstdint>

#include "quotes/simbolo_rec.h"
#include "util/bytes.h"

namespace quotlink {

// The value of a field's `bytes` (most significant first, any length, empty included) under
// `formatCode`, as the single-precision float that goes into a quote slot. Reads only
// ProcessCode, PrimaryFormat and SecondaryFormat of `record`. Every input has a result: unknown
// codes read as a plain number, an indirect code (45, 47) whose stand-in is still unset gives 0.
// Arithmetic is in double up to the final narrowing, so a large whole number loses its low
// digits only there. A run of bytes too long for a double (over 128 non-zero leading bytes)
// comes out as infinity, or NaN under codes that split off a fraction.
float DecodeValue(const SimboloRec& record, ByteView bytes, int16_t formatCode);

// The fractional part of the scaled whole number `x` as `processCode` reads its last digits:
// eighths, quarters, thirty-seconds, sixty-fourths, 256ths or hundredths. A code below 1 gives
// x minus its whole part, a code above 14 gives 0. The result may reach 1 or more (code 14) and
// is meant to be added unchanged to the whole part.
// REQUIRES: x is not negative (DecodeValue passes a magnitude).
double DecodeFraction(double x, int32_t processCode);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_VALUE_DECODING_H_
