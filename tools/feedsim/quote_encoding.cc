#include "tools/feedsim/quote_encoding.h"

#include <cstdlib>

#include "tools/feedsim/sim_format.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::feedsim {
namespace {

// Days since 1 January 1970 of the contract month's expiry that every derivative carries;
// the feeder stores no such field and only has to step over it.
constexpr uint32_t kExpiryDay = 20440;

void PutBig(ByteString* dst, uint64_t v, size_t width) {
  for (size_t i = width; i-- > 0;)
    dst->push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

// Signed fields of 1 to 4 bytes are sign and magnitude, not two's complement.
void PutSignedBig(ByteString* dst, int64_t v, size_t width) {
  const uint64_t sign = v < 0 ? uint64_t{0x80} << (8 * (width - 1)) : 0;
  PutBig(dst, sign | static_cast<uint64_t>(std::llabs(v)), width);
}

bool UsesIndirectPrices(const Instrument& inst) {
  return inst.kind != InstrumentKind::kEquity;
}

// The bytes of field `name` of `inst`, `width` wide. `flags` is the flag word to send and
// `flags_low_first` its byte order: a positional record reads it high byte first, a field list
// low byte first.
ByteString FieldBytes(const Instrument& inst, FieldName name, size_t width, uint16_t flags,
                      bool flags_low_first) {
  ByteString out;
  const PriceScale scale = ScaleOf(inst.price_code);
  auto price = [&](int64_t ticks) { PutBig(&out, PriceToWire(inst.price_code, ticks), width); };
  switch (name) {
    case kFSymbol:
      out = inst.symbol.substr(0, width);
      out.resize(width, ' ');
      break;
    case kFProcessCode:
      PutBig(&out, static_cast<uint64_t>(scale.process_code), width);
      break;
    case kFFlags:
      if (flags_low_first) {
        out.push_back(static_cast<char>(flags & 0xFF));
        out.push_back(static_cast<char>(flags >> 8));
        out.resize(width, '\0');
      } else {
        PutBig(&out, flags, width);
      }
      break;
    case kFPrimary:
    case kFSecondary:
      PutBig(&out, static_cast<uint64_t>(scale.format), width);
      break;
    case kFLast:
      price(inst.last);
      break;
    case kFBid:
      price(inst.bid);
      break;
    case kFAsk:
      price(inst.ask);
      break;
    case kFPrevious:
      price(inst.previous);
      break;
    case kFHigh:
      price(inst.high);
      break;
    case kFLow:
      price(inst.low);
      break;
    case kFOpen:
      price(inst.open);
      break;
    case kFIncVolume:
      PutBig(&out, inst.last_size, width);
      break;
    case kFBidSize:
      PutBig(&out, inst.bid_size, width);
      break;
    case kFAskSize:
      PutBig(&out, inst.ask_size, width);
      break;
    case kFVolume:
      PutBig(&out, inst.volume, width);
      break;
    case kFOpenInterest:
      PutBig(&out, inst.open_interest, width);
      break;
    case kFExpiration:
      PutBig(&out, kExpiryDay, width);
      break;
    case kFChangeDef:
      PutBig(&out, 0, width);
      break;  // 0 lets "CHANGE" be stored
    case kFChange:
      PutSignedBig(&out, inst.last - inst.previous, width);
      break;
    case kFieldNameCount:
      out.assign(width, '\0');
      break;
  }
  return out;
}

ByteString QuoteHead(const Universe& u, const Instrument& inst, size_t c) {
  ByteString head = inst.symbol;
  head.resize(u.HeadWidth(inst.kind), ' ');
  PutBig(&head, inst.code, 2);
  head.push_back(static_cast<char>(c));
  return head;
}

}  // namespace

int SlotOf(const DatabaseLayout& layout, FieldName name) {
  for (size_t i = 0; i < layout.slots.size(); ++i) {
    if (layout.slots[i].name_index == name) return static_cast<int>(i + 1);
  }
  return 0;
}

ByteString EncodeRecord(const Universe& u, const Instrument& inst, bool full) {
  const DatabaseLayout& layout = u.Layout(inst.kind);
  const size_t count = full ? layout.slots.size() : static_cast<size_t>(layout.count_a);
  ByteString record;
  for (size_t i = 0; i < count && i < layout.slots.size(); ++i) {
    const SlotLayout& slot = layout.slots[i];
    record += FieldBytes(inst, static_cast<FieldName>(slot.name_index),
                         static_cast<size_t>(slot.length), kFlagTrade, false);
  }
  return record;
}

ByteString PositionalQuote(const Universe& u, const Instrument& inst, bool full) {
  const ByteString record = EncodeRecord(u, inst, full);
  return QuoteHead(u, inst, record.size()) + record;
}

ByteString FieldListQuote(const Universe& u, const Instrument& inst, uint16_t moved) {
  const DatabaseLayout& layout = u.Layout(inst.kind);
  std::vector<FieldName> names;
  uint16_t flags = moved;
  if (UsesIndirectPrices(inst)) {
    // The flag word sends "LAST" to the trade, the bid or the ask.
    names = {kFFlags, kFLast};
    if (moved == kFlagTrade) {
      names.insert(names.end(), {kFIncVolume, kFVolume});
      if (inst.kind != InstrumentKind::kSpot) names.push_back(kFOpenInterest);
    } else {
      names.push_back(moved == kFlagBid ? kFBidSize : kFAskSize);
    }
  } else if (moved == kFlagTrade) {
    names = {kFLast, kFIncVolume, kFVolume};
  } else if (moved == kFlagBid) {
    names = {kFBid, kFBidSize};
  } else {
    names = {kFAsk, kFAskSize};
  }
  // Under the flag word of a bid or an ask, "LAST" carries that price.
  Instrument shown = inst;
  if (moved == kFlagBid) shown.last = inst.bid;
  if (moved == kFlagAsk) shown.last = inst.ask;
  ByteString body;
  for (FieldName name : names) {
    const int slot = SlotOf(layout, name);
    body.push_back(static_cast<char>(slot));
    body += FieldBytes(shown, name,
                       static_cast<size_t>(layout.slots[static_cast<size_t>(slot - 1)].length),
                       flags, true);
  }
  return QuoteHead(u, inst, names.size()) + body;
}

ByteString QuotePacket(ByteView wire_key, uint8_t form, uint8_t width,
                       const std::vector<ByteString>& quotes) {
  ByteString body = QuotePacketHead(wire_key, form, width, static_cast<uint8_t>(quotes.size()));
  for (const ByteString& q : quotes)
    body += q;
  return BuildFrame(kTypeQuotes, body);
}

ByteString RecordPacket(ByteView wire_key, uint32_t code, ByteView record, bool wide) {
  wide = wide || code > 0xFFFF;
  ByteString body(wire_key.substr(0, 4));
  PutBig(&body, code, wide ? 4 : 2);
  body.append(record);
  return BuildFrame(wide ? kTypeRecord4 : kTypeRecord2, body);
}

ByteString QuoteStream::NextPacket(int* quotes) {
  Universe& u = *universe_;
  const InstrumentKind kind =
      u.at(static_cast<size_t>(rng_.Uniform(0, static_cast<int64_t>(u.size()) - 1))).kind;
  std::vector<Instrument*> same;
  for (size_t i = 0; i < u.size(); ++i) {
    if (u.at(i).kind == kind) same.push_back(&u.at(i));
  }
  const bool positional = rng_.OneIn(5);
  const bool full = rng_.OneIn(2);
  const int n = static_cast<int>(rng_.Uniform(1, 4));
  std::vector<ByteString> batch;
  for (int i = 0; i < n; ++i) {
    Instrument* inst =
        same[static_cast<size_t>(rng_.Uniform(0, static_cast<int64_t>(same.size()) - 1))];
    // A short record lacks the sizes, volumes and the day's range: it may only carry a move
    // of the quotes, or the feeder would never hear of the rest.
    uint16_t moved = kFlagBid;
    if (positional && !full) {
      u.Requote(inst, &rng_);
    } else {
      moved = u.Step(inst, &rng_);
    }
    batch.push_back(positional ? PositionalQuote(u, *inst, full) : FieldListQuote(u, *inst, moved));
  }
  if (quotes != nullptr) *quotes = n;
  const uint8_t form = positional ? (full ? kFormFullRecord : kFormShortRecord) : kFormFieldList;
  return QuotePacket(u.WireKey(kind), form, u.HeadWidth(kind), batch);
}

}  // namespace quotlink::feedsim
