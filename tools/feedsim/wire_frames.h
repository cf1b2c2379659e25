// The simulator's own frames, and walking a run of bytes frame by frame. Ordinary frames come
// from the frame writer (tools/imagegen/frame_writer.h).
#ifndef QUOTLINK_TOOLS_FEEDSIM_WIRE_FRAMES_H_
#define QUOTLINK_TOOLS_FEEDSIM_WIRE_FRAMES_H_

#include <cstdint>
#include <vector>

#include "util/bytes.h"

namespace quotlink::feedsim {

// A frame that claims a one-byte body: the feeder's cutter holds such a frame at the front of
// its buffer for good, so everything behind it piles up until the buffer overflows.
ByteString StallFrame();

// The body length of the frame that starts at `pos`, or -1 if no whole header lies there.
int32_t BodyLengthAt(ByteView bytes, size_t pos);

// The frames of a feeder's transfer log ("temp.txt"): each frame's raw bytes followed by CR LF,
// then text lines such as "Normal end.". Frames may hold CR LF themselves, so the log is walked
// by each frame's length field, never by lines; a line that doesn't start with the marker is
// text and is skipped to its CR LF. A frame cut short by the end of the file is dropped and
// counted in `*truncated` (may be null). Views point into `log`, which must outlive them.
std::vector<ByteView> SplitTransferLog(ByteView log, int* truncated);

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_WIRE_FRAMES_H_
