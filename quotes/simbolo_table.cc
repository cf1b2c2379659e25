#include "quotes/simbolo_table.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

namespace quotlink {
namespace {

constexpr size_t kKeySize = sizeof(SimboloRec::DatabaseKey);
constexpr size_t kSimboloSize = sizeof(SimboloRec::Simbolo);
constexpr size_t kLoadInverse = 4;  // the index is at most a quarter full
static_assert(SimboloTable::kMaxRecords <= UINT16_MAX, "record indices are kept in 16 bits");

// Bytes are 0 to 255, so "a character of code 0 or less" is NUL.
bool IsEdge(char c) {
  return c == ' ' || c == '\0';
}

// The 4 key bytes as one number for the index. Only equality matters and the index is never
// stored, so the machine's byte order serves.
uint32_t PackKey(const char* key) {
  uint32_t v;
  std::memcpy(&v, key, sizeof v);
  return v;
}

bool SameIdentity(const SimboloRec& a, const SimboloRec& b) {
  return std::memcmp(a.DatabaseKey, b.DatabaseKey, kKeySize) == 0 && a.SymbolCode == b.SymbolCode;
}

}  // namespace

std::string_view CleanSymbol(std::string_view text) {
  if (text.empty() || text.front() == '\0') return std::string_view();
  while (!text.empty() && IsEdge(text.back()))
    text.remove_suffix(1);
  while (!text.empty() && IsEdge(text.front()))
    text.remove_prefix(1);
  return text;
}

uint64_t SimboloTable::PairOf(const char* key, int32_t code) {
  return (uint64_t{PackKey(key)} << 32) | static_cast<uint32_t>(code);
}

size_t SimboloTable::Home(uint64_t pair) const {
  // Fold the key into the code's bits, then Fibonacci hashing: its top bits spread codes that
  // run in a row (a layout numbers its instruments so) evenly, and other codes like chance.
  const uint64_t folded = pair ^ (pair >> 32);
  return static_cast<size_t>((folded * 0x9E3779B97F4A7C15ULL) >> shift_);
}

int32_t SimboloTable::Find(ByteView key4, int32_t code) const {
  if (key4.size() != kKeySize || slots_.empty()) return -1;
  const uint64_t pair = PairOf(key4.data(), code);
  const size_t mask = slots_.size() - 1;
  for (size_t s = Home(pair);; s = (s + kStep) & mask) {
    const size_t t = (s + 1) & mask;
    const int32_t a = slots_[s].index;
    const int32_t b = slots_[t].index;
    // A pair stands at most once in the index and a free slot has index 0, so OR-ing the
    // indices under their match masks gives the one that matches, or 0.
    const int32_t found = (a & -static_cast<int32_t>(slots_[s].pair == pair)) |
                          (b & -static_cast<int32_t>(slots_[t].pair == pair));
    if (found != 0) return found;
    // Slots fill in probe order and are never freed: past a free slot the pair can't stand.
    if (a == 0 || b == 0) return -1;
  }
}

void SimboloTable::Enter(int32_t index) {
  const SimboloRec& rec = at(index);
  const uint64_t pair = PairOf(rec.DatabaseKey, rec.SymbolCode);
  const size_t mask = slots_.size() - 1;
  for (size_t s = Home(pair);; s = (s + 1) & mask) {
    if (slots_[s].index == 0) {
      slots_[s] = Slot{pair, index};
      return;
    }
    // An earlier record holds the pair: it stays the one that Find names.
    if (slots_[s].pair == pair) return;
  }
}

void SimboloTable::Reindex() {
  size_t capacity = 16;
  while (capacity < kLoadInverse * (records_.size() + 1))
    capacity *= 2;
  slots_.assign(capacity, Slot{});
  shift_ = 64;
  for (size_t c = capacity; c > 1; c >>= 1)
    --shift_;
  // In index order, so that each pair keeps its first record.
  for (int32_t i = 1; i <= size(); ++i)
    Enter(i);
}

int32_t SimboloTable::Add(ByteView key, int32_t code, std::string_view symbol,
                          const std::function<int32_t(std::string_view cleaned)>& watch_list_find) {
  if (symbol.empty()) return -1;
  if (watch_list_find(CleanSymbol(symbol)) < 1) return -1;
  const uint8_t first = static_cast<uint8_t>(symbol.front());
  if (first < '0' || first > '~') return -1;
  if (size() >= kMaxRecords) return -1;

  SimboloRec rec = ZeroSimboloRec();
  // Both texts are fixed-length: a shorter value is filled with blanks, a longer one cut.
  std::memset(rec.DatabaseKey, ' ', kKeySize);
  std::memcpy(rec.DatabaseKey, key.data(), std::min(key.size(), kKeySize));
  std::memset(rec.Simbolo, ' ', kSimboloSize);
  std::memcpy(rec.Simbolo, symbol.data(), std::min(symbol.size(), kSimboloSize));
  rec.SymbolCode = code;
  records_.push_back(rec);

  if (kLoadInverse * (records_.size() + 1) > slots_.size()) {
    Reindex();
  } else {
    Enter(size());
  }
  return size();
}

void SimboloTable::Store(int32_t i, const SimboloRec& rec) {
  SimboloRec& stored = at(i);
  const bool same = SameIdentity(stored, rec);
  stored = rec;
  if (!same) Reindex();
}

void SimboloTable::Merge(int32_t i, const SimboloRec& incoming) {
  SimboloRec& stored = at(i);
  const bool same = SameIdentity(stored, incoming);
  MergeSimbolo(incoming, stored);
  if (!same) Reindex();
}

void SimboloTable::ReplaceAll(std::vector<SimboloRec> records) {
  if (records.size() > static_cast<size_t>(kMaxRecords)) records.resize(kMaxRecords);
  records_ = std::move(records);
  Reindex();
}

void MergeSimbolo(SimboloRec incoming, SimboloRec& stored) {
  // A falling volume means that the feed started a new trading day: the old last price becomes
  // the previous close and the day's range starts again from the new last price.
  if (incoming.Vol < stored.Vol) {
    incoming.Previous = stored.Last;
    incoming.High = incoming.Last;
    incoming.Low = incoming.Last;
    incoming.OpenV = incoming.Last;
  }
  stored = incoming;
  // Keep the day's range around the last price, also against a HIGH or LOW that the update
  // itself brought. A Last of 0 is no price and widens nothing.
  if (stored.High == 0 || (stored.Last > stored.High && stored.Last != 0))
    stored.High = stored.Last;
  if (stored.Low == 0 || (stored.Last < stored.Low && stored.Last != 0)) stored.Low = stored.Last;
}

void FormatFindCaption(std::string* out, std::string_view shown, int32_t result) {
  char digits[16];
  const std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, result);
  out->assign(shown);
  out->push_back(' ');
  if (result >= 0) out->push_back(' ');  // where a negative number has its sign
  out->append(digits, r.ptr);
}

}  // namespace quotlink
