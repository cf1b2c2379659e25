// The feed server's side of the request dialogue: cutting the feeder's 8-byte requests out of
// the TCP stream, and answering each one.
#ifndef QUOTLINK_TOOLS_FEEDSIM_RESPONDER_H_
#define QUOTLINK_TOOLS_FEEDSIM_RESPONDER_H_

#include <cstdint>
#include <vector>

#include "tools/feedsim/universe.h"
#include "util/bytes.h"

namespace quotlink::feedsim {

struct Request {
  uint8_t code = 0;
  ByteString data = ByteString(4, '\0');  // the 4 data bytes as they came
  // The data as a number, most significant byte first.
  uint32_t Number() const { return BigEndian16(data, 0) << 16 | BigEndian16(data, 2); }
};

// Cuts requests out of what the feeder sends, in pieces of any size.
class RequestReader {
 public:
  void Append(ByteView bytes) { pending_.append(bytes); }
  // The next whole request, or false when none is complete yet. Bytes in front of a request
  // lead are dropped (and counted): the feeder sends nothing else, so they can only be the rest
  // of a request cut by a reconnection.
  bool Next(Request* out);
  uint64_t dropped() const { return dropped_; }

 private:
  ByteString pending_;
  uint64_t dropped_ = 0;
};

struct ResponderOptions {
  // The image versions held, each 4 bytes; the first is the simulator's own.
  std::vector<ByteString> versions{ByteString("\x09\x03\x00\x01", 4)};
  bool wrong_version = false;  // every image carries a version other than the one asked for
  size_t image_piece = 400;    // image bytes per frame
  int image_stop_after = 0;    // > 0: the transfer breaks off after this many frames
  bool wide_records = false;   // records always as type 28
};

// What one request calls for, all of it on TCP.
struct Answer {
  std::vector<ByteString> frames;
  bool image = false;  // the frames are an image transfer (which may be paced)
};

// Answers requests. Remembers the key of the last request 11, which names the layout for the
// 7 or 33 behind it. `*u` must outlive the responder.
class Responder {
 public:
  Responder(const Universe* u, ResponderOptions options)
      : universe_(u), options_(std::move(options)) {}

  // 5: the image, of the version asked for if held, else of the own version. 7 (after 11): a
  // positional quote of the instrument. 33 (after 11): its record as a type 13 or 28 packet.
  // 14 and 28: status packets with codes 5 and 12. 13, 11 and unknown codes: nothing.
  Answer Handle(const Request& r);

  // The version that a request for `asked` gets.
  ByteString VersionFor(ByteView asked) const;

  uint64_t unanswered() const { return unanswered_; }

 private:
  const Universe* const universe_;
  const ResponderOptions options_;
  ByteString key_;  // of the last request 11, as it came
  uint64_t unanswered_ = 0;
};

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_RESPONDER_H_
