#include "tests/window/png_writer.h"

#include <array>
#include <fstream>
#include <string_view>
#include <vector>

namespace quotlink {
namespace {

uint32_t Crc32(const uint8_t* p, size_t n, uint32_t crc = 0) {
  static const auto table = [] {
    std::array<uint32_t, 256> t{};
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t c = i;
      for (int k = 0; k < 8; ++k)
        c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[i] = c;
    }
    return t;
  }();
  crc = ~crc;
  for (size_t i = 0; i < n; ++i)
    crc = table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

void Put32(std::vector<uint8_t>* out, uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8)
    out->push_back(static_cast<uint8_t>(v >> shift));
}

void Chunk(std::vector<uint8_t>* out, std::string_view type, const std::vector<uint8_t>& data) {
  Put32(out, static_cast<uint32_t>(data.size()));
  const size_t start = out->size();
  out->insert(out->end(), type.begin(), type.end());
  out->insert(out->end(), data.begin(), data.end());
  Put32(out, Crc32(out->data() + start, out->size() - start));
}

}  // namespace

bool WritePng(const std::string& path, int width, int height, const uint8_t* rgb) {
  // Raw scanlines: a filter byte of 0 (none) before each row.
  const size_t row = static_cast<size_t>(width) * 3;
  std::vector<uint8_t> raw;
  for (int y = 0; y < height; ++y) {
    raw.push_back(0);
    raw.insert(raw.end(), rgb + static_cast<size_t>(y) * row,
               rgb + static_cast<size_t>(y + 1) * row);
  }
  // A zlib stream of stored blocks, at most 65535 bytes each, and the Adler-32 of the data.
  std::vector<uint8_t> z = {0x78, 0x01};
  for (size_t at = 0; at < raw.size() || at == 0;) {
    const size_t n = std::min<size_t>(65535, raw.size() - at);
    const bool last = at + n == raw.size();
    z.push_back(last ? 1 : 0);
    z.push_back(static_cast<uint8_t>(n));
    z.push_back(static_cast<uint8_t>(n >> 8));
    z.push_back(static_cast<uint8_t>(~n));
    z.push_back(static_cast<uint8_t>(~n >> 8));
    z.insert(z.end(), raw.begin() + static_cast<std::ptrdiff_t>(at),
             raw.begin() + static_cast<std::ptrdiff_t>(at + n));
    at += n;
    if (last) break;
  }
  uint32_t a = 1, b = 0;
  for (uint8_t c : raw) {
    a = (a + c) % 65521;
    b = (b + a) % 65521;
  }
  Put32(&z, (b << 16) | a);

  std::vector<uint8_t> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  std::vector<uint8_t> ihdr;
  Put32(&ihdr, static_cast<uint32_t>(width));
  Put32(&ihdr, static_cast<uint32_t>(height));
  ihdr.insert(ihdr.end(), {8, 2, 0, 0, 0});  // 8 bits, RGB, deflate, no filter, no interlace
  Chunk(&png, "IHDR", ihdr);
  Chunk(&png, "IDAT", z);
  Chunk(&png, "IEND", {});
  std::ofstream f(path, std::ios::binary);
  f.write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
  return static_cast<bool>(f);
}

}  // namespace quotlink
