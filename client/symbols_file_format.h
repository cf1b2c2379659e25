// Layout of SYMBOLS.DAT, the file that carries the quote table from one run to the next.
//
// No header, no trailer: record i (from 1) stands at byte (i - 1) * kSymbolRecordSize. Each record
// is one SimboloRec, field for field in its order, numbers least significant byte first, floats
// IEEE 754, the two texts one byte per character. DO NOT CHANGE THESE VALUES: they are the layout
// of files written by earlier runs.
#ifndef QUOTLINK_CLIENT_SYMBOLS_FILE_FORMAT_H_
#define QUOTLINK_CLIENT_SYMBOLS_FILE_FORMAT_H_

#include <cstddef>

namespace quotlink {

constexpr size_t kSymbolRecordSize = 100;

constexpr size_t kSimboloOffset = 0;           // 12 bytes: symbol text, blank-filled
constexpr size_t kDatabaseKeyOffset = 12;      // 4 bytes: layout key, as received
constexpr size_t kSymbolCodeOffset = 16;       // int32
constexpr size_t kQuoteFlagsOffset = 20;       // int32
constexpr size_t kPrimaryFormatOffset = 24;    // int16
constexpr size_t kSecondaryFormatOffset = 26;  // int16
constexpr size_t kPreviousOffset = 28;         // float
constexpr size_t kLastOffset = 32;             // float
constexpr size_t kOpenVOffset = 36;            // float
constexpr size_t kHighOffset = 40;             // float
constexpr size_t kLowOffset = 44;              // float
constexpr size_t kAskOffset = 48;              // float
constexpr size_t kAskSOffset = 52;             // float
constexpr size_t kBidOffset = 56;              // float
constexpr size_t kBidSOffset = 60;             // float
constexpr size_t kPreviousVolOffset = 64;      // float
constexpr size_t kLastSOffset = 68;            // float
constexpr size_t kVolOffset = 72;              // float
constexpr size_t kProcessCodeOffset = 76;      // int32
constexpr size_t kOIntOffset = 80;             // float
constexpr size_t kLastUpdateOffset = 84;       // double: days since 30 December 1899; 0: never
constexpr size_t kChangeOffset = 92;           // float
constexpr size_t kChangeFieldDefOffset = 96;   // float

// A record whose LastUpdate lies more than this many days before the present is dropped at
// reading. A LastUpdate of 0 never ages.
constexpr double kSymbolAgeLimitDays = 30.0;

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_SYMBOLS_FILE_FORMAT_H_
