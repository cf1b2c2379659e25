// Builds database images and the frames that carry them, for tests and the feed simulator.
//
// Not part of the feeder: the feeder only reads images. The layout written is the one the
// feeder's reader expects (database/image_format.h); a test that needs a broken image writes a
// sound one and then damages it.
#ifndef QUOTLINK_TOOLS_IMAGEGEN_IMAGE_WRITER_H_
#define QUOTLINK_TOOLS_IMAGEGEN_IMAGE_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "util/bytes.h"

namespace quotlink {

// One field entry of a record layout.
struct SlotLayout {
  int16_t format = 0;
  int16_t length = 0;
  int16_t name_index = 0;  // 0 names the first field name
};

struct SecTypeLayout {
  int16_t id = 0;
  ByteString name{};  // blank-padded (or cut) to 40 bytes
};

// One record layout; CountB is the number of slots.
struct DatabaseLayout {
  ByteString key1{};  // as the image stores it; NUL-padded (or cut) to 4 bytes
  ByteString key2{};
  int16_t length_a = 0;
  int16_t length_b = 0;
  uint16_t sec_type = 0;
  ByteString name{};  // blank-padded (or cut) to 40 bytes
  int16_t count_a = 0;
  std::vector<SlotLayout> slots{};
};

struct ImageLayout {
  ByteString version = ByteString("\x09\x03\x00\x01", 4);  // NUL-padded (or cut) to 4 bytes
  std::vector<ByteString> field_names{};                   // each blank-padded (or cut) to 40 bytes
  std::vector<SecTypeLayout> sec_types{};
  std::vector<DatabaseLayout> databases{};
};

// The image of `layout`. The header's other 76 bytes are zero.
// REQUIRES: at most 32767 field names, security types, databases and slots per database.
ByteString WriteImage(const ImageLayout& layout);

// The frames that carry `image`: one of type 6 with the first `piece` bytes (fewer, or none, if
// the image is shorter), one of type 7 for each further `piece` bytes, and one of type 8.
// Each frame's body is a 2-byte zero code and the piece (BuildFrame writes the rest). A `piece`
// of 0 or one that would make the body exceed 65535 bytes is taken as the largest that fits
// (65533).
std::vector<ByteString> CutImageIntoFrames(ByteView image, size_t piece);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_IMAGEGEN_IMAGE_WRITER_H_
