// Frame intake: the bytes of one socket kept in its FeedBuffer, cut into frames.
//
// A frame: 0x22, the packet type, the body length L (2 bytes, most significant first), 4 bytes
// that nothing reads, L bytes of body, 2 bytes of trailer; L + 10 bytes in all. A datagram is
// treated exactly like a piece of a stream: a frame may span datagrams, a datagram may hold
// several frames.
#ifndef QUOTLINK_LINK_FRAME_INTAKE_H_
#define QUOTLINK_LINK_FRAME_INTAKE_H_

#include <cstddef>
#include <cstdint>

#include "link/frame_format.h"
#include "util/bytes.h"

namespace quotlink {

// The most that a FeedBuffer holds: a read that would carry it beyond empties it.
constexpr size_t kFeedBufferLimit = 180000;

// The reassembly record of one socket.
struct FeedBuffer {
  // The bytes received and not yet cut are text[start, end). The cut prefix is erased only
  // when bytes are appended, so cutting a frame never moves the rest of the buffer, and a frame
  // handed to a processor stays in place until the next append, which `busy` holds back.
  ByteString text;
  size_t start = 0;
  int32_t expected = 0;  // body length of the frame at the front, as the last pass read it
  bool busy = false;     // a cutting pass runs over this buffer

  size_t size() const { return text.size() - start; }
  ByteView view() const { return ByteView(text).substr(start); }
};

// What a cutting pass needs of its surroundings.
class IntakeHost {
 public:
  virtual ~IntakeHost() = default;
  // Runs the message pump once (the UDP path, at the top of each pass).
  virtual void Pump() = 0;
  virtual void Beep() = 0;
  // Hands one whole frame to the processor. `frame` stays valid for the call.
  virtual void Deliver(ByteView frame) = 0;
  // False once the feeder has shut down: a pass then stops cutting.
  virtual bool Running() const = 0;
};

// Appends one read to `buf` and cuts it, as one DataArrival event does after its read.
// REQUIRES: !buf.busy (the caller returns at once while a pass runs).
void TakeRead(FeedBuffer& buf, ByteView read, bool pump_each_pass, IntakeHost& host);

}  // namespace quotlink

#endif  // QUOTLINK_LINK_FRAME_INTAKE_H_
