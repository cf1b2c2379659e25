// QUOTLINKBAS: the feeder's own state, one owner object per feeder. It holds what lives as long
// as the feeder (the session flags, the packet counts, the settings, the image transfers, and
// the table and the image of later stages) and creates the one console form at first use.
//
// Nothing of it is global: every feeder, and so every test, starts from a fresh object.
#ifndef QUOTLINK_CLIENT_QUOTLINKBAS_H_
#define QUOTLINK_CLIENT_QUOTLINKBAS_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "database/feed_database.h"
#include "link/database_transfer.h"
#include "platform/event_loop.h"
#include "platform/socket.h"
#include "quotes/simbolo_table.h"

namespace quotlink {

class ConsoleView;
class QUOTLINKFRM;

enum class FeedPath { kTcp, kUdp };

class QUOTLINKBAS {
 public:
  // `loop` and `sockets` must outlive the feeder. `view` (may be null) shows the console.
  QUOTLINKBAS(EventLoop* loop, SocketFactory* sockets, ConsoleView* view);
  ~QUOTLINKBAS();
  QUOTLINKBAS(const QUOTLINKBAS&) = delete;
  QUOTLINKBAS& operator=(const QUOTLINKBAS&) = delete;

  EventLoop& loop() const { return *loop_; }
  Clock& clock() const { return loop_->clock(); }
  SocketFactory& sockets() const { return *sockets_; }
  ConsoleView* view() const { return view_; }

  // The one console form, created at the first call; it lives as long as the feeder.
  QUOTLINKFRM& Form();
  bool HasForm() const { return form_ != nullptr; }

  // The feeder has shut down (the console was unloaded): the loop's Run returns, cutting
  // stops, and the host is expected to end. A library never ends its host's process itself.
  bool ended() const { return ended_; }
  void End();

  double& PacketCount(FeedPath path) {
    return path == FeedPath::kTcp ? TcpPacketCount : UdpPacketCount;
  }
  ImageTransfer& Transfer(FeedPath path) {
    return path == FeedPath::kTcp ? TcpTransfer : UdpTransfer;
  }

  // Session flags, 0 at the start.
  int16_t FeedVerified = 0;
  int16_t WatchListCleared = 0;
  int16_t DatabasePending = 0;
  int16_t QuotesEnabled = 0;
  int16_t TcpConnected = 0;

  // Frames of each path since its last reset; whole numbers.
  double TcpPacketCount = 0;
  double UdpPacketCount = 0;

  // Settings.
  std::string DataFolder;  // with its closing "/" once set; empty: the current directory
  std::string FeedAddress;
  int32_t FeedPort = 0;
  int32_t LocalPort = 0;

  // The image version asked for, from "DTN.ini", and the time of the last request for it.
  std::string DatabaseVersion;
  double VersionValue = 0;
  double DatabaseRequestTime = 0;   // a date
  int64_t database_request_ms = 0;  // the same moment on the monotonic clock, for the retry

  // Counts session starts; a start that sees a newer number ends (see StartSession).
  uint64_t session_generation = 0;

  ImageTransfer TcpTransfer;
  ImageTransfer UdpTransfer;
  TraceLog trace_log;  // "temp.txt", shared by both transfers

  // The table of quote records, counting from 1, and the feed's description of its records.
  SimboloTable Simbolos;
  FeedDatabase feed_database;

  // Storage that the hot path reuses for its captions and texts, so that it allocates nothing.
  std::string find_caption;
  std::string data_text;

  // Sees every frame that reaches a processor, before its gates: for capturing a feed and for
  // tests. Must not change the feeder's state.
  std::function<void(FeedPath, ByteView)> frame_tap;

 private:
  EventLoop* const loop_;
  SocketFactory* const sockets_;
  ConsoleView* const view_;
  std::unique_ptr<QUOTLINKFRM> form_;
  bool ended_ = false;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_QUOTLINKBAS_H_
