// The hostile modes: a feed server that breaks the rules of the wire on purpose, to see that the
// feeder stays within its bounds. Each mode is one misbehaviour; the server applies it.
#ifndef QUOTLINK_TOOLS_FEEDSIM_HOSTILE_H_
#define QUOTLINK_TOOLS_FEEDSIM_HOSTILE_H_

#include <cstddef>
#include <cstdint>
#include <string>

#include "tools/feedsim/universe.h"
#include "util/bytes.h"

namespace quotlink::feedsim {

enum class HostileMode : uint8_t {
  kNone,
  kHugeLengths,    // now and then a frame header that claims the largest body, and no body
  kNoMarker,       // instead of quotes, an endless run of bytes without a frame marker
  kTrickle,        // TCP goes out one byte at a time
  kEndlessImage,   // an image's first piece, then pieces that never end
  kResetMidImage,  // half an image, then the connection reset
  kNeverRead,      // once the image is asked for, nothing more is read from the client
};

// The mode named `name` as --hostile spells it; false for a name it doesn't know.
bool ParseHostileMode(const std::string& name, HostileMode* out);
// The names --hostile takes, for its help and its error.
const char* HostileModeNames();

// A quote frame header that claims a body of kLargestBody bytes, with nothing behind it: the
// feeder's cutter waits for 64 KiB that never belong to it.
ByteString HugeLengthHeader();

// `n` random bytes, none of them the frame marker, so nothing can be cut out of them.
ByteString NoMarkerBytes(Rng* rng, size_t n);

// A middle piece of an image, as large as a frame can carry.
ByteString EndlessImagePiece();

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_HOSTILE_H_
