#include "link/database_transfer.h"

#include <string>

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "database/parse_feed_database.h"
#include "link/feed_requests.h"
#include "link/feed_requests_format.h"
#include "link/packet_dispatch.h"

namespace quotlink {

void TraceLog::Open(const std::string& path) {
  Close();
  file_ = std::fopen(path.c_str(), "wb");
}

void TraceLog::Line(ByteView bytes) {
  if (file_ == nullptr) return;
  // A full disk or a broken file only loses log lines; the transfer doesn't depend on them.
  std::fwrite(bytes.data(), 1, bytes.size(), file_);
  std::fwrite("\r\n", 1, 2, file_);
}

void TraceLog::Close() {
  if (file_ == nullptr) return;
  std::fclose(file_);
  file_ = nullptr;
}

namespace {

// The image bytes of a piece: from offset 10 to the end of the body. The length is read
// unsigned here, as the intake cut the frame by it.
ByteView ImagePiece(ByteView frame) {
  const size_t body = BigEndian16(frame, 2);
  return body < 2 ? ByteView() : Slice(frame, kFrameBodyOffset + 2, body - 2);
}

void EndOfImage(QUOTLINKBAS& bas, FeedPath path, ImageTransfer& t, ByteView frame) {
  TraceLog& log = bas.trace_log;
  log.Line(frame);
  log.Line("Normal end.");
  log.Line("Process FDATABASE");
  bas.DatabasePending = 0;
  ParseFeedDatabase(bas, t.ImageText);
  t.ImageText.clear();
  // The flag as a number prints with a blank for its sign.
  log.Line(std::string("OK Process FDATABASE ") + (bas.DatabasePending < 0 ? "" : " ") +
           std::to_string(bas.DatabasePending));
  log.Close();
  t.TraceFile = 0;
  QUOTLINKFRM& frm = bas.Form();
  frm.Info1.SetCaption("Database OK.");
  frm.ComunicationOK = 1;
  bas.QuotesEnabled = 1;
  SendRequest(bas, kRequestImageDone, NumberToBytes(100));
  bas.PacketCount(path) = 0;
}

}  // namespace

void ImageStep(QUOTLINKBAS& bas, FeedPath path, ByteView frame) {
  ImageTransfer& t = bas.Transfer(path);
  switch (ByteAt(frame, 1)) {
    case kTypeImageFirst:
      // A first piece starts over, also in the middle of a transfer: the log holds only the
      // newest transfer.
      t.ImageText.assign(ImagePiece(frame));
      t.TraceFile = 1;
      bas.trace_log.Open(bas.DataFolder + kTraceFileName);
      bas.trace_log.Line(frame);
      break;
    case kTypeImagePiece:
      // Pieces without a first one (or after a retry dropped the transfer) are ignored.
      if (t.TraceFile == 0) return;
      t.ImageText.append(ImagePiece(frame));
      bas.trace_log.Line(frame);
      break;
    case kTypeImageEnd:
      if (t.TraceFile == 0) return;
      EndOfImage(bas, path, t, frame);
      break;
    default:
      break;
  }
}

void RetryImageIfDue(QUOTLINKBAS& bas, FeedPath path) {
  if (bas.DatabasePending == 0) return;
  if (bas.clock().MonotonicMs() - bas.database_request_ms <= kImageRetryMs) return;
  ImageTransfer& t = bas.Transfer(path);
  if (t.TraceFile != 0) {
    bas.trace_log.Close();
    t.TraceFile = 0;
  }
  bas.DatabasePending = 1;
  bas.DatabaseRequestTime = bas.clock().Now();
  bas.database_request_ms = bas.clock().MonotonicMs();
  QUOTLINKFRM& frm = bas.Form();
  frm.Info1.SetCaption("Trying new download");
  frm.Mensagem.Refresh();
  SendRequest(bas, kRequestDatabaseImage, NumberToBytes(bas.VersionValue));
  bas.PacketCount(path) = 0;
}

}  // namespace quotlink
