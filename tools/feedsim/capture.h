// Capture files of what the simulator sent, and the replay of captures and feeder transfer logs.
#ifndef QUOTLINK_TOOLS_FEEDSIM_CAPTURE_H_
#define QUOTLINK_TOOLS_FEEDSIM_CAPTURE_H_

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "util/bytes.h"
#include "util/status.h"

namespace quotlink::feedsim {

enum class SendPath : uint8_t { kTcp, kUdp };

// One send to replay.
struct ReplayItem {
  int64_t time_us = 0;  // since the start of the capture; 0 throughout for a transfer log
  SendPath path = SendPath::kTcp;
  ByteString bytes;
};

// Writes a capture file (layout in sim_format.h). Owns the open file.
class CaptureWriter {
 public:
  CaptureWriter() = default;
  ~CaptureWriter();
  CaptureWriter(const CaptureWriter&) = delete;
  CaptureWriter& operator=(const CaptureWriter&) = delete;

  // Creates (or empties) `path` and writes the file's magic.
  Status Open(const std::string& path);
  bool is_open() const { return file_ != nullptr; }
  // Appends one send. A failed write closes the file, so a full disk costs only the capture.
  void Write(int64_t time_us, SendPath path, ByteView bytes);
  Status Close();

 private:
  std::FILE* file_ = nullptr;
};

// The records of a capture file's contents, or the frames of a feeder transfer log (each sent
// on TCP at time 0), told apart by the capture magic. Fails on a capture whose last record is
// cut short and on a file that holds neither.
Status ParseReplay(ByteView contents, std::vector<ReplayItem>* items);

// Reads the file at `path` whole and parses it as above.
Status ReadReplayFile(const std::string& path, std::vector<ReplayItem>* items);

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_CAPTURE_H_
