#include "tools/feedsim/universe.h"

#include <algorithm>

namespace quotlink::feedsim {
namespace {

struct KindInfo {
  const char* key1;  // as the image stores it; packets carry it reversed
  const char* key2;
  int16_t sec_type;
  const char* sec_type_name;  // the feeder tells futures, options and spots apart by these names
  PriceCode default_code;
  int64_t default_ticks;
};

// In the order of InstrumentKind.
constexpr KindInfo kKinds[kKindCount] = {
    {"FUTR", "FUT2", 7, "FUTURES", PriceCode::kQuarters, 4000},
    {"SPOT", "SPT2", 9, "SPOTS", PriceCode::kDecimal5, 100000},
    {"FOPT", "OPT2", 8, "FUTURE_OPTIONS", PriceCode::kHundredths, 1000},
    {"EQTY", "EQT2", 1, "EQUITY", PriceCode::kCents, 5000},
};

const KindInfo& Info(InstrumentKind kind) {
  return kKinds[static_cast<size_t>(kind)];
}

struct KnownSymbol {
  const char* name;
  InstrumentKind kind;
  PriceCode code;
  int64_t step;
  int64_t ticks;
};

// Instruments whose usual price form the simulator knows; the first twelve are the default
// universe.
constexpr KnownSymbol kKnown[] = {
    {"ES", InstrumentKind::kFuture, PriceCode::kQuarters, 1, 18000},          // 4500.00
    {"NQ", InstrumentKind::kFuture, PriceCode::kQuarters, 1, 62000},          // 15500.00
    {"YM", InstrumentKind::kFuture, PriceCode::kWhole, 1, 35000},             // 35000
    {"ZB", InstrumentKind::kFuture, PriceCode::kThirtySeconds, 1, 3792},      // 118-16
    {"ZN", InstrumentKind::kFuture, PriceCode::kHalfThirtySeconds, 1, 7073},  // 110-16.5
    {"CL", InstrumentKind::kFuture, PriceCode::kHundredths, 1, 7543},         // 75.43
    {"GC", InstrumentKind::kFuture, PriceCode::kHundredths, 10, 195030},      // 1950.30
    {"EURUSD", InstrumentKind::kSpot, PriceCode::kDecimal5, 1, 108345},       // 1.08345
    {"USDJPY", InstrumentKind::kSpot, PriceCode::kDecimal3, 1, 149123},       // 149.123
    {"ES4500C", InstrumentKind::kOption, PriceCode::kHundredths, 5, 4525},    // 45.25
    {"IBM", InstrumentKind::kEquity, PriceCode::kCents, 1, 14520},            // 145.20
    {"MSFT", InstrumentKind::kEquity, PriceCode::kCents, 1, 33050},           // 330.50
    {"AAPL", InstrumentKind::kEquity, PriceCode::kCents, 1, 17510},           // 175.10
    {"NG", InstrumentKind::kFuture, PriceCode::kHundredths, 1, 265},          // 2.65
    {"ZC", InstrumentKind::kFuture, PriceCode::kQuarters, 1, 1900},           // 475.00
    {"GBPUSD", InstrumentKind::kSpot, PriceCode::kDecimal5, 1, 126410},       // 1.26410
};
constexpr size_t kDefaultCount = 12;

const char* const kFieldNames[kFieldNameCount] = {
    "SYMBOL",
    "TICK PROCESS CODE",
    "FLAGS",
    "PRIMARY FORMAT",
    "LAST",
    "BID",
    "ASK",
    "SECONDARY FORMAT",
    "PREVIOUS CLOSE",
    "HIGH",
    "LOW",
    "OPEN",
    "INCREMENTAL VOLUME",
    "BID SIZE",
    "ASK SIZE",
    "VOLUME",
    "OPEN INTEREST",
    "EXPIRATION DATE",
    "CHANGE FIELD DEF",
    "CHANGE",
};

// Futures, spots and options share one field order; each has its own layout and key. Prices
// are of the indirect formats: 45 reads by the record's PrimaryFormat, which the field of
// format 46 before them sets, and 47 by SecondaryFormat, set by the field of format 48.
// The first nine fields form the short record (CountA).
std::vector<SlotLayout> DerivativeSlots() {
  return {{0, kSymbolFieldSize, kFSymbol},
          {0, 1, kFProcessCode},
          {44, 2, kFFlags},
          {46, 1, kFPrimary},
          {45, 4, kFLast},
          {45, 4, kFBid},
          {45, 4, kFAsk},
          {48, 1, kFSecondary},
          {47, 4, kFPrevious},
          {45, 4, kFHigh},
          {45, 4, kFLow},
          {45, 4, kFOpen},
          {0, 4, kFIncVolume},
          {0, 4, kFBidSize},
          {0, 4, kFAskSize},
          {0, 4, kFVolume},
          {0, 4, kFOpenInterest},
          {31, 2, kFExpiration}};
}
constexpr int16_t kDerivativeCountA = 9;

// Equities: decimal prices in cents, no flag word; the first eight fields form the short record.
std::vector<SlotLayout> EquitySlots() {
  return {{0, kSymbolFieldSize, kFSymbol},
          {2, 4, kFLast},
          {2, 4, kFBid},
          {2, 4, kFAsk},
          {0, 4, kFIncVolume},
          {0, 4, kFBidSize},
          {0, 4, kFAskSize},
          {0, 4, kFVolume},
          {2, 4, kFOpen},
          {2, 4, kFHigh},
          {2, 4, kFLow},
          {2, 4, kFPrevious},
          {0, 1, kFChangeDef},
          {2, 4, kFChange}};
}
constexpr int16_t kEquityCountA = 8;

DatabaseLayout MakeLayout(InstrumentKind kind) {
  const KindInfo& info = Info(kind);
  DatabaseLayout db;
  db.key1 = info.key1;
  db.key2 = info.key2;
  db.sec_type = static_cast<uint16_t>(info.sec_type);
  db.name = info.sec_type_name;
  const bool equity = kind == InstrumentKind::kEquity;
  db.slots = equity ? EquitySlots() : DerivativeSlots();
  db.count_a = equity ? kEquityCountA : kDerivativeCountA;
  int16_t length_a = 0, length_b = 0;
  for (size_t i = 0; i < db.slots.size(); ++i) {
    if (static_cast<int16_t>(i) < db.count_a)
      length_a = static_cast<int16_t>(length_a + db.slots[i].length);
    length_b = static_cast<int16_t>(length_b + db.slots[i].length);
  }
  db.length_a = length_a;
  db.length_b = length_b;
  return db;
}

bool ValidSymbol(const std::string& s) {
  if (s.empty() || s.size() > kLongestSymbol) return false;
  return std::all_of(s.begin(), s.end(), [](char c) { return c > ' ' && c < 0x7F && c != '"'; });
}

}  // namespace

uint64_t Rng::Next() {
  // splitmix64: the same sequence everywhere for a given seed.
  uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

int64_t Rng::Uniform(int64_t lo, int64_t hi) {
  const uint64_t span = static_cast<uint64_t>(hi - lo) + 1;
  return lo + static_cast<int64_t>(span == 0 ? Next() : Next() % span);
}

PriceScale ScaleOf(PriceCode code) {
  switch (code) {
    case PriceCode::kCents:
      return {2, 0, 100};
    case PriceCode::kDecimal5:
      return {5, 0, 100000};
    case PriceCode::kDecimal3:
      return {3, 0, 1000};
    case PriceCode::kWhole:
      return {0, 0, 1};
    case PriceCode::kQuarters:
      return {13, 2, 4};
    case PriceCode::kThirtySeconds:
      return {14, 3, 32};
    case PriceCode::kHalfThirtySeconds:
      return {15, 4, 64};
    case PriceCode::kHundredths:
      return {14, 6, 100};
  }
  return {0, 0, 1};
}

uint32_t PriceToWire(PriceCode code, int64_t ticks) {
  int64_t wire = ticks;
  switch (code) {
    case PriceCode::kQuarters:  // whole points, then one digit of quarters
      wire = ticks / 4 * 10 + ticks % 4;
      break;
    case PriceCode::kThirtySeconds:  // whole points, then two digits of 32nds
      wire = ticks / 32 * 100 + ticks % 32;
      break;
    case PriceCode::kHalfThirtySeconds:  // whole points, two digits of 32nds, one of tenths
      wire = ticks / 64 * 1000 + (ticks % 64) / 2 * 10 + (ticks % 2) * 5;
      break;
    default:  // scaled decimals: the ticks are the wire number
      break;
  }
  return static_cast<uint32_t>(wire);
}

double TicksToPrice(PriceCode code, int64_t ticks) {
  return static_cast<double>(ticks) / static_cast<double>(ScaleOf(code).ticks_per_unit);
}

const char* FieldNameText(FieldName name) {
  return kFieldNames[name];
}

const char* KindName(InstrumentKind kind) {
  switch (kind) {
    case InstrumentKind::kFuture:
      return "fut";
    case InstrumentKind::kSpot:
      return "spot";
    case InstrumentKind::kOption:
      return "opt";
    case InstrumentKind::kEquity:
      return "eq";
  }
  return "?";
}

bool Universe::Build(const std::vector<SymbolChoice>& choices, Universe* out, std::string* error) {
  std::vector<SymbolChoice> wanted = choices;
  if (wanted.empty()) {
    for (size_t i = 0; i < kDefaultCount; ++i)
      wanted.push_back({kKnown[i].name, false, {}});
  }
  Universe u;
  for (size_t i = 0; i < wanted.size(); ++i) {
    const SymbolChoice& choice = wanted[i];
    if (!ValidSymbol(choice.name)) {
      *error = "bad symbol '" + choice.name + "': 1 to 12 printable characters, no blank or quote";
      return false;
    }
    for (const Instrument& other : u.instruments_) {
      if (other.symbol == choice.name) {
        *error = "symbol '" + choice.name + "' given twice";
        return false;
      }
    }
    Instrument inst;
    inst.symbol = choice.name;
    const KnownSymbol* known = nullptr;
    for (const KnownSymbol& k : kKnown) {
      if (choice.name == k.name) known = &k;
    }
    if (known != nullptr && (!choice.kind_given || choice.kind == known->kind)) {
      inst.kind = known->kind;
      inst.price_code = known->code;
      inst.step = known->step;
      inst.last = known->ticks;
    } else {
      inst.kind = choice.kind_given ? choice.kind : InstrumentKind::kEquity;
      inst.price_code = Info(inst.kind).default_code;
      inst.last = Info(inst.kind).default_ticks;
    }
    // Equities are always in cents: their layout reads prices by a fixed decimal format.
    if (inst.kind == InstrumentKind::kEquity) inst.price_code = PriceCode::kCents;
    inst.code = static_cast<uint16_t>(0x1000 + 17 * i);
    inst.bid = std::max(inst.step, inst.last - inst.step);
    inst.ask = inst.last + inst.step;
    inst.open = inst.high = inst.low = inst.last;
    inst.previous = std::max(inst.step, inst.last - 3 * inst.step);
    inst.bid_size = 10;
    inst.ask_size = 12;
    inst.open_interest =
        inst.kind == InstrumentKind::kFuture || inst.kind == InstrumentKind::kOption ? 250000 : 0;
    u.instruments_.push_back(inst);
  }
  u.layout_.field_names.clear();
  for (const char* name : kFieldNames)
    u.layout_.field_names.push_back(name);
  for (size_t k = 0; k < kKindCount; ++k) {
    const auto kind = static_cast<InstrumentKind>(k);
    u.layout_.sec_types.push_back({Info(kind).sec_type, Info(kind).sec_type_name});
    u.layout_.databases.push_back(MakeLayout(kind));
    size_t width = 4;
    for (const Instrument& inst : u.instruments_) {
      if (inst.kind == kind) width = std::max(width, inst.symbol.size());
    }
    u.head_width_[k] = static_cast<uint8_t>(width);
  }
  *out = std::move(u);
  return true;
}

bool Universe::HasKind(InstrumentKind kind) const {
  return std::any_of(instruments_.begin(), instruments_.end(),
                     [kind](const Instrument& i) { return i.kind == kind; });
}

const DatabaseLayout& Universe::Layout(InstrumentKind kind) const {
  return layout_.databases[static_cast<size_t>(kind)];
}

ByteString Universe::WireKey(InstrumentKind kind) const {
  ByteString key = Layout(kind).key1;
  std::reverse(key.begin(), key.end());
  return key;
}

ByteString Universe::Image(ByteView version) const {
  ImageLayout image = layout_;
  image.version = ByteString(version);
  return WriteImage(image);
}

const Instrument* Universe::Find(ByteView wire_key, uint32_t code) const {
  for (const Instrument& inst : instruments_) {
    if (inst.code == code && WireKey(inst.kind) == wire_key) return &inst;
  }
  return nullptr;
}

namespace {

// Volumes travel as 4-byte signed numbers: a day never grows past this.
constexpr uint32_t kLargestVolume = 2000000000;

void StartDay(Instrument* inst) {
  inst->previous = inst->last;
  inst->volume = 0;
  // No trade yet today: the first one opens the day.
  inst->open = inst->high = inst->low = 0;
}

}  // namespace

uint16_t Universe::Step(Instrument* inst, Rng* rng) const {
  const int64_t roll = rng->Uniform(0, 9);
  if (roll < 5) {
    inst->last_size = static_cast<uint32_t>(
        inst->kind == InstrumentKind::kEquity ? rng->Uniform(1, 50) * 100 : rng->Uniform(1, 20));
    // A day that has traded all a volume field can hold ends here, before this trade, so that
    // the feeder sees the volume fall just as at a real new day.
    if (inst->volume > kLargestVolume - inst->last_size) StartDay(inst);
    inst->last = std::max(inst->step, inst->last + rng->Uniform(-1, 1) * inst->step);
    inst->volume += inst->last_size;
    if (inst->open == 0) inst->open = inst->high = inst->low = inst->last;
    inst->high = std::max(inst->high, inst->last);
    inst->low = std::min(inst->low, inst->last);
    if (inst->kind == InstrumentKind::kFuture || inst->kind == InstrumentKind::kOption) {
      inst->open_interest = static_cast<uint32_t>(
          std::max<int64_t>(0, int64_t{inst->open_interest} + rng->Uniform(-2, 3)));
    }
    // The bid and the ask stay: a trade's field list doesn't carry them.
    return kFlagTrade;
  }
  if (roll < 8) {
    inst->bid = std::max(inst->step, inst->last - rng->Uniform(1, 3) * inst->step);
    inst->bid_size = static_cast<uint32_t>(rng->Uniform(1, 500));
    return kFlagBid;
  }
  inst->ask = inst->last + rng->Uniform(1, 3) * inst->step;
  inst->ask_size = static_cast<uint32_t>(rng->Uniform(1, 500));
  return kFlagAsk;
}

void Universe::Requote(Instrument* inst, Rng* rng) const {
  const int64_t spread = rng->Uniform(1, 3) * inst->step;
  inst->bid = std::max(inst->step, inst->last - spread);
  inst->ask = inst->last + spread;
}

void Universe::NewDay() {
  for (Instrument& inst : instruments_)
    StartDay(&inst);
}

}  // namespace quotlink::feedsim
