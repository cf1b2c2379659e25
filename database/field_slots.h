// Where a field of a quote goes in the quote record, by the name the feed database gives it.
//
// The feed names its fields only through the downloaded database. A name is resolved to a
// FieldKind once, when the image is read, so that storing a field compares no strings. Names
// that this table doesn't know resolve to kNone and their fields are dropped: a new field in the
// database costs nothing.
#ifndef QUOTLINK_DATABASE_FIELD_SLOTS_H_
#define QUOTLINK_DATABASE_FIELD_SLOTS_H_

#include <cstdint>
#include <string_view>

#include "quotes/simbolo_rec.h"
#include "util/bytes.h"

namespace quotlink {

// One value per field name that has a slot in SimboloRec, and kNone for every other name.
enum class FieldKind : uint8_t {
  kNone,
  kSymbol,             // "SYMBOL"
  kLast,               // "LAST"
  kHigh,               // "HIGH"
  kLow,                // "LOW"
  kOpen,               // "OPEN"
  kAsk,                // "ASK"
  kAskPrice,           // "ASK PRICE"
  kAskSize,            // "ASK SIZE"
  kBid,                // "BID"
  kBidPrice,           // "BID PRICE"
  kBidSize,            // "BID SIZE"
  kIncrementalVolume,  // "INCREMENTAL VOLUME"
  kVolume,             // "VOLUME"
  kPreviousClose,      // "PREVIOUS CLOSE"
  kPreviousVolume,     // "PREVIOUS VOLUME"
  kOpenInterest,       // "OPEN INTEREST"
  kChangeFieldDef,     // "CHANGE FIELD DEF"
  kChange,             // "CHANGE"
};

// The kind of a field name, compared exactly (case and blanks included): "Symbol" and "LAST "
// are kNone, and so is "PROCESS CODE", which the walkers handle themselves.
FieldKind FieldKindOf(std::string_view name);

// The three security type numbers of the feed database under which a "LAST" field is steered by
// the record's QuoteFlags instead of going to Last.
struct SecTypes {
  int32_t FuturesSecType = 0;
  int32_t FutureOptionsSecType = 0;
  int32_t SpotsSecType = 0;
};

// Stores one field of a packet in `record`, by its kind:
// - kSymbol: the bytes as text in Simbolo, cut to 12 characters or filled with blanks.
// - kLast: into Last; but under one of the three `types`, where QuoteFlags says (Last for
//   0x0002/0x0100/0x0200/0x0400, Ask for 0x0004, Bid for 0x0008, each on its own; none of them
//   set stores nothing).
// - kChange: into Change only while ChangeFieldDef is above -1.
// - sizes, volumes and open interest: decoded under format code 0, whatever `formatCode` says.
// - every other kind: its slot, decoded under `formatCode`; kNone changes nothing.
// `formatCode` is the field's code as its layout holds it (45 and 47 are resolved in decoding),
// `secType` the security type of that layout.
void SetField(SimboloRec& record, ByteView bytes, FieldKind kind, int16_t formatCode,
              int32_t secType, const SecTypes& types);

// The same, by the field's name: FieldKindOf(fieldName), then the above. For callers that hold
// a name rather than a resolved kind.
void SetField(SimboloRec& record, ByteView bytes, std::string_view fieldName, int16_t formatCode,
              int32_t secType, const SecTypes& types);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_FIELD_SLOTS_H_
