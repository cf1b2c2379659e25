#include "database/field_slots.h"

#include <algorithm>
#include <cstddef>

#include "database/value_decoding.h"

namespace quotlink {
namespace {

struct NamedKind {
  std::string_view name;
  FieldKind kind;
};

// The names as the feed spells them. Exact comparison makes the order irrelevant: "ASK" can't
// catch "ASK PRICE", nor "VOLUME" "INCREMENTAL VOLUME".
constexpr NamedKind kNamedKinds[] = {
    {"SYMBOL", FieldKind::kSymbol},
    {"LAST", FieldKind::kLast},
    {"HIGH", FieldKind::kHigh},
    {"LOW", FieldKind::kLow},
    {"OPEN", FieldKind::kOpen},
    {"ASK", FieldKind::kAsk},
    {"ASK PRICE", FieldKind::kAskPrice},
    {"ASK SIZE", FieldKind::kAskSize},
    {"BID", FieldKind::kBid},
    {"BID PRICE", FieldKind::kBidPrice},
    {"BID SIZE", FieldKind::kBidSize},
    {"INCREMENTAL VOLUME", FieldKind::kIncrementalVolume},
    {"VOLUME", FieldKind::kVolume},
    {"PREVIOUS CLOSE", FieldKind::kPreviousClose},
    {"PREVIOUS VOLUME", FieldKind::kPreviousVolume},
    {"OPEN INTEREST", FieldKind::kOpenInterest},
    {"CHANGE FIELD DEF", FieldKind::kChangeFieldDef},
    {"CHANGE", FieldKind::kChange},
};

// QuoteFlags bits that steer a "LAST" field under the three steered security types.
constexpr int32_t kLastBits = 0x0002 | 0x0100 | 0x0200 | 0x0400;
constexpr int32_t kAskBit = 0x0004;
constexpr int32_t kBidBit = 0x0008;

// Sizes, volumes and open interest are whole numbers: they ignore the field's own code and read
// under code 0, so that ProcessCode 1 still turns their last digit into eighths.
constexpr int16_t kSizeFormat = 0;

void StoreSymbol(SimboloRec& record, ByteView bytes) {
  constexpr size_t kWidth = sizeof(record.Simbolo);
  const size_t n = std::min(bytes.size(), kWidth);
  std::copy_n(bytes.data(), n, record.Simbolo);
  std::fill(record.Simbolo + n, record.Simbolo + kWidth, ' ');
}

void StoreLast(SimboloRec& record, ByteView bytes, int16_t format_code, int32_t sec_type,
               const SecTypes& types) {
  const float value = DecodeValue(record, bytes, format_code);
  if (sec_type != types.FuturesSecType && sec_type != types.FutureOptionsSecType &&
      sec_type != types.SpotsSecType) {
    record.Last = value;
    return;
  }
  // Under these types the feed's "LAST" is the latest price of whatever kind the flag word
  // names. Decoding doesn't read Last, Ask or Bid, so one decoded value serves every check.
  const int32_t flags = record.QuoteFlags;
  if (flags & kLastBits) record.Last = value;
  if (flags & kAskBit) record.Ask = value;
  if (flags & kBidBit) record.Bid = value;
}

}  // namespace

FieldKind FieldKindOf(std::string_view name) {
  for (const NamedKind& entry : kNamedKinds) {
    if (entry.name == name) return entry.kind;
  }
  return FieldKind::kNone;
}

void SetField(SimboloRec& record, ByteView bytes, FieldKind kind, int16_t formatCode,
              int32_t secType, const SecTypes& types) {
  switch (kind) {
    case FieldKind::kNone:
      return;
    case FieldKind::kSymbol:
      StoreSymbol(record, bytes);
      return;
    case FieldKind::kLast:
      StoreLast(record, bytes, formatCode, secType, types);
      return;
    case FieldKind::kHigh:
      record.High = DecodeValue(record, bytes, formatCode);
      return;
    case FieldKind::kLow:
      record.Low = DecodeValue(record, bytes, formatCode);
      return;
    case FieldKind::kOpen:
      record.OpenV = DecodeValue(record, bytes, formatCode);
      return;
    case FieldKind::kAsk:
    case FieldKind::kAskPrice:
      record.Ask = DecodeValue(record, bytes, formatCode);
      return;
    case FieldKind::kAskSize:
      record.AskS = DecodeValue(record, bytes, kSizeFormat);
      return;
    case FieldKind::kBid:
    case FieldKind::kBidPrice:
      record.Bid = DecodeValue(record, bytes, formatCode);
      return;
    case FieldKind::kBidSize:
      record.BidS = DecodeValue(record, bytes, kSizeFormat);
      return;
    case FieldKind::kIncrementalVolume:
      record.LastS = DecodeValue(record, bytes, kSizeFormat);
      return;
    case FieldKind::kVolume:
      record.Vol = DecodeValue(record, bytes, kSizeFormat);
      return;
    case FieldKind::kPreviousClose:
      record.Previous = DecodeValue(record, bytes, formatCode);
      return;
    case FieldKind::kPreviousVolume:
      record.PreviousVol = DecodeValue(record, bytes, kSizeFormat);
      return;
    case FieldKind::kOpenInterest:
      record.OInt = DecodeValue(record, bytes, kSizeFormat);
      return;
    case FieldKind::kChangeFieldDef:
      record.ChangeFieldDef = DecodeValue(record, bytes, formatCode);
      return;
    case FieldKind::kChange:
      // Until a "CHANGE FIELD DEF" has lifted the gate the feed's change isn't meaningful for
      // this record, and the old value stays.
      if (record.ChangeFieldDef > -1.0f) record.Change = DecodeValue(record, bytes, formatCode);
      return;
  }
}

void SetField(SimboloRec& record, ByteView bytes, std::string_view fieldName, int16_t formatCode,
              int32_t secType, const SecTypes& types) {
  SetField(record, bytes, FieldKindOf(fieldName), formatCode, secType, types);
}

}  // namespace quotlink
