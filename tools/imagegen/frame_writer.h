// Writes frames as the feed sends them: for tests, the feed simulator and the image writer.
//
// Not part of the feeder, which only reads frames. The envelope follows link/frame_format.h.
#ifndef QUOTLINK_TOOLS_IMAGEGEN_FRAME_WRITER_H_
#define QUOTLINK_TOOLS_IMAGEGEN_FRAME_WRITER_H_

#include <cstdint>

#include "util/bytes.h"

namespace quotlink {

// A whole frame of `type` around `body`: marker, type, body length (most significant byte
// first), 4 zero bytes, the body, 2 zero trailer bytes.
// REQUIRES: body.size() <= 65535.
ByteString BuildFrame(uint8_t type, ByteView body);

// The test packet that the feed greets a connection with.
ByteString TestPacket();

// A status packet with body code `code`.
ByteString StatusPacket(uint16_t code);

// The part of a quote packet's body before its quotes: the first 4 bytes of `wire_key` (the
// layout key as the wire carries it), the form, the symbol width, a 0 byte and the quote count.
ByteString QuotePacketHead(ByteView wire_key, uint8_t form, uint8_t width, uint8_t count);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_IMAGEGEN_FRAME_WRITER_H_
