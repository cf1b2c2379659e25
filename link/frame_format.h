// Layout of a frame from the feed, the same on TCP and UDP, and of the packets that the feeder
// reads inside one.
//
// DO NOT CHANGE THESE VALUES: they are the feed's wire values, not ours to choose. Numbers in a
// frame are most significant byte first. Offsets count from the start marker, so a body offset is
// kFrameBodyOffset more than its place in the body.
//
// A frame, L + kFrameOverhead bytes:
//   offset 0      1 byte   kFrameMarker
//   offset 1      1 byte   packet type, a PacketType
//   offset 2      2 bytes  body length L
//   offset 4      4 bytes  nothing reads them; a writer puts 0
//   offset 8      L bytes  body
//   offset 8 + L  2 bytes  trailer; nothing reads it, a writer puts 0
//
// A status packet (type 14): a 2-byte code at 8, one of kStatus*.
// An image piece (types 6, 7, 8): a 2-byte code at 8 that nothing reads, the image bytes from 10.
//
// A quote packet (type 20):
//   offset 8      4 bytes  layout key, its bytes in the reverse order of the image's keys
//   offset 12     1 byte   form: bit 0 set for a field list, clear for a positional record
//   offset 13     1 byte   symbol width W
//   offset 14     1 byte   nothing reads it
//   offset 15     1 byte   quote count
//   offset 16              the quotes: W symbol bytes, a 2-byte symbol code, a count byte C,
//                          then C field entries or a positional record each
//
// A record packet (type 13 with a 2-byte instrument code, type 28 with a 4-byte one):
//   offset 8      4 bytes  layout key, as in a quote packet
//   offset 12     2 or 4   instrument code
//   then                   one whole positional record, up to the trailer
#ifndef QUOTLINK_LINK_FRAME_FORMAT_H_
#define QUOTLINK_LINK_FRAME_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quotlink {

// The frame.
constexpr uint8_t kFrameMarker = 0x22;
constexpr size_t kFrameHeaderSize = 8;   // marker, type, length and the 4 unread bytes
constexpr size_t kFrameTrailerSize = 2;  // after the body
constexpr size_t kFrameOverhead = 10;    // header and trailer
constexpr size_t kFrameBodyOffset = 8;
static_assert(kFrameHeaderSize + kFrameTrailerSize == kFrameOverhead);
static_assert(kFrameBodyOffset == kFrameHeaderSize);

// Packet types that the link tells apart.
enum PacketType : uint8_t {
  kTypeImageFirst = 6,
  kTypeImagePiece = 7,
  kTypeImageEnd = 8,
  kTypeTest = 10,
  kTypeRecord2 = 13,  // one whole record, 2-byte instrument code
  kTypeStatus = 14,
  kTypeQuotes = 20,
  kTypeRecord4 = 28,     // one whole record, 4-byte instrument code
  kTypeMarkerEcho = 34,  // the value of the start marker; the TCP path drops it
};

// Status packet body codes.
constexpr int kStatusWatchListCleared = 12;
constexpr int kStatusRefreshOn = 5;
constexpr int kStatusRefreshOff = 6;

// The body of a matching test packet: a 0 byte, then the text. 53 bytes.
inline constexpr std::string_view kTestPacketBody(
    "\0This is a test string to help those who are testing.", 53);

// Quote and record packets: the layout key.
constexpr size_t kKeyOffset = 8;

// Quote packet (type 20).
constexpr size_t kFormOffset = 12;
constexpr size_t kSymbolWidthOffset = 13;
constexpr size_t kCountOffset = 15;
constexpr size_t kQuotesOffset = 16;
constexpr size_t kShortestPacket = 18;  // a head and a trailer, no quote

// Record packets (types 13 and 28).
constexpr size_t kCodeOffset = 12;
constexpr size_t kHeadAndTrailer = 14;  // header, key, trailer: the record is what remains

}  // namespace quotlink

#endif  // QUOTLINK_LINK_FRAME_FORMAT_H_
