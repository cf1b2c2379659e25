#include "tools/feedsim/capture.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tools/feedsim/sim_format.h"
#include "tools/feedsim/wire_frames.h"

namespace quotlink::feedsim {

CaptureWriter::~CaptureWriter() {
  (void)Close();
}

Status CaptureWriter::Open(const std::string& path) {
  (void)Close();
  file_ = std::fopen(path.c_str(), "wb");
  if (file_ == nullptr) return Status::Error(path + ": " + std::strerror(errno));
  if (std::fwrite(kCaptureMagic.data(), 1, kCaptureMagic.size(), file_) != kCaptureMagic.size()) {
    const std::string why = std::strerror(errno);
    (void)Close();
    return Status::Error(path + ": " + why);
  }
  return Status::Ok();
}

void CaptureWriter::Write(int64_t time_us, SendPath path, ByteView bytes) {
  if (file_ == nullptr) return;
  ByteString head;
  PutLittle32(&head, static_cast<uint32_t>(static_cast<uint64_t>(time_us) & 0xFFFFFFFF));
  PutLittle32(&head, static_cast<uint32_t>(static_cast<uint64_t>(time_us) >> 32));
  head.push_back(static_cast<char>(path == SendPath::kTcp ? kCapturePathTcp : kCapturePathUdp));
  PutLittle32(&head, static_cast<uint32_t>(bytes.size()));
  head.append(bytes);
  if (std::fwrite(head.data(), 1, head.size(), file_) != head.size()) {
    (void)Close();
  }
}

Status CaptureWriter::Close() {
  if (file_ == nullptr) return Status::Ok();
  const int rc = std::fclose(file_);
  file_ = nullptr;
  return rc == 0 ? Status::Ok() : Status::Error(std::strerror(errno));
}

Status ParseReplay(ByteView contents, std::vector<ReplayItem>* items) {
  items->clear();
  if (contents.substr(0, kCaptureMagic.size()) == kCaptureMagic) {
    ByteReader r(contents.substr(kCaptureMagic.size()));
    while (r.remaining() > 0) {
      uint16_t t[4] = {};
      uint8_t path = 0;
      uint16_t n_lo = 0, n_hi = 0;
      ByteView bytes;
      bool ok = true;
      for (uint16_t& part : t)
        ok = ok && r.GetLittleU16(&part);
      ok = ok && r.GetU8(&path) && r.GetLittleU16(&n_lo) && r.GetLittleU16(&n_hi);
      const size_t n = size_t{n_lo} | size_t{n_hi} << 16;
      if (!ok || !r.GetBytes(n, &bytes)) {
        return Status::Error("capture cut short after " + std::to_string(items->size()) +
                             " records");
      }
      if (path != kCapturePathTcp && path != kCapturePathUdp) {
        return Status::Error("capture record " + std::to_string(items->size() + 1) +
                             " has an unknown path " + std::to_string(path));
      }
      ReplayItem item;
      item.time_us = static_cast<int64_t>(uint64_t{t[0]} | uint64_t{t[1]} << 16 |
                                          uint64_t{t[2]} << 32 | uint64_t{t[3]} << 48);
      item.path = path == kCapturePathTcp ? SendPath::kTcp : SendPath::kUdp;
      item.bytes = ByteString(bytes);
      items->push_back(std::move(item));
    }
    return Status::Ok();
  }
  if (ByteAt(contents, 0) != kFrameMarker) {
    return Status::Error("neither a capture nor a transfer log (no frame at the start)");
  }
  int truncated = 0;
  for (ByteView frame : SplitTransferLog(contents, &truncated)) {
    items->push_back({0, SendPath::kTcp, ByteString(frame)});
  }
  // A log cut short still replays the frames before the cut; the feeder then sees an image
  // that stops in the middle, which is what the log holds.
  return Status::Ok();
}

Status ReadReplayFile(const std::string& path, std::vector<ReplayItem>* items) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return Status::Error(path + ": " + std::strerror(errno));
  std::ostringstream all;
  all << in.rdbuf();
  Status s = ParseReplay(all.str(), items);
  if (!s.ok()) return Status::Error(path + ": " + s.message());
  return s;
}

}  // namespace quotlink::feedsim
