#include "tools/feedsim/feed_server.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/posix_socket.h"
#include "tools/feedsim/hostile.h"
#include "tools/feedsim/sim_format.h"
#include "tools/feedsim/wire_frames.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::feedsim {
namespace {

// How long the stream waits between turns, and how many quotes a turn may send when no rate
// holds it back.
constexpr int kStreamTickMs = 5;
constexpr int kFastTickMs = 1;
constexpr int64_t kFastBatch = 500;
// Past this much unsent TCP output the stream and the replay wait for the client to read.
constexpr size_t kTcpHighWater = 1 << 20;
// One stall frame in this many streamed packets.
constexpr uint64_t kStallEvery = 1000;
constexpr size_t kOverflowBurstSize = kFeederBufferLimit + 10000;
// --hostile: one huge length header in this many streamed frames; the bytes without a marker
// per stream turn on TCP, and per datagram; how often an endless image and a trickle go on.
constexpr int64_t kHugeLengthEvery = 20;
constexpr size_t kNoMarkerChunk = 8192;
constexpr size_t kNoMarkerDatagram = 1400;
constexpr int kEndlessImageTickMs = 5;
constexpr int kTrickleTickMs = 1;
// From half an image to the reset: long enough for the half to leave the send queue, since a
// reset throws away what the kernel still holds.
constexpr int kResetDelayMs = 200;

std::string AddressText(const sockaddr_in& a) {
  char host[INET_ADDRSTRLEN] = {};
  inet_ntop(AF_INET, &a.sin_addr, host, sizeof host);
  return std::string(host) + ":" + std::to_string(ntohs(a.sin_port));
}

}  // namespace

FeedServer::FeedServer(EventLoop* loop, SimOptions options,
                       std::function<void(const std::string&)> log)
    : loop_(loop),
      options_(std::move(options)),
      log_(std::move(log)),
      fault_rng_(options_.seed ^ 0x5EEDFA017ull) {}

FeedServer::~FeedServer() {
  Stop();
}

void FeedServer::Log(const std::string& line) const {
  if (log_) log_(line);
}

int64_t FeedServer::NowUs() const {
  return (loop_->clock().MonotonicMs() - start_ms_) * 1000;
}

Status FeedServer::Start() {
  std::string error;
  if (!Universe::Build(options_.symbols, &universe_, &error)) return Status::Error(error);
  responder_ = std::make_unique<Responder>(&universe_, options_.responder);
  stream_ = std::make_unique<QuoteStream>(&universe_, options_.seed);
  start_ms_ = loop_->clock().MonotonicMs();
  if (!options_.replay_file.empty()) {
    Status s = ReadReplayFile(options_.replay_file, &replay_);
    if (!s.ok()) return Status::Error("cannot replay " + s.message());
    if (replay_.empty())
      return Status::Error("cannot replay " + options_.replay_file + ": no frames in it");
  }
  if (!options_.record_file.empty()) {
    Status s = capture_.Open(options_.record_file);
    if (!s.ok()) return Status::Error("cannot record to " + s.message());
  }

  const std::string where = options_.listen_host + ":" + std::to_string(options_.listen_port);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(static_cast<uint16_t>(options_.listen_port));
  uint32_t host = 0;
  if (!ResolveIpv4(options_.listen_host, &host)) {
    return Status::Error("cannot listen on " + where + ": unknown host");
  }
  addr.sin_addr.s_addr = host;
  listen_fd_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const int one = 1;
  if (listen_fd_ < 0 || setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0 ||
      bind(listen_fd_, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0 ||
      listen(listen_fd_, 4) != 0) {
    const std::string why = std::strerror(errno);
    Stop();
    return Status::Error("cannot listen on " + where + ": " + why);
  }
  socklen_t len = sizeof addr;
  getsockname(listen_fd_, reinterpret_cast<sockaddr*>(&addr), &len);
  port_ = ntohs(addr.sin_port);
  listen_reg_ = loop_->AddFd(listen_fd_, true, false, [this](int) { OnAccept(); });

  udp_fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (udp_fd_ < 0) {
    const std::string why = std::strerror(errno);
    Stop();
    return Status::Error(std::string("cannot open a UDP socket: ") + why);
  }

  if (options_.stream && replay_.empty()) {
    const int tick = options_.rate > 0 ? kStreamTickMs : kFastTickMs;
    last_tick_ms_ = loop_->clock().MonotonicMs();
    stream_timer_ = loop_->AddTimer(tick, [this] { StreamTick(); });
  }
  if (options_.new_day_every > 0) {
    new_day_timer_ =
        loop_->AddTimer(static_cast<int>(options_.new_day_every * 1000), [this] { NewDay(); });
  }
  Log("listening on " + options_.listen_host + ":" + std::to_string(port_) + ", UDP to port " +
      std::to_string(options_.udp_port) + ", " + std::to_string(universe_.size()) + " instruments");
  return Status::Ok();
}

void FeedServer::Stop() {
  if (client_fd_ >= 0) CloseClient("server stopping");
  for (int* t : {&stream_timer_, &new_day_timer_}) {
    if (*t != 0) loop_->RemoveTimer(*t);
    *t = 0;
  }
  if (listen_fd_ >= 0) {
    loop_->RemoveFd(listen_reg_);
    close(listen_fd_);
    listen_fd_ = -1;
  }
  if (udp_fd_ >= 0) {
    close(udp_fd_);
    udp_fd_ = -1;
  }
  (void)capture_.Close();
}

void FeedServer::NewDay() {
  universe_.NewDay();
  Log("new trading day: volumes start again from 0");
}

void FeedServer::OnAccept() {
  sockaddr_in peer{};
  socklen_t len = sizeof peer;
  const int fd =
      accept4(listen_fd_, reinterpret_cast<sockaddr*>(&peer), &len, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return;  // the client gave up before we took it, or a transient error
  if (client_fd_ >= 0) CloseClient("replaced by a new connection");
  const int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  client_fd_ = fd;
  client_name_ = AddressText(peer);
  udp_dest_ = peer;
  udp_dest_.sin_port = htons(static_cast<uint16_t>(options_.udp_port));
  requests_ = RequestReader();
  reading_ = true;
  ++stats_.connections;
  client_reg_ = loop_->AddFd(fd, true, false, [this](int ready) { OnClientReady(ready); });
  Log("client " + client_name_ + " connected");
  SendTcp(TestPacket());
  StartConnectionTimers();
}

void FeedServer::StartConnectionTimers() {
  credit_ = 0;
  last_tick_ms_ = loop_->clock().MonotonicMs();
  if (options_.drop_after > 0) {
    drop_timer_ = loop_->AddTimer(static_cast<int>(options_.drop_after * 1000),
                                  [this] { CloseClient("dropped on purpose (--drop-after)"); });
  }
  if (options_.overflow_burst) {
    burst_timer_ = loop_->AddTimer(options_.overflow_burst_delay_ms, [this] {
      loop_->RemoveTimer(burst_timer_);
      burst_timer_ = 0;
      // Neither a marker nor a zero: the feeder can't cut a thing out of it, and its buffer
      // fills until it overflows.
      SendTcp(ByteString(kOverflowBurstSize, 'x'));
      Log("overflow burst of " + std::to_string(kOverflowBurstSize) + " bytes sent");
    });
  }
  if (options_.hostile == HostileMode::kTrickle) {
    trickle_timer_ = loop_->AddTimer(kTrickleTickMs, [this] { FlushTcp(); });
  }
  if (!replay_.empty()) {
    replay_pos_ = 0;
    replay_start_ms_ = loop_->clock().MonotonicMs();
    replay_timer_ = loop_->AddTimer(1, [this] { ReplayTick(); });
  }
}

void FeedServer::StopConnectionTimers() {
  for (int* t : {&image_timer_, &replay_timer_, &drop_timer_, &burst_timer_, &trickle_timer_,
                 &hostile_timer_}) {
    if (*t != 0) loop_->RemoveTimer(*t);
    *t = 0;
  }
  image_queue_.clear();
}

void FeedServer::CloseClient(const std::string& why) {
  if (client_fd_ < 0) return;
  StopConnectionTimers();
  loop_->RemoveFd(client_reg_);
  close(client_fd_);
  client_fd_ = -1;
  out_.clear();
  out_start_ = 0;
  udp_carry_.clear();
  Log("client " + client_name_ + " gone: " + why);
}

void FeedServer::OnClientReady(int ready) {
  if (ready & EventLoop::kWritable) FlushTcp();
  if (client_fd_ < 0 || !(ready & (EventLoop::kReadable | EventLoop::kError))) return;
  char buf[4096];
  for (;;) {
    const ssize_t n = recv(client_fd_, buf, sizeof buf, 0);
    if (n > 0) {
      requests_.Append(ByteView(buf, static_cast<size_t>(n)));
      Request r;
      while (client_fd_ >= 0 && reading_ && requests_.Next(&r))
        OnRequest(r);
      if (client_fd_ < 0 || !reading_) return;
      continue;
    }
    if (n == 0) {
      CloseClient("closed by the client");
    } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
      CloseClient(std::string("read failed: ") + std::strerror(errno));
    }
    return;
  }
}

void FeedServer::OnRequest(const Request& r) {
  ++stats_.requests;
  Answer a = responder_->Handle(r);
  if (!a.image) {
    for (const ByteString& f : a.frames)
      SendTcp(f);
    return;
  }
  ++stats_.images;
  if (HostileImage(a)) return;
  Log("image asked for: " + std::to_string(a.frames.size()) + " frames" +
      (options_.responder.image_stop_after > 0 ? " (the transfer breaks off)" : ""));
  // A new request replaces a transfer still under way, as the feeder starts over at a type 6.
  image_queue_.assign(a.frames.begin(), a.frames.end());
  if (options_.image_slow_ms <= 0) {
    ImageTick();
  } else if (image_timer_ == 0) {
    image_timer_ = loop_->AddTimer(options_.image_slow_ms, [this] { ImageTick(); });
  }
}

void FeedServer::ImageTick() {
  const bool paced = options_.image_slow_ms > 0;
  while (!image_queue_.empty()) {
    SendTcp(image_queue_.front());
    image_queue_.pop_front();
    if (paced) break;
  }
  if (image_queue_.empty() && image_timer_ != 0) {
    loop_->RemoveTimer(image_timer_);
    image_timer_ = 0;
  }
}

bool FeedServer::HostileImage(const Answer& a) {
  switch (options_.hostile) {
    case HostileMode::kEndlessImage:
      Log("image asked for: its first piece goes, then pieces without end (--hostile)");
      image_queue_.clear();
      SendTcp(a.frames.front());
      if (hostile_timer_ == 0)
        hostile_timer_ = loop_->AddTimer(kEndlessImageTickMs, [this] { EndlessImageTick(); });
      return true;
    case HostileMode::kResetMidImage: {
      const size_t half = (a.frames.size() + 1) / 2;
      Log("image asked for: " + std::to_string(half) + " of its " +
          std::to_string(a.frames.size()) + " frames go, then a reset (--hostile)");
      image_queue_.clear();
      for (size_t i = 0; i < half; ++i)
        SendTcp(a.frames[i]);
      if (hostile_timer_ == 0) {
        hostile_timer_ = loop_->AddTimer(
            kResetDelayMs, [this] { ResetClient("reset in the middle of the image (--hostile)"); });
      }
      return true;
    }
    case HostileMode::kNeverRead:
      // The image is answered, so the session comes up; what the feeder asks from now on
      // stays in its own queue.
      reading_ = false;
      loop_->SetFdInterest(client_reg_, false, TcpBacklog() > 0);
      Log("image asked for: it goes, and the client is read no more (--hostile)");
      return false;
    default:
      return false;
  }
}

void FeedServer::EndlessImageTick() {
  // As fast as the client reads, but never more than the high water waiting.
  for (int i = 0; i < 16 && client_fd_ >= 0 && TcpBacklog() <= kTcpHighWater; ++i)
    SendTcp(EndlessImagePiece());
}

void FeedServer::ResetClient(const std::string& why) {
  if (client_fd_ < 0) return;
  // A zero linger turns the close into a reset.
  const linger abort{1, 0};
  setsockopt(client_fd_, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
  CloseClient(why);
}

void FeedServer::SendTcp(ByteView bytes) {
  if (client_fd_ < 0) return;
  capture_.Write(NowUs(), SendPath::kTcp, bytes);
  out_.append(bytes);
  // A trickle goes out only on its timer.
  if (options_.hostile != HostileMode::kTrickle) FlushTcp();
}

void FeedServer::FlushTcp() {
  const bool trickle = options_.hostile == HostileMode::kTrickle;
  while (client_fd_ >= 0 && out_start_ < out_.size()) {
    const size_t most = trickle ? 1 : out_.size() - out_start_;
    const ssize_t n = send(client_fd_, out_.data() + out_start_, most, MSG_NOSIGNAL);
    if (trickle && n > 0) {
      out_start_ += static_cast<size_t>(n);
      break;
    }
    if (n > 0) {
      out_start_ += static_cast<size_t>(n);
      continue;
    }
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) break;
    if (n < 0 && errno == EINTR) continue;
    CloseClient(std::string("write failed: ") + std::strerror(errno));
    return;
  }
  if (client_fd_ < 0) return;
  if (out_start_ == out_.size()) {
    out_.clear();
    out_start_ = 0;
  } else if (out_start_ > (1u << 16)) {
    out_.erase(0, out_start_);
    out_start_ = 0;
  }
  loop_->SetFdInterest(client_reg_, reading_, !trickle && out_start_ < out_.size());
}

void FeedServer::SendUdp(ByteView bytes) {
  if (client_fd_ < 0 || udp_fd_ < 0 || bytes.empty()) return;
  capture_.Write(NowUs(), SendPath::kUdp, bytes);
  if (sendto(udp_fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&udp_dest_),
             sizeof udp_dest_) < 0) {
    // A full socket buffer or an unreachable port: datagrams may be lost, as on any feed.
    ++stats_.udp_failed;
  }
}

void FeedServer::SendStreamFrame(SendPath path, ByteView frame) {
  ByteString bytes;
  if (options_.garbage && fault_rng_.OneIn(10)) {
    const int64_t n = fault_rng_.Uniform(1, 24);
    for (int64_t i = 0; i < n; ++i) {
      // Never the marker: the feeder drops what stands before a marker, and only that.
      char c = static_cast<char>(fault_rng_.Uniform(0, 255));
      if (static_cast<uint8_t>(c) == kFrameMarker) c = 0x21;
      bytes.push_back(c);
    }
  }
  if (options_.hostile == HostileMode::kHugeLengths && fault_rng_.OneIn(kHugeLengthEvery)) {
    // On TCP the next 64 KiB of the stream are taken for its body; on UDP the datagram ends
    // long before the body it claims.
    bytes.append(HugeLengthHeader());
  }
  bytes.append(frame);
  if (path == SendPath::kTcp) {
    SendTcp(bytes);
    return;
  }
  if (!options_.split_datagrams) {
    SendUdp(bytes);
    return;
  }
  // Datagrams cut the stream anywhere: a frame's head in one, its tail with the next frame's
  // head in the following one.
  udp_carry_.append(bytes);
  const size_t cut =
      static_cast<size_t>(fault_rng_.Uniform(1, static_cast<int64_t>(udp_carry_.size())));
  SendUdp(ByteView(udp_carry_).substr(0, cut));
  udp_carry_.erase(0, cut);
}

void FeedServer::StreamTick() {
  const int64_t now = loop_->clock().MonotonicMs();
  const double elapsed = static_cast<double>(now - last_tick_ms_) / 1000.0;
  last_tick_ms_ = now;
  if (client_fd_ < 0) return;
  if (options_.hostile == HostileMode::kNoMarker) {
    if (TcpBacklog() <= kTcpHighWater) SendTcp(NoMarkerBytes(&fault_rng_, kNoMarkerChunk));
    SendUdp(NoMarkerBytes(&fault_rng_, kNoMarkerDatagram));
    return;
  }
  bool sent = false;
  int64_t budget;
  if (options_.rate > 0) {
    // Credit doesn't pile up while the link is slow: at most half a second's worth waits.
    credit_ += options_.rate * elapsed;
    const double cap = options_.rate / 2 + 4;
    if (credit_ > cap) credit_ = cap;
    budget = static_cast<int64_t>(credit_);
  } else {
    budget = kFastBatch;
  }
  const bool tcp_used = options_.path != StreamPath::kUdp;
  while (!count_reached_ && budget > 0 && client_fd_ >= 0 &&
         !(tcp_used && TcpBacklog() > kTcpHighWater)) {
    SendPath path = options_.path == StreamPath::kTcp ? SendPath::kTcp : SendPath::kUdp;
    if (options_.path == StreamPath::kBoth) {
      path = next_on_udp_ ? SendPath::kUdp : SendPath::kTcp;
      next_on_udp_ = !next_on_udp_;
    }
    int n = 0;
    const ByteString frame = stream_->NextPacket(&n);
    const uint64_t packets = stats_.tcp_packets + stats_.udp_packets;
    if (options_.stall && packets % kStallEvery == kStallEvery - 1) {
      SendStreamFrame(path, StallFrame());
      Log(std::string("stall frame sent on ") + (path == SendPath::kTcp ? "TCP" : "UDP"));
    }
    SendStreamFrame(path, frame);
    (path == SendPath::kTcp ? stats_.tcp_packets : stats_.udp_packets)++;
    stats_.quotes += static_cast<uint64_t>(n);
    budget -= n;
    if (options_.rate > 0) credit_ -= n;
    sent = true;
    if (options_.count > 0 && stats_.quotes >= static_cast<uint64_t>(options_.count)) {
      count_reached_ = true;
      Log("sent " + std::to_string(stats_.quotes) + " quotes: streaming stops (--count)");
      break;
    }
  }
  // The held-back part of the UDP stream goes out once the stream pauses.
  if (!sent && !udp_carry_.empty()) {
    SendUdp(udp_carry_);
    udp_carry_.clear();
  }
}

void FeedServer::ReplayTick() {
  const int64_t elapsed_us = (loop_->clock().MonotonicMs() - replay_start_ms_) * 1000;
  while (client_fd_ >= 0 && replay_pos_ < replay_.size() && TcpBacklog() <= kTcpHighWater) {
    const ReplayItem& item = replay_[replay_pos_];
    if (!options_.fast && item.time_us - replay_.front().time_us > elapsed_us) return;
    if (item.path == SendPath::kTcp)
      SendTcp(item.bytes);
    else
      SendUdp(item.bytes);
    ++replay_pos_;
    ++stats_.replayed;
  }
  if (replay_pos_ >= replay_.size() && replay_timer_ != 0) {
    loop_->RemoveTimer(replay_timer_);
    replay_timer_ = 0;
    Log("replay done: " + std::to_string(replay_.size()) + " records sent");
  }
}

std::string FeedServer::StatusLine() const {
  std::string line = connected() ? "client " + client_name_ : std::string("no client");
  line += " | quotes " + std::to_string(stats_.quotes) + " (packets tcp " +
          std::to_string(stats_.tcp_packets) + ", udp " + std::to_string(stats_.udp_packets) + ")";
  line += " | requests " + std::to_string(stats_.requests) + " | images " +
          std::to_string(stats_.images) + " | connections " + std::to_string(stats_.connections);
  if (!replay_.empty()) {
    line +=
        " | replayed " + std::to_string(stats_.replayed) + " of " + std::to_string(replay_.size());
  }
  if (stats_.udp_failed > 0) line += " | udp failed " + std::to_string(stats_.udp_failed);
  return line;
}

}  // namespace quotlink::feedsim
