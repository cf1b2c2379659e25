// Simbolos, the table of quote records, and the operations on it.
//
// A record has two identities. To the feed it is the pair DatabaseKey + SymbolCode, and packets
// find it only by that pair (Find). To the client it is the text Simbolo, compared only after
// CleanSymbol. The table counts from 1, grows by one record at a time, never loses a record
// during a run, and holds at most kMaxRecords records because indices travel as 16-bit numbers.
#ifndef QUOTLINK_QUOTES_SIMBOLO_TABLE_H_
#define QUOTLINK_QUOTES_SIMBOLO_TABLE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "quotes/simbolo_rec.h"
#include "util/bytes.h"

namespace quotlink {

// `text` without blanks and NULs at its two ends; symbols are compared only through it. A text
// whose first byte is NUL is empty whatever follows: that is how a Simbolo that was never
// written reads. Case and blanks inside the text are kept. The result is a view into `text`.
std::string_view CleanSymbol(std::string_view text);

// The table Simbolos.
//
// Find answers from an index over (DatabaseKey, SymbolCode) that always names the first record
// with that pair, so it gives what a walk from record 1 would give, at a cost that doesn't grow
// with the table.
// REQUIRES of every caller that writes through at(): DatabaseKey and SymbolCode are never
// changed that way. Use Store or Merge to change them, or call Reindex afterwards.
class SimboloTable {
 public:
  static constexpr int32_t kMaxRecords = 32767;

  SimboloTable() = default;
  SimboloTable(const SimboloTable&) = delete;
  SimboloTable& operator=(const SimboloTable&) = delete;

  // Number of records; the index of the last one.
  int32_t size() const { return static_cast<int32_t>(records_.size()); }

  // Record `i`. The reference stays valid until the next Add, ReplaceAll or Reindex: the caller
  // that holds it must not grow the table meanwhile. REQUIRES: 1 <= i <= size().
  SimboloRec& at(int32_t i) { return records_[static_cast<size_t>(i - 1)]; }
  const SimboloRec& at(int32_t i) const { return records_[static_cast<size_t>(i - 1)]; }

  // Index of the first record whose DatabaseKey equals `key4` byte for byte (case and binary
  // bytes included) and whose SymbolCode equals `code`; -1 when there is none, or when `key4`
  // isn't 4 bytes long. Allocates nothing.
  int32_t Find(ByteView key4, int32_t code) const;

  // Appends a record for `symbol` with `key` and `code`, and returns its index; -1 (and the table
  // unchanged) when `symbol` is empty, when `watch_list_find` of the cleaned symbol is below 1
  // (no record for a symbol that nobody asked for), when the first byte of `symbol` as given
  // lies outside '0' (48) to '~' (126), or when the table is full. The new record is all zero
  // but for DatabaseKey (`key`, cut or blank-filled to 4 bytes), SymbolCode and Simbolo
  // (`symbol` left-justified, cut at 12, blank-filled). It doesn't look for a record with the
  // same key and code: callers add only after Find failed. `watch_list_find` is called at most
  // once, before anything changes, and must not change the table.
  // REQUIRES: `watch_list_find` holds a callable.
  int32_t Add(ByteView key, int32_t code, std::string_view symbol,
              const std::function<int32_t(std::string_view cleaned)>& watch_list_find);

  // Copies `rec` whole over record `i`, keeping the index right if its key or code differ.
  // REQUIRES: 1 <= i <= size().
  void Store(int32_t i, const SimboloRec& rec);

  // MergeSimbolo(incoming, at(i)), keeping the index right if the key or code differ.
  // REQUIRES: 1 <= i <= size().
  void Merge(int32_t i, const SimboloRec& incoming);

  // The table becomes `records`, from index 1, as the symbols file takes it over at start. At
  // most kMaxRecords are kept; the rest are dropped.
  void ReplaceAll(std::vector<SimboloRec> records);

  // Rebuilds the index from the records. Needed only after a key or code changed through at().
  void Reindex();

 private:
  // The index: open addressing with linear probing, at most a quarter full. A slot holds the
  // pair and its record index side by side, so that a lookup in a large table costs one miss
  // of the caches, not one per array. Each step compares two neighbouring
  // slots with masks instead of a branch per slot, so a lookup nearly always ends in its first
  // step on one well-predicted branch (a mispredicted branch costs more than the rest of the
  // lookup; at this load about 3 pairs in 100 lie beyond the first step).
  static constexpr size_t kStep = 2;

  static uint64_t PairOf(const char* key, int32_t code);
  size_t Home(uint64_t pair) const;
  // Enters record `index` for its pair unless an earlier record already holds the pair.
  // REQUIRES: the index stays at most a quarter full with it.
  void Enter(int32_t index);

  std::vector<SimboloRec> records_;
  struct Slot {
    uint64_t pair = 0;  // the 4 key bytes above SymbolCode's bits
    int32_t index = 0;  // record index; 0 marks a free slot
  };
  std::vector<Slot> slots_;
  int shift_ = 64;  // 64 - log2(number of slots)
};

// Folds `incoming`, a decoded field update, into `stored`, in this order: when incoming.Vol is
// below stored.Vol a new trading day has begun (incoming.Previous takes stored.Last, and
// incoming's High, Low and OpenV take incoming.Last); then all of incoming is copied over stored;
// then stored.High takes stored.Last when High is 0 or Last is above it and isn't 0, and
// stored.Low likewise when Low is 0 or Last is below it and isn't 0. All comparisons are on the
// 32-bit floats. A price of 0 means that nothing has arrived.
void MergeSimbolo(SimboloRec incoming, SimboloRec& stored);

// The caption of the label that shows the last lookup: `shown`, one blank, and `result` in
// decimal, a result that isn't negative with a blank of its own in front ("SYM  5", "SYM -1").
// Writes into `*out`, reusing its capacity: once `*out` has been large enough it allocates
// nothing.
void FormatFindCaption(std::string* out, std::string_view shown, int32_t result);

}  // namespace quotlink

#endif  // QUOTLINK_QUOTES_SIMBOLO_TABLE_H_
