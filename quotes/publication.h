// Quote publication: one quote handed from a decoder to every client object, through the
// QuoteBoard of the console and the bell `Data`.
#ifndef QUOTLINK_QUOTES_PUBLICATION_H_
#define QUOTLINK_QUOTES_PUBLICATION_H_

#include <cstdint>
#include <string>

#include "util/bytes.h"

namespace quotlink {

class QUOTLINKBAS;

// Publishes record `index` (1 or more) for a quote of packet 20: fills the board, stamps the
// time, rings `Data` (every subscriber runs before this returns, and may call back into the
// feeder), then stamps the record's LastUpdate on a fresh look at the table. `symbol` is the
// symbol field of the quote head; it must not point into the table.
void PublishQuote(QUOTLINKBAS& bas, int32_t index, ByteView symbol);

// The same for a record of packet 13 or 28: the flag 1, and neither the time nor LastUpdate.
void PublishRecord(QUOTLINKBAS& bas, int32_t index, ByteView symbol);

// Appends a number as the platform prints it: a blank for the sign when not negative, at most
// 7 significant digits for a 32-bit float, no leading 0 before the point.
void AppendPlainNumber(std::string* out, double value, int significant_digits);

}  // namespace quotlink

#endif  // QUOTLINK_QUOTES_PUBLICATION_H_
