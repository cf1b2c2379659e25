#include "link/packet_dispatch.h"

#include <charconv>

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "database/record_packets.h"
#include "link/database_transfer.h"
#include "link/frame_intake.h"
#include "quotes/quote_packet.h"

namespace quotlink {

namespace {

void AppendCount(std::string* out, double count) {
  char digits[32];
  const auto r = std::to_chars(digits, digits + sizeof digits, static_cast<int64_t>(count));
  out->append(digits, r.ptr);
}

void ProcessPacket(QUOTLINKBAS& bas, FeedPath path, ByteView frame) {
  // The frame is a view into the socket's buffer, which stays put while this runs: it serves
  // as the processor's private copy.
  if (bas.frame_tap) bas.frame_tap(path, frame);
  if (frame.size() < 11) return;
  const uint8_t type = ByteAt(frame, 1);
  // The body length, held as a signed 16-bit number: lengths of 32768 and more read negative
  // and match nothing that needs a length.
  const auto length = static_cast<int16_t>(BigEndian16(frame, 2));

  double& count = bas.PacketCount(path);
  count += 1;
  if (count > kPacketCountBound) count = 0;

  QUOTLINKFRM& frm = bas.Form();
  if (path == FeedPath::kTcp) {
    if (type == kTypeMarkerEcho) return;
  } else {
    frm.WriteStatusLine();
    frm.RepaintForm();
  }

  if (bas.DatabasePending == 1 && (type == kTypeQuotes || type == kTypeRecord2)) return;

  if (type == kTypeTest && length == static_cast<int16_t>(kTestPacketBody.size()) &&
      Slice(frame, kFrameBodyOffset, static_cast<size_t>(length)) == kTestPacketBody) {
    bas.FeedVerified = 1;
    frm.Picture1.SetColor(LampColor::kLightCyan);
    return;
  }
  if (bas.FeedVerified == 0) {
    frm.Picture1.SetColor(LampColor::kLightRed);
    return;
  }
  if (type == kTypeImageFirst || type == kTypeImagePiece || type == kTypeImageEnd) {
    ImageStep(bas, path, frame);
  }
  RetryImageIfDue(bas, path);
  if (type == kTypeStatus) {
    switch (BigEndian16(frame, kFrameBodyOffset)) {
      case kStatusWatchListCleared:
        bas.WatchListCleared = 1;
        break;
      case kStatusRefreshOn:
        frm.Info1.SetCaption("Refresh ON");
        break;
      case kStatusRefreshOff:
        frm.Info1.SetCaption("Refresh OFF");
        break;
      default:
        break;
    }
    return;
  }
  if (bas.DatabasePending == 1) return;
  if (bas.QuotesEnabled == 0) return;
  switch (type) {
    case kTypeRecord2:
      DecodeRecordPacket(bas, frame, 2);
      break;
    case kTypeRecord4:
      DecodeRecordPacket(bas, frame, 4);
      break;
    case kTypeQuotes:
      DecodeQuotePacket(bas, frame);
      break;
    default:
      break;
  }
}

}  // namespace

void FormatStatusLine(std::string* out, double tcp_count, double udp_count) {
  out->assign("Packets TCP/UDP = ");
  AppendCount(out, tcp_count);
  out->append(" , ");
  AppendCount(out, udp_count);
}

void ProcessPacketTCP(QUOTLINKBAS& bas, ByteView frame) {
  ProcessPacket(bas, FeedPath::kTcp, frame);
}
void ProcessPacketUDP(QUOTLINKBAS& bas, ByteView frame) {
  ProcessPacket(bas, FeedPath::kUdp, frame);
}

}  // namespace quotlink
