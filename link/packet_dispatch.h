// Packet dispatch: the gates that every frame passes, one processor per socket.
//
// A processor counts the frame, lets the session's flags decide whether it may go further, and
// hands it on by its packet type: the test packet and the status packet are settled here, the
// image pieces go to the transfer, the quote packets to their decoders. Nothing is acknowledged
// and a frame that fails a gate is dropped in silence (but for the lamp).
#ifndef QUOTLINK_LINK_PACKET_DISPATCH_H_
#define QUOTLINK_LINK_PACKET_DISPATCH_H_

#include <cstdint>
#include <string>

#include "util/bytes.h"

namespace quotlink {

// Packet types that the link tells apart. DO NOT CHANGE: they are the feed's wire values.
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

// Status packet body codes. DO NOT CHANGE: wire values.
constexpr int kStatusWatchListCleared = 12;
constexpr int kStatusRefreshOn = 5;
constexpr int kStatusRefreshOff = 6;

// The body of a matching test packet: a 0 byte, then the text. 53 bytes.
extern const ByteView kTestPacketBody;

// Counts above this bound start again from 0.
constexpr double kPacketCountBound = 2147483640.0;

// "Packets TCP/UDP = " then both counts, written into `*out` (its storage is reused).
void FormatStatusLine(std::string* out, double tcp_count, double udp_count);

}  // namespace quotlink

#endif  // QUOTLINK_LINK_PACKET_DISPATCH_H_
