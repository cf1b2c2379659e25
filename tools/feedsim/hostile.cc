#include "tools/feedsim/hostile.h"

#include <array>
#include <string_view>
#include <utility>

#include "tools/feedsim/sim_format.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::feedsim {
namespace {

constexpr std::array<std::pair<std::string_view, HostileMode>, 6> kModes{{
    {"huge-lengths", HostileMode::kHugeLengths},
    {"no-marker", HostileMode::kNoMarker},
    {"trickle", HostileMode::kTrickle},
    {"endless-image", HostileMode::kEndlessImage},
    {"reset-mid-image", HostileMode::kResetMidImage},
    {"never-read", HostileMode::kNeverRead},
}};

}  // namespace

bool ParseHostileMode(const std::string& name, HostileMode* out) {
  for (const auto& [text, mode] : kModes) {
    if (name == text) {
      *out = mode;
      return true;
    }
  }
  return false;
}

const char* HostileModeNames() {
  return "huge-lengths, no-marker, trickle, endless-image, reset-mid-image or never-read";
}

ByteString HugeLengthHeader() {
  ByteString head(kFrameHeaderSize, '\0');
  head[0] = static_cast<char>(kFrameMarker);
  head[1] = static_cast<char>(kTypeQuotes);
  head[2] = static_cast<char>(kLargestBody >> 8);
  head[3] = static_cast<char>(kLargestBody & 0xFF);
  return head;
}

ByteString NoMarkerBytes(Rng* rng, size_t n) {
  ByteString bytes(n, '\0');
  for (char& c : bytes) {
    c = static_cast<char>(rng->Uniform(0, 255));
    if (static_cast<uint8_t>(c) == kFrameMarker) c = 0x21;
  }
  return bytes;
}

ByteString EndlessImagePiece() {
  // The piece's 2-byte code, which nothing reads, then image bytes that are never parsed.
  ByteString body(kLargestBody, 'i');
  body[0] = body[1] = '\0';
  return BuildFrame(kTypeImagePiece, body);
}

}  // namespace quotlink::feedsim
