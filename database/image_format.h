// Layout of the feed database image: the description of all the feed's fields, security types
// and record layouts that the server sends at the start of every session.
//
// DO NOT CHANGE THESE VALUES: they are the server's layout of the image, not ours to choose.
// Numbers in the image are little-endian (unlike frames and quote fields); offsets count from 0.
// Text fields are fixed-width, padded with blanks or NULs.
//
// The image, one part straight after the other, with F, N, D the three counts:
//   header                   80 bytes
//   F                         2 bytes, signed
//   field names              40 bytes each, F of them
//   N                         2 bytes, signed
//   security types           42 bytes each, N of them
//   D                         2 bytes, signed
//   databases                78 + 14 * CountB bytes each, D of them
#ifndef QUOTLINK_DATABASE_IMAGE_FORMAT_H_
#define QUOTLINK_DATABASE_IMAGE_FORMAT_H_

#include <cstddef>

namespace quotlink {
namespace image_format {

// Header: eight fixed fields. Only the version is looked at, compared as four bytes.
constexpr size_t kVersionSize = 4;
constexpr size_t kHeaderFieldSizes[8] = {
    4,   // offset 0: the version
    4,   // offset 4: unread
    8,   // offset 8: unread
    39,  // offset 16: unread
    1,   // offset 55: unread
    4,   // offset 56: unread
    4,   // offset 60: unread
    16,  // offset 64: unread
};
constexpr size_t kHeaderSize = 80;  // F, 16-bit signed, follows here
static_assert(4 + 4 + 8 + 39 + 1 + 4 + 4 + 16 == kHeaderSize);

// A field name: fixed-width text. Entry n of the table is what a NameIndex of n - 1 names.
constexpr size_t kFieldNameSize = 40;

// A security type: its number (16-bit signed) at offset 0, then its name.
constexpr size_t kSecTypeIdSize = 2;
constexpr size_t kSecTypeNameSize = 40;
constexpr size_t kSecTypeEntrySize = 42;
static_assert(kSecTypeIdSize + kSecTypeNameSize == kSecTypeEntrySize);

// A database record: the fixed part, then CountB field entries.
constexpr size_t kDbKeySize = 4;         // Key1 at 0, Key2 at 4: opaque bytes, only compared
constexpr size_t kDbUnreadASize = 4;     // three unread fields at 8, 12 and 16
constexpr size_t kDbLengthAOffset = 20;  // LengthA, 16-bit signed
constexpr size_t kDbLengthBOffset = 22;  // LengthB, 16-bit signed
constexpr size_t kDbUnreadBSize = 8;     // unread, at 24
constexpr size_t kDbSecTypeOffset = 32;  // SecType, 16-bit unsigned
constexpr size_t kDbNameOffset = 34;     // Name, kept untrimmed
constexpr size_t kDbNameSize = 40;
constexpr size_t kDbCountAOffset = 74;  // CountA, 16-bit signed
constexpr size_t kDbCountBOffset = 76;  // CountB, 16-bit signed: how many field entries follow
constexpr size_t kDbFixedSize = 78;     // the first field entry starts here
static_assert(2 * kDbKeySize + 3 * kDbUnreadASize == kDbLengthAOffset);
static_assert(kDbLengthBOffset + 2 + kDbUnreadBSize == kDbSecTypeOffset);
static_assert(kDbNameOffset + kDbNameSize == kDbCountAOffset);
static_assert(kDbCountBOffset + 2 == kDbFixedSize);

// A field entry, 14 bytes: Format (16-bit signed) at 0, Length (16-bit signed) at 2, two unread
// 16-bit fields at 4 and 6, NameIndex (16-bit signed) at 8, an unread 32-bit field at 10.
constexpr size_t kSlotEntrySize = 14;

// A record holds at most this many field entries; an image may announce more.
constexpr size_t kMaxSlots = 256;

}  // namespace image_format
}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_IMAGE_FORMAT_H_
