#include "link/frame_intake.h"

#include <cstring>
#include <string>

#include "link/feed_link.h"

namespace quotlink {
namespace {

void Append(FeedBuffer& buf, ByteView read) {
  // Erase what was cut before, now that no frame of this buffer is in use. Erasing only once
  // the cut part is the larger one keeps the cost linear in the bytes received.
  if (buf.start == buf.text.size()) {
    buf.text.clear();
    buf.start = 0;
  } else if (buf.start > 0 && buf.start >= buf.size()) {
    buf.text.erase(0, buf.start);
    buf.start = 0;
  }
  buf.text.append(read);
}

void Empty(FeedBuffer& buf) {
  buf.start = buf.text.size();
  buf.expected = 0;
}

}  // namespace

void TakeRead(FeedBuffer& buf, ByteView read, bool pump_each_pass, IntakeHost& host) {
  if (buf.size() + read.size() > kFeedBufferLimit) {
    // Nothing in the buffer can be trusted to end in a frame any more: drop it all, with the
    // read. The marker search finds the next frame start in what comes next.
    Empty(buf);
    host.Beep();
    host.Beep();
    host.Beep();
    return;
  }
  Append(buf, read);

  for (;;) {
    buf.busy = true;
    if (pump_each_pass) host.Pump();
    if (!host.Running()) break;

    // Resynchronise: bytes in front of a marker can't belong to a frame that we can cut.
    ByteView text = buf.view();
    const void* marker = std::memchr(text.data(), kFrameMarker, text.size());
    if (marker != nullptr) {
      buf.start += static_cast<size_t>(static_cast<const char*>(marker) - text.data());
      text = buf.view();
    }
    const bool starts_with_marker = marker != nullptr;
    if (text.size() < kFrameHeaderSize) break;

    buf.expected = static_cast<int32_t>(BigEndian16(text, 2));
    if (buf.expected == 0) {
      // An empty body: the header goes, nothing is delivered, and whatever follows waits for
      // the next event (the two trailer bytes fall to the next marker search).
      buf.start += kFrameHeaderSize;
      buf.expected = 0;
      break;
    }
    const size_t frame_size = static_cast<size_t>(buf.expected) + kFrameOverhead;
    if (text.size() < frame_size) break;  // not complete yet
    // Without a marker in front the length is noise; a body of 1 byte is a stall the feed
    // never sends in step. Either way the bytes wait, until a marker or the limit clears them.
    if (!starts_with_marker || buf.expected == 1) break;

    const ByteView frame = text.substr(0, frame_size);
    buf.start += frame_size;
    buf.expected = 0;
    const bool last = buf.size() == 0;
    host.Deliver(frame);
    if (last || !host.Running()) break;
  }
  buf.busy = false;
}

namespace {

// Ties a cutting pass to the link: the pump, the beep, and the path's processor.
class LinkIntake : public IntakeHost {
 public:
  LinkIntake(FeedLink& link, EventLoop& loop, ConsoleSurface& console, FeedPath path)
      : link_(link), loop_(loop), console_(console), path_(path) {}
  void Pump() override { loop_.PumpOnce(); }
  void Beep() override { console_.Beep(); }
  void Deliver(ByteView frame) override {
    if (path_ == FeedPath::kTcp) {
      link_.ProcessPacketTCP(frame);
    } else {
      link_.ProcessPacketUDP(frame);
    }
  }
  bool Running() const override { return !link_.stopped(); }

 private:
  FeedLink& link_;
  EventLoop& loop_;
  ConsoleSurface& console_;
  const FeedPath path_;
};

}  // namespace

void FeedLink::DataArrival(FeedPath path) {
  FeedBuffer& buf = Buffer(path);
  // Inside a pass of this same socket (through the pump): leave the bytes in the socket, a
  // later event fetches them.
  if (buf.busy) return;
  Socket* socket = path == FeedPath::kTcp ? TCP.get() : UDP.get();
  ByteString& read = path == FeedPath::kTcp ? tcp_read_ : udp_read_;
  socket->GetData(&read);
  if (path == FeedPath::kUdp) ReportRefusedDatagrams();
  // While the image is pending, datagrams are read and thrown away: quotes decoded against an
  // old or missing image would be wrong.
  if (path == FeedPath::kUdp && DatabasePending != 0) return;
  LinkIntake host(*this, *loop_, *console_, path);
  TakeRead(buf, read, path == FeedPath::kUdp, host);
}

void FeedLink::TellCount(CountNotice& notice, uint64_t all, std::string_view verb,
                         std::string_view what) {
  const int64_t now = loop_->clock().MonotonicMs();
  if (all == notice.told || (notice.at_ms >= 0 && now - notice.at_ms < 1000)) return;
  console_->Notice(std::string(verb) + " " + std::to_string(all - notice.told) + " " +
                   std::string(what) + " (" + std::to_string(all) + " in all)");
  notice.told = all;
  notice.at_ms = now;
}

void FeedLink::ReportRefusedDatagrams() {
  TellCount(refused_notice_, UDP->RefusedDatagrams(), "UDP: refused",
            "datagrams from hosts other than the feed's");
}

void FeedLink::TCP_DataArrival() {
  DataArrival(FeedPath::kTcp);
}
void FeedLink::UDP_DataArrival() {
  DataArrival(FeedPath::kUdp);
}

}  // namespace quotlink
