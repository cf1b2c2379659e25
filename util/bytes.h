// Checked access to byte strings.
//
// Frames, images, record keys and file records are byte strings: a counted run of bytes, each
// 0 to 255, where a 0 byte is an ordinary byte. They are held in std::string (or viewed through
// std::string_view) and read only through the helpers below, which never read outside the view
// and never depend on the signedness of char.
#ifndef QUOTLINK_UTIL_BYTES_H_
#define QUOTLINK_UTIL_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quotlink {

using ByteString = std::string;
using ByteView = std::string_view;

// The byte at `i`, or 0 when `i` lies outside `s`. Callers that must tell "absent" from 0 check
// the size first.
inline uint8_t ByteAt(ByteView s, size_t i) {
  return i < s.size() ? static_cast<uint8_t>(s[i]) : uint8_t{0};
}

// A view of at most `n` bytes from `pos`; empty when `pos` lies behind the end.
inline ByteView Slice(ByteView s, size_t pos, size_t n) {
  if (pos >= s.size()) return ByteView();
  return s.substr(pos, n);
}

// Most significant byte first, as numbers stand in frames and quote fields.
// REQUIRES: pos + 2 <= s.size() (else the missing bytes read as 0).
inline uint32_t BigEndian16(ByteView s, size_t pos) {
  return (uint32_t{ByteAt(s, pos)} << 8) | ByteAt(s, pos + 1);
}

// Reads forward through a byte string; every Get fails (returns false, leaves the output
// untouched) instead of reading behind the end. Least significant byte first, as numbers
// stand in the database image and in SYMBOLS.DAT.
class ByteReader {
 public:
  explicit ByteReader(ByteView data) : data_(data) {}

  size_t position() const { return pos_; }
  size_t remaining() const { return data_.size() - pos_; }

  bool Skip(size_t n) {
    if (n > remaining()) return false;
    pos_ += n;
    return true;
  }
  bool GetBytes(size_t n, ByteView* out) {
    if (n > remaining()) return false;
    *out = data_.substr(pos_, n);
    pos_ += n;
    return true;
  }
  bool GetU8(uint8_t* out) {
    if (remaining() < 1) return false;
    *out = static_cast<uint8_t>(data_[pos_++]);
    return true;
  }
  bool GetLittle16(int16_t* out) {
    uint16_t v = 0;
    if (!GetLittle(2, &v)) return false;
    *out = static_cast<int16_t>(v);
    return true;
  }
  bool GetLittleU16(uint16_t* out) { return GetLittle(2, out); }

 private:
  template <typename T>
  bool GetLittle(size_t n, T* out) {
    if (n > remaining()) return false;
    T v = 0;
    for (size_t i = 0; i < n; ++i) {
      v = static_cast<T>(v | (static_cast<T>(static_cast<uint8_t>(data_[pos_ + i])) << (8 * i)));
    }
    pos_ += n;
    *out = v;
    return true;
  }

  ByteView data_;
  size_t pos_ = 0;
};

// Little-endian encoders for the writers of files and test images.
inline void PutLittle16(ByteString* dst, uint16_t v) {
  dst->push_back(static_cast<char>(v & 0xFF));
  dst->push_back(static_cast<char>(v >> 8));
}
inline void PutLittle32(ByteString* dst, uint32_t v) {
  for (int i = 0; i < 4; ++i)
    dst->push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

}  // namespace quotlink

#endif  // QUOTLINK_UTIL_BYTES_H_
