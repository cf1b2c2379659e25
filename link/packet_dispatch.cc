#include "link/packet_dispatch.h"

#include <charconv>

#include "link/feed_link.h"

namespace quotlink {

namespace {

void AppendCount(std::string* out, double count) {
  char digits[32];
  const auto r = std::to_chars(digits, digits + sizeof digits, static_cast<int64_t>(count));
  out->append(digits, r.ptr);
}

}  // namespace

void FeedLink::ProcessPacket(FeedPath path, ByteView frame) {
  // The frame is a view into the socket's buffer, which stays put while this runs: it serves
  // as the processor's private copy.
  if (frame_tap) frame_tap(path, frame);
  if (frame.size() < 11) return;
  const uint8_t type = ByteAt(frame, 1);
  // The body length, held as a signed 16-bit number: lengths of 32768 and more read negative
  // and match nothing that needs a length.
  const auto length = static_cast<int16_t>(BigEndian16(frame, 2));

  double& count = PacketCount(path);
  count += 1;
  if (count > kPacketCountBound) count = 0;

  if (path == FeedPath::kTcp) {
    if (type == kTypeMarkerEcho) return;
  } else {
    WriteStatusLine();
    console_->RepaintForm();
  }

  if (DatabasePending == 1 && (type == kTypeQuotes || type == kTypeRecord2)) return;

  if (type == kTypeTest && length == static_cast<int16_t>(kTestPacketBody.size()) &&
      Slice(frame, kFrameBodyOffset, static_cast<size_t>(length)) == kTestPacketBody) {
    FeedVerified = 1;
    console_->Picture1.SetColor(LampColor::kLightCyan);
    return;
  }
  if (FeedVerified == 0) {
    console_->Picture1.SetColor(LampColor::kLightRed);
    return;
  }
  if (type == kTypeImageFirst || type == kTypeImagePiece || type == kTypeImageEnd) {
    ImageStep(path, frame);
  }
  RetryImageIfDue(path);
  if (type == kTypeStatus) {
    switch (BigEndian16(frame, kFrameBodyOffset)) {
      case kStatusWatchListCleared:
        WatchListCleared = 1;
        break;
      case kStatusRefreshOn:
        console_->Info1.SetCaption("Refresh ON");
        break;
      case kStatusRefreshOff:
        console_->Info1.SetCaption("Refresh OFF");
        break;
      default:
        break;
    }
    return;
  }
  if (DatabasePending == 1) return;
  if (QuotesEnabled == 0) return;
  // Without decoders (a link on its own) a frame ends at the gates.
  if (decoders_ == nullptr) return;
  switch (type) {
    case kTypeRecord2:
      decoders_->DecodeRecordPacket(frame, 2);
      break;
    case kTypeRecord4:
      decoders_->DecodeRecordPacket(frame, 4);
      break;
    case kTypeQuotes:
      decoders_->DecodeQuotePacket(frame);
      break;
    default:
      break;
  }
}

void FormatStatusLine(std::string* out, double tcp_count, double udp_count) {
  out->assign("Packets TCP/UDP = ");
  AppendCount(out, tcp_count);
  out->append(" , ");
  AppendCount(out, udp_count);
}

void FeedLink::ProcessPacketTCP(ByteView frame) {
  ProcessPacket(FeedPath::kTcp, frame);
}
void FeedLink::ProcessPacketUDP(ByteView frame) {
  ProcessPacket(FeedPath::kUdp, frame);
}

void FeedLink::WriteStatusLine() {
  FormatStatusLine(&status_line_, TcpPacketCount, UdpPacketCount);
  console_->Mensagem.SetCaption(status_line_);
}

}  // namespace quotlink
