// FeedLink: the feeder's side towards the feed. It owns the two sockets and their FeedBuffers,
// the session flags, the packet counts, both image transfers and "temp.txt", the image version
// asked for, and the status line; it cuts what arrives into frames, lets each frame pass the
// gates, runs the session start and the image transfer, and sends every request.
//
// What lies above the link (the image parse and the two packet decoders) is reached through a
// FeedDecoders that the feeder's owner installs, so the link knows no decoder.
//
// Everything runs on the loop's one thread. The handlers below can be re-entered through the
// loop's pump: the UDP intake pumps once per cutting pass and the session start's waits pump on
// every turn (see frame_intake.h and session.h for how each path guards itself).
#ifndef QUOTLINK_LINK_FEED_LINK_H_
#define QUOTLINK_LINK_FEED_LINK_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "client/console_surface.h"
#include "client/settings.h"
#include "link/database_transfer.h"
#include "link/feed_requests.h"
#include "link/frame_intake.h"
#include "platform/event_loop.h"
#include "platform/socket.h"
#include "util/bytes.h"

namespace quotlink {

enum class FeedPath { kTcp, kUdp };

// The decoders that frames reach once they have passed the gates.
class FeedDecoders {
 public:
  virtual ~FeedDecoders() = default;
  // Replaces the feed's database by `image` when the image is of `version` (the 4 bytes of the
  // version asked for) and whole; false, the database unchanged, when it is refused. The
  // console says why.
  virtual bool ParseFeedDatabase(ByteView image, ByteView version) = 0;
  // One whole frame of type 20; of type 13 (`code_width` 2) or 28 (`code_width` 4).
  virtual void DecodeQuotePacket(ByteView frame) = 0;
  virtual void DecodeRecordPacket(ByteView frame, int code_width) = 0;
};

class FeedLink final : public RequestSink {
 public:
  // `loop`, `sockets`, `console` and `settings` are not owned and must outlive the link. The
  // settings are read at each session start and image transfer. Creating the link creates
  // both sockets; nothing opens before StartSession.
  FeedLink(EventLoop* loop, SocketFactory* sockets, ConsoleSurface* console,
           const Settings* settings);
  ~FeedLink() override;
  FeedLink(const FeedLink&) = delete;
  FeedLink& operator=(const FeedLink&) = delete;

  // REQUIRES: `decoders` outlives the link. Until it is set, frames stop after the gates.
  void SetDecoders(FeedDecoders* decoders) { decoders_ = decoders; }

  // The feeder has shut down: cutting passes stop, a session start in its waits ends there.
  void Stop() { stopped_ = true; }
  bool stopped() const { return stopped_; }

  // Session start and reconnect (session.cc).
  void StartSession();
  void RestartFeed();
  // Also tells the UDP socket whose datagrams to take: by default the feed server's host only,
  // since a stranger's image-start datagram would hold every quote until a restart.
  void ApplySocketSettings();
  void ReadDatabaseVersion();

  // The sockets' events (frame_intake.cc).
  void TCP_DataArrival();
  void UDP_DataArrival();
  void TCP_Connect() { TcpConnected = 1; }

  // The processors (packet_dispatch.cc). `frame` is one whole frame, marker and trailer
  // included; it is only read and stays valid for the call.
  void ProcessPacketTCP(ByteView frame);
  void ProcessPacketUDP(ByteView frame);
  // Writes the status line of the packet counts to Mensagem.
  void WriteStatusLine();

  // Sends one request on TCP, whole; a failure shows on Mensagem (feed_requests.cc).
  void SendRequest(int16_t code, ByteView data) override;

  // The image transfer (database_transfer.cc): the step for a frame of type 6, 7 or 8 that
  // passed the gates, and the one-minute retry that every frame this far checks.
  void ImageStep(FeedPath path, ByteView frame);
  void RetryImageIfDue(FeedPath path);
  // The image is pending from now on: the flag, and the moment of the request, for the retry.
  void MarkImagePending();

  // Closes TCP, then UDP; errors are ignored.
  void CloseSockets();

  double& PacketCount(FeedPath path) {
    return path == FeedPath::kTcp ? TcpPacketCount : UdpPacketCount;
  }
  ImageTransfer& Transfer(FeedPath path) {
    return path == FeedPath::kTcp ? tcp_transfer_ : udp_transfer_;
  }
  FeedBuffer& Buffer(FeedPath path) { return path == FeedPath::kTcp ? tcp_buffer_ : udp_buffer_; }
  // How many session starts have begun.
  uint64_t session_generation() const { return session_generation_; }

  // Session flags, 0 at the start.
  int16_t FeedVerified = 0;
  int16_t WatchListCleared = 0;
  int16_t DatabasePending = 0;
  int16_t QuotesEnabled = 0;
  int16_t TcpConnected = 0;

  // Frames of each path since its last reset; whole numbers.
  double TcpPacketCount = 0;
  double UdpPacketCount = 0;

  // The image version asked for, from "DTN.ini", and the date of the last request for it.
  std::string DatabaseVersion;
  double VersionValue = 0;
  double DatabaseRequestTime = 0;

  std::unique_ptr<Socket> TCP;
  std::unique_ptr<Socket> UDP;

  // Sees every frame that reaches a processor, before its gates: for capturing a feed and for
  // tests. Must not change the feeder's state.
  std::function<void(FeedPath, ByteView)> frame_tap;

 private:
  void DataArrival(FeedPath path);
  // Tells the console of datagrams refused for their source, and of requests dropped unsent,
  // since the last notice of each, at most once a second (a flood must not become a flood of
  // lines).
  void ReportRefusedDatagrams();
  void ReportDroppedSends();
  // Tells the console, at each bind, when the kernel gave UDP less buffer than was asked for.
  void ReportShortReceiveBuffer();
  void ProcessPacket(FeedPath path, ByteView frame);
  void EndOfImage(FeedPath path, ImageTransfer& t, ByteView frame);
  // Drops the image of `t` past kMaxImageBytes: its pieces from here on are dropped, and its
  // end frame refuses it.
  void RefuseTooBigImage(ImageTransfer& t);

  EventLoop* const loop_;
  ConsoleSurface* const console_;
  const Settings* const settings_;
  FeedDecoders* decoders_ = nullptr;
  bool stopped_ = false;

  FeedBuffer tcp_buffer_;
  FeedBuffer udp_buffer_;
  ByteString tcp_read_;  // what one DataArrival event reads, reused
  ByteString udp_read_;
  std::string status_line_;
  // A count of the sockets' told at most once a second.
  struct CountNotice {
    uint64_t told = 0;   // the count at the last notice
    int64_t at_ms = -1;  // when that was, monotonic; -1 before the first
  };
  // Tells "VERB N WHAT (ALL in all)" of the `all` - notice.told new ones, unless none came or
  // the last notice is less than a second old.
  void TellCount(CountNotice& notice, uint64_t all, std::string_view verb, std::string_view what);
  uint64_t images_too_big_ = 0;
  CountNotice refused_notice_;
  CountNotice dropped_notice_;

  int64_t database_request_ms_ = 0;  // the last request for the image, monotonic
  // Counts session starts; a start that sees a newer number ends (see StartSession).
  uint64_t session_generation_ = 0;

  ImageTransfer tcp_transfer_;
  ImageTransfer udp_transfer_;
  TraceLog trace_log_;  // "temp.txt", shared by both transfers
};

}  // namespace quotlink

#endif  // QUOTLINK_LINK_FEED_LINK_H_
