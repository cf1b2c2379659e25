#include "tools/imagegen/frame_writer.h"

#include "link/frame_format.h"

namespace quotlink {

ByteString BuildFrame(uint8_t type, ByteView body) {
  ByteString f;
  f.reserve(body.size() + kFrameOverhead);
  f.push_back(static_cast<char>(kFrameMarker));
  f.push_back(static_cast<char>(type));
  f.push_back(static_cast<char>((body.size() >> 8) & 0xFF));
  f.push_back(static_cast<char>(body.size() & 0xFF));
  f.append(kFrameHeaderSize - 4, '\0');
  f.append(body);
  f.append(kFrameTrailerSize, '\0');
  return f;
}

ByteString TestPacket() {
  return BuildFrame(kTypeTest, kTestPacketBody);
}

ByteString StatusPacket(uint16_t code) {
  ByteString body;
  body.push_back(static_cast<char>(code >> 8));
  body.push_back(static_cast<char>(code & 0xFF));
  return BuildFrame(kTypeStatus, body);
}

// Laid out byte by byte in wire order rather than from the decoder's positions, so that the
// decoder's tests still check those positions.
ByteString QuotePacketHead(ByteView wire_key, uint8_t form, uint8_t width, uint8_t count) {
  ByteString head(wire_key.substr(0, 4));
  head.push_back(static_cast<char>(form));
  head.push_back(static_cast<char>(width));
  head.push_back('\0');  // unread by the feeder
  head.push_back(static_cast<char>(count));
  return head;
}

}  // namespace quotlink
