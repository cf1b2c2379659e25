// The simulated market: the instruments, the record layouts that describe them in the database
// image, and the random walk of their prices.
//
// Prices are held as whole ticks. How a count of ticks stands on the wire depends on the
// instrument's PriceCode: decimal prices are scaled integers, fractional prices put eighths,
// quarters or thirty-seconds in the low digits and name the reading by a process code, exactly
// as the feeder's value decoding expects.
#ifndef QUOTLINK_TOOLS_FEEDSIM_UNIVERSE_H_
#define QUOTLINK_TOOLS_FEEDSIM_UNIVERSE_H_

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/imagegen/image_writer.h"
#include "util/bytes.h"

namespace quotlink::feedsim {

// A small, fast generator with the same sequence on every platform for a given seed.
class Rng {
 public:
  explicit Rng(uint64_t seed) : state_(seed) {}
  uint64_t Next();
  // A whole number in [lo, hi]. REQUIRES: lo <= hi.
  int64_t Uniform(int64_t lo, int64_t hi);
  // True with probability 1 / n. REQUIRES: n >= 1.
  bool OneIn(int64_t n) { return Uniform(1, n) == 1; }

 private:
  uint64_t state_;
};

// The four kinds of instrument; each has its own record layout and security type.
enum class InstrumentKind : uint8_t { kFuture, kSpot, kOption, kEquity };
constexpr size_t kKindCount = 4;

// How a price in ticks is written and which format and process code read it back.
enum class PriceCode : uint8_t {
  kCents,              // two decimals, format 2
  kDecimal5,           // five decimals, format 5
  kDecimal3,           // three decimals, format 3
  kWhole,              // whole points, format 0, process code 0
  kQuarters,           // last digit counts quarters: format 13, process code 2
  kThirtySeconds,      // last two digits count 32nds: format 14, process code 3
  kHalfThirtySeconds,  // last three digits count tenths of 32nds: format 15, process code 4
  kHundredths,         // last two digits are hundredths: format 14, process code 6
};

struct PriceScale {
  int16_t format;          // the format code that reads the wire number
  int32_t process_code;    // the process code that the record must carry
  int64_t ticks_per_unit;  // ticks in one whole point
};
PriceScale ScaleOf(PriceCode code);

// The wire number of `ticks` (not negative) under `code`.
uint32_t PriceToWire(PriceCode code, int64_t ticks);

// The price that `ticks` stand for.
double TicksToPrice(PriceCode code, int64_t ticks);

// An instrument asked for on the command line: NAME, or NAME:KIND.
struct SymbolChoice {
  std::string name;
  bool kind_given = false;
  InstrumentKind kind = InstrumentKind::kEquity;
};

// One instrument and its market state. Prices are in ticks.
struct Instrument {
  std::string symbol;
  InstrumentKind kind = InstrumentKind::kEquity;
  PriceCode price_code = PriceCode::kCents;
  uint16_t code = 0;  // SymbolCode
  int64_t step = 1;   // ticks per move of the walk
  int64_t last = 0, bid = 0, ask = 0, open = 0, high = 0, low = 0, previous = 0;
  uint32_t last_size = 0, bid_size = 0, ask_size = 0, volume = 0, open_interest = 0;
};

// Field names of the image, by name index (from 0).
enum FieldName : int16_t {
  kFSymbol,
  kFProcessCode,
  kFFlags,
  kFPrimary,
  kFLast,
  kFBid,
  kFAsk,
  kFSecondary,
  kFPrevious,
  kFHigh,
  kFLow,
  kFOpen,
  kFIncVolume,
  kFBidSize,
  kFAskSize,
  kFVolume,
  kFOpenInterest,
  kFExpiration,
  kFChangeDef,
  kFChange,
  kFieldNameCount,
};

// The text of each field name as the image carries it.
const char* FieldNameText(FieldName name);

// Bits of the flag word (format 44) that say where a "LAST" field of a future, spot or option
// goes: a trade, the ask, the bid.
constexpr uint16_t kFlagTrade = 0x0002;
constexpr uint16_t kFlagAsk = 0x0004;
constexpr uint16_t kFlagBid = 0x0008;

constexpr size_t kSymbolFieldSize = 12;  // the "SYMBOL" field of every layout
constexpr size_t kLongestSymbol = 12;

// The universe: instruments, layouts and the image that describes them.
class Universe {
 public:
  // The instruments of `choices`, or a default dozen when empty. Known names (ES, IBM, EURUSD...)
  // keep their usual price form; other names take the defaults of their kind, which is guessed
  // as an equity unless given. Returns false with `*error` set on an empty, overlong or
  // repeated name.
  static bool Build(const std::vector<SymbolChoice>& choices, Universe* out, std::string* error);

  size_t size() const { return instruments_.size(); }
  Instrument& at(size_t i) { return instruments_[i]; }
  const Instrument& at(size_t i) const { return instruments_[i]; }

  // Whether any instrument is of `kind`.
  bool HasKind(InstrumentKind kind) const;

  // The layout of `kind` as the image describes it; its slots are numbered from 1 on the wire.
  const DatabaseLayout& Layout(InstrumentKind kind) const;

  // The key of `kind`'s layout as packets carry it: the layout's Key1 with its bytes reversed.
  ByteString WireKey(InstrumentKind kind) const;

  // The width of the symbol field in the heads of `kind`'s quotes: its longest symbol.
  uint8_t HeadWidth(InstrumentKind kind) const { return head_width_[static_cast<size_t>(kind)]; }

  // The whole database image, stamped with `version` (4 bytes).
  ByteString Image(ByteView version) const;

  // The instrument that a packet's key and code name, or null.
  const Instrument* Find(ByteView wire_key, uint32_t code) const;

  // Moves one instrument: a trade, or a new bid or ask. Returns the flag bit of what moved.
  uint16_t Step(Instrument* inst, Rng* rng) const;

  // Moves only the bid and the ask prices of `inst`, sizes kept: a move that the short record
  // (CountA fields) carries whole.
  void Requote(Instrument* inst, Rng* rng) const;

  // A new trading day: the last price becomes the previous close and the volume starts at 0.
  void NewDay();

 private:
  std::vector<Instrument> instruments_;
  ImageLayout layout_;  // every layout, in the order of InstrumentKind; version unset
  std::array<uint8_t, kKindCount> head_width_{};
};

const char* KindName(InstrumentKind kind);

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_UNIVERSE_H_
