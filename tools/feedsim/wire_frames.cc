#include "tools/feedsim/wire_frames.h"

#include "tools/feedsim/sim_format.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::feedsim {

ByteString StallFrame() {
  return BuildFrame(kTypeQuotes, ByteView("\0", 1));
}

int32_t BodyLengthAt(ByteView bytes, size_t pos) {
  if (pos + kFrameHeaderSize > bytes.size()) return -1;
  return static_cast<int32_t>(BigEndian16(bytes, pos + 2));
}

std::vector<ByteView> SplitTransferLog(ByteView log, int* truncated) {
  std::vector<ByteView> frames;
  int cut_short = 0;
  size_t pos = 0;
  while (pos < log.size()) {
    if (ByteAt(log, pos) == kFrameMarker) {
      const int32_t body = BodyLengthAt(log, pos);
      const size_t whole = body < 0 ? 0 : static_cast<size_t>(body) + kFrameOverhead;
      if (body < 0 || pos + whole > log.size()) {
        ++cut_short;
        break;
      }
      frames.push_back(log.substr(pos, whole));
      pos += whole;
      // The line end the log writes behind each frame.
      if (log.substr(pos, 2) == "\r\n") pos += 2;
      continue;
    }
    // A text line of the log: skip it whole.
    const size_t eol = log.find("\r\n", pos);
    pos = eol == ByteView::npos ? log.size() : eol + 2;
  }
  if (truncated != nullptr) *truncated = cut_short;
  return frames;
}

}  // namespace quotlink::feedsim
