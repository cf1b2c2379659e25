// The transfer of the feed's database image: one frame of type 6, any number of type 7, one of
// type 8, gathered into one byte string, logged in "temp.txt" and parsed at the end frame; and
// the one-minute retry, the only retry of the link.
//
// Each processor has its own ImageTransfer; both share the one "temp.txt". The log is for
// people: a failure to open or write it never stops or changes a transfer.
#ifndef QUOTLINK_LINK_DATABASE_TRANSFER_H_
#define QUOTLINK_LINK_DATABASE_TRANSFER_H_

#include <cstdint>
#include <cstdio>
#include <string>

#include "util/bytes.h"

namespace quotlink {

constexpr const char* kTraceFileName = "temp.txt";
// The image must come whole within this time of its request.
constexpr int64_t kImageRetryMs = 60000;
// The largest image gathered. The feed's images are a few megabytes; one first piece and an
// endless stream of pieces must not take the memory (and temp.txt) with them. An image that
// passes it is refused at its end frame as an image the parser refuses is.
constexpr size_t kMaxImageBytes = 16u << 20;

// The image state of one processor.
struct ImageTransfer {
  int16_t TraceFile = 0;  // not 0 while a transfer is gathering
  ByteString ImageText;   // the image as gathered so far; appending costs only the piece
  bool too_big = false;   // this transfer passed kMaxImageBytes: its pieces are dropped
};

// The log file shared by both transfers; owned by the feeder.
class TraceLog {
 public:
  TraceLog() = default;
  ~TraceLog() { Close(); }
  TraceLog(const TraceLog&) = delete;
  TraceLog& operator=(const TraceLog&) = delete;

  // Opens (and empties) `path`; a failure leaves the log closed, and lines go nowhere.
  void Open(const std::string& path);
  // Writes `bytes` and CR LF, if the log is open.
  void Line(ByteView bytes);
  void Close();
  bool is_open() const { return file_ != nullptr; }

 private:
  std::FILE* file_ = nullptr;
};

}  // namespace quotlink

#endif  // QUOTLINK_LINK_DATABASE_TRANSFER_H_
