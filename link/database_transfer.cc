#include "link/database_transfer.h"

#include <string>

#include "link/feed_link.h"
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

}  // namespace

void FeedLink::EndOfImage(FeedPath path, ImageTransfer& t, ByteView frame) {
  TraceLog& log = trace_log_;
  log.Line(frame);
  log.Line("Normal end.");
  log.Line("Process FDATABASE");
  DatabasePending = 0;
  // A refused image leaves the database as it was and the image pending, so that the retry
  // asks again. Without decoders there is nothing to take the image.
  if (t.too_big || decoders_ == nullptr ||
      !decoders_->ParseFeedDatabase(t.ImageText, NumberToBytes(VersionValue))) {
    DatabasePending = 1;
  }
  ByteString().swap(t.ImageText);  // the image's memory is given back, not kept for the next
  t.too_big = false;
  // The flag as a number prints with a blank for its sign.
  log.Line(std::string("OK Process FDATABASE ") + (DatabasePending < 0 ? "" : " ") +
           std::to_string(DatabasePending));
  log.Close();
  t.TraceFile = 0;
  console_->Info1.SetCaption("Database OK.");
  console_->ComunicationOK = 1;
  QuotesEnabled = 1;
  SendRequest(kRequestImageDone, NumberToBytes(100));
  PacketCount(path) = 0;
}

void FeedLink::ImageStep(FeedPath path, ByteView frame) {
  ImageTransfer& t = Transfer(path);
  switch (ByteAt(frame, 1)) {
    case kTypeImageFirst:
      // A first piece starts over, also in the middle of a transfer: the log holds only the
      // newest transfer.
      t.ImageText.assign(ImagePiece(frame));
      t.too_big = false;
      t.TraceFile = 1;
      trace_log_.Open(settings_->DataFolder + kTraceFileName);
      trace_log_.Line(frame);
      break;
    case kTypeImagePiece:
      // Pieces without a first one (or after a retry dropped the transfer) are ignored.
      if (t.TraceFile == 0 || t.too_big) return;
      if (t.ImageText.size() + ImagePiece(frame).size() > kMaxImageBytes) {
        RefuseTooBigImage(t);
        return;
      }
      t.ImageText.append(ImagePiece(frame));
      trace_log_.Line(frame);
      break;
    case kTypeImageEnd:
      if (t.TraceFile == 0) return;
      EndOfImage(path, t, frame);
      break;
    default:
      break;
  }
}

void FeedLink::RefuseTooBigImage(ImageTransfer& t) {
  t.too_big = true;
  ByteString().swap(t.ImageText);
  trace_log_.Line("Image over " + std::to_string(kMaxImageBytes) + " bytes: refused.");
  ++images_too_big_;
  console_->Notice("image over " + std::to_string(kMaxImageBytes) + " bytes refused (" +
                   std::to_string(images_too_big_) + " in all)");
}

void FeedLink::MarkImagePending() {
  const Clock& clock = loop_->clock();
  DatabasePending = 1;
  DatabaseRequestTime = clock.Now();
  database_request_ms_ = clock.MonotonicMs();
}

void FeedLink::RetryImageIfDue(FeedPath path) {
  if (DatabasePending == 0) return;
  if (loop_->clock().MonotonicMs() - database_request_ms_ <= kImageRetryMs) return;
  ImageTransfer& t = Transfer(path);
  if (t.TraceFile != 0) {
    trace_log_.Close();
    t.TraceFile = 0;
  }
  MarkImagePending();
  console_->Info1.SetCaption("Trying new download");
  console_->Mensagem.Refresh();
  SendRequest(kRequestDatabaseImage, NumberToBytes(VersionValue));
  PacketCount(path) = 0;
}

}  // namespace quotlink
