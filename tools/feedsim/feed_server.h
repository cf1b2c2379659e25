// The feed server: one client at a time on TCP, quote packets on TCP and UDP, answers to
// requests, the injected faults, replay and capture. Everything runs on the caller's event loop.
#ifndef QUOTLINK_TOOLS_FEEDSIM_FEED_SERVER_H_
#define QUOTLINK_TOOLS_FEEDSIM_FEED_SERVER_H_

#include <netinet/in.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/event_loop.h"
#include "tools/feedsim/capture.h"
#include "tools/feedsim/options.h"
#include "tools/feedsim/quote_encoding.h"
#include "tools/feedsim/responder.h"
#include "tools/feedsim/universe.h"
#include "util/status.h"

namespace quotlink::feedsim {

struct ServerStats {
  uint64_t connections = 0;
  uint64_t quotes = 0;       // quotes streamed in type-20 packets
  uint64_t tcp_packets = 0;  // streamed packets on TCP
  uint64_t udp_packets = 0;  // streamed packets on UDP
  uint64_t udp_failed = 0;   // datagrams the kernel refused
  uint64_t requests = 0;
  uint64_t images = 0;    // image transfers begun
  uint64_t replayed = 0;  // replay records sent
};

class FeedServer {
 public:
  // `loop` must outlive the server. `log` (may be empty) is told of connections, faults and the
  // end of a replay, one line at a time; the text is valid only during the call.
  FeedServer(EventLoop* loop, SimOptions options, std::function<void(const std::string&)> log);
  ~FeedServer();
  FeedServer(const FeedServer&) = delete;
  FeedServer& operator=(const FeedServer&) = delete;

  // Builds the universe, loads the replay file, opens the capture and starts listening. The
  // message of a failure names what failed ("cannot listen on 127.0.0.1:21560: ...").
  Status Start();

  // The port listened on (the kernel's choice when the options asked for 0); 0 before Start.
  int port() const { return port_; }

  // Starts a new trading day for every instrument.
  void NewDay();

  // Closes the client, the sockets and the capture; the loop may then end.
  void Stop();

  bool connected() const { return client_fd_ >= 0; }
  const ServerStats& stats() const { return stats_; }
  const Universe& universe() const { return universe_; }

  // One line of counts for people.
  std::string StatusLine() const;

 private:
  void Log(const std::string& line) const;
  void OnAccept();
  void OnClientReady(int ready);
  void OnRequest(const Request& r);
  void CloseClient(const std::string& why);
  void StartConnectionTimers();
  void StopConnectionTimers();

  // The raw sends, each recorded in the capture.
  void SendTcp(ByteView bytes);
  void SendUdp(ByteView bytes);
  void FlushTcp();
  size_t TcpBacklog() const { return out_.size() - out_start_; }
  // A frame of the stream on `path`, with the faults of the options applied.
  void SendStreamFrame(SendPath path, ByteView frame);

  void StreamTick();
  void ImageTick();
  void ReplayTick();
  // The hostile modes' own steps (hostile.h): an image that never ends or is cut by a reset,
  // and the end of reading.
  bool HostileImage(const Answer& a);
  void EndlessImageTick();
  void ResetClient(const std::string& why);
  int64_t NowUs() const;

  EventLoop* const loop_;
  SimOptions options_;
  std::function<void(const std::string&)> log_;
  Universe universe_;
  std::unique_ptr<Responder> responder_;
  std::unique_ptr<QuoteStream> stream_;
  Rng fault_rng_;
  CaptureWriter capture_;
  std::vector<ReplayItem> replay_;
  int64_t start_ms_ = 0;

  int listen_fd_ = -1;
  int listen_reg_ = 0;
  int udp_fd_ = -1;
  int port_ = 0;

  int client_fd_ = -1;
  int client_reg_ = 0;
  std::string client_name_;
  sockaddr_in udp_dest_{};
  RequestReader requests_;
  ByteString out_;        // TCP bytes the kernel hasn't taken yet
  size_t out_start_ = 0;  // sent prefix of out_
  ByteString udp_carry_;  // the part of the UDP stream that --split-datagrams holds back

  int stream_timer_ = 0;
  int new_day_timer_ = 0;
  int image_timer_ = 0;
  int replay_timer_ = 0;
  int drop_timer_ = 0;
  int burst_timer_ = 0;
  int trickle_timer_ = 0;
  int hostile_timer_ = 0;
  bool reading_ = true;  // false once --hostile never-read has stopped reading the client
  double credit_ = 0;    // quotes the rate allows and not yet sent
  int64_t last_tick_ms_ = 0;
  bool next_on_udp_ = true;
  bool count_reached_ = false;
  std::deque<ByteString> image_queue_;
  size_t replay_pos_ = 0;
  int64_t replay_start_ms_ = 0;

  ServerStats stats_;
};

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_FEED_SERVER_H_
