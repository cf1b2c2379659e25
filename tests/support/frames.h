// Builders of feed frames for tests.
#ifndef QUOTLINK_TESTS_SUPPORT_FRAMES_H_
#define QUOTLINK_TESTS_SUPPORT_FRAMES_H_

#include <cstdint>
#include <string>

#include "util/bytes.h"

namespace quotlink {

// A whole frame: marker, type, body length, 4 zero bytes, body, 2 trailer bytes.
inline ByteString MakeFrame(uint8_t type, ByteView body, ByteView trailer = ByteView("\0\0", 2)) {
  ByteString f;
  f.push_back('\x22');
  f.push_back(static_cast<char>(type));
  f.push_back(static_cast<char>((body.size() >> 8) & 0xFF));
  f.push_back(static_cast<char>(body.size() & 0xFF));
  f.append(4, '\0');
  f.append(body);
  f.append(trailer.substr(0, 2));
  return f;
}

// The feed's test packet, matching.
inline ByteString TestPacket() {
  return MakeFrame(10, ByteView("\0This is a test string to help those who are testing.", 53));
}

// A status packet with a body code.
inline ByteString StatusPacket(int code) {
  ByteString body;
  body.push_back(static_cast<char>((code >> 8) & 0xFF));
  body.push_back(static_cast<char>(code & 0xFF));
  return MakeFrame(14, body);
}

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_FRAMES_H_
