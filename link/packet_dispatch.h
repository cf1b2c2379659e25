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

#include "link/frame_format.h"
#include "util/bytes.h"

namespace quotlink {

// Counts above this bound start again from 0.
constexpr double kPacketCountBound = 2147483640.0;

// "Packets TCP/UDP = " then both counts, written into `*out` (its storage is reused).
void FormatStatusLine(std::string* out, double tcp_count, double udp_count);

}  // namespace quotlink

#endif  // QUOTLINK_LINK_PACKET_DISPATCH_H_
