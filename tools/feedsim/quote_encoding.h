// Encodes the market state of instruments as the feed sends it: quote packets (type 20) in the
// field-list and positional families, and single-record packets (types 13 and 28).
#ifndef QUOTLINK_TOOLS_FEEDSIM_QUOTE_ENCODING_H_
#define QUOTLINK_TOOLS_FEEDSIM_QUOTE_ENCODING_H_

#include <cstdint>
#include <vector>

#include "tools/feedsim/universe.h"
#include "util/bytes.h"

namespace quotlink::feedsim {

// QuoteForm values the simulator uses. Odd forms carry field lists; even forms positional
// records, of CountA fields for exactly 2 and of CountB fields otherwise.
constexpr uint8_t kFormFieldList = 1;
constexpr uint8_t kFormShortRecord = 2;
constexpr uint8_t kFormFullRecord = 4;

// The wire number of slot `slot` (from 1) that holds `name` in `layout`, or 0 if none does.
int SlotOf(const DatabaseLayout& layout, FieldName name);

// The positional record of `inst`: every field of its layout in order (`full`), or the first
// CountA fields.
ByteString EncodeRecord(const Universe& u, const Instrument& inst, bool full);

// One quote in the positional family: the head (symbol padded with blanks to the kind's head
// width, code, C = the record's length) and the record. Goes in a packet of kFormFullRecord
// (`full`) or kFormShortRecord.
ByteString PositionalQuote(const Universe& u, const Instrument& inst, bool full);

// One quote in the field-list family with what the move `moved` (a kFlag bit) changed.
ByteString FieldListQuote(const Universe& u, const Instrument& inst, uint16_t moved);

// A type-20 frame of `quotes`, all of one layout (`wire_key`), of one `form` and head `width`.
// REQUIRES: quotes.size() <= 255.
ByteString QuotePacket(ByteView wire_key, uint8_t form, uint8_t width,
                       const std::vector<ByteString>& quotes);

// A single-record frame: type 13 with a 2-byte code, or type 28 with a 4-byte code when `wide`
// or when `code` doesn't fit 2 bytes.
ByteString RecordPacket(ByteView wire_key, uint32_t code, ByteView record, bool wide);

// Makes the stream of quote packets of a universe: each packet is a batch of one to four quotes
// of one layout, about one in five of them positional. `*u` must outlive the stream; the
// stream moves its instruments.
class QuoteStream {
 public:
  QuoteStream(Universe* u, uint64_t seed) : universe_(u), rng_(seed) {}

  // The next type-20 frame; `*quotes` (may be null) gets the number of quotes in it.
  // REQUIRES: the universe has at least one instrument.
  ByteString NextPacket(int* quotes);

  Rng& rng() { return rng_; }

 private:
  Universe* const universe_;
  Rng rng_;
};

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_QUOTE_ENCODING_H_
