// What the fuzz targets share: the simulator's default universe and its image, the checks on
// the quote table, and a way to stop a run with a message when a check fails.
#ifndef QUOTLINK_FUZZ_FUZZ_SUPPORT_H_
#define QUOTLINK_FUZZ_FUZZ_SUPPORT_H_

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "quotes/simbolo_table.h"
#include "tools/feedsim/universe.h"
#include "util/bytes.h"

namespace quotlink::fuzz {

// The version stamped on the image; the feeder asks for the same one.
inline const ByteString kImageVersion("\x09\x03\x00\x01", 4);

// A broken check: libFuzzer keeps the input that led here as a crash.
[[noreturn]] inline void Fail(const std::string& what) {
  std::fprintf(stderr, "ORACLE FAILURE: %s\n", what.c_str());
  std::abort();
}

// The simulator's default dozen instruments, of all four kinds and price forms.
inline const feedsim::Universe& DefaultUniverse() {
  static const feedsim::Universe* const u = [] {
    auto* built = new feedsim::Universe;
    std::string error;
    if (!feedsim::Universe::Build({}, built, &error)) Fail("universe: " + error);
    return built;
  }();
  return *u;
}

inline const ByteString& GoodImage() {
  static const ByteString image = DefaultUniverse().Image(kImageVersion);
  return image;
}

// Every record is found again by its own key and code, at a record that carries them, and the
// table stays within its bound. Find gives the first record with the pair, so a later duplicate
// may point at an earlier record; the pair must match all the same.
inline void CheckTable(const SimboloTable& t) {
  if (t.size() < 0 || t.size() > SimboloTable::kMaxRecords)
    Fail("table size " + std::to_string(t.size()));
  for (int32_t i = 1; i <= t.size(); ++i) {
    const SimboloRec& r = t.at(i);
    const int32_t j = t.Find(ByteView(r.DatabaseKey, 4), r.SymbolCode);
    if (j < 1 || j > i) Fail("record " + std::to_string(i) + " found at " + std::to_string(j));
    const SimboloRec& f = t.at(j);
    if (std::memcmp(f.DatabaseKey, r.DatabaseKey, 4) != 0 || f.SymbolCode != r.SymbolCode)
      Fail("record " + std::to_string(i) + " found at " + std::to_string(j) +
           ", which holds another key or code");
  }
}

// Reads the input front to back; past its end every read gives zeros.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  uint8_t Byte() { return pos_ < size_ ? data_[pos_++] : 0; }
  uint16_t Be16() {
    const uint16_t hi = Byte();
    return static_cast<uint16_t>(hi << 8 | Byte());
  }
  // Up to `n` bytes; fewer at the end.
  ByteView Take(size_t n) {
    const size_t k = n < size_ - pos_ ? n : size_ - pos_;
    const ByteView v(reinterpret_cast<const char*>(data_ + pos_), k);
    pos_ += k;
    return v;
  }
  ByteView Rest() { return Take(size_ - pos_); }
  bool empty() const { return pos_ >= size_; }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
};

}  // namespace quotlink::fuzz

#endif  // QUOTLINK_FUZZ_FUZZ_SUPPORT_H_
