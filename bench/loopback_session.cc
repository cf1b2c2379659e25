#include "bench/loopback_session.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <vector>

#include "bench/bench_report.h"
#include "platform/loopback_ports.h"
#include "platform/poll_loop.h"
#include "window/fltk_console.h"
#include "window/fltk_loop.h"

namespace quotlink::bench {
namespace {

// The most one TCP send of the stream takes, so that a paced stream stays close to its pace.
constexpr size_t kTcpBatch = 256 * 1024;
// The most datagrams one sendmmsg takes.
constexpr size_t kUdpBatch = 64;

void SleepUntilNs(int64_t t) {
  timespec ts{};
  ts.tv_sec = static_cast<time_t>(t / 1000000000);
  ts.tv_nsec = static_cast<long>(t % 1000000000);
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
  }
}

}  // namespace

LoopbackFeed::LoopbackFeed(const feedsim::Universe* u)
    : universe_(u), responder_(u, feedsim::ResponderOptions{}) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a = LoopbackAddress(0);
  socklen_t len = sizeof a;
  if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
      listen(listener_, 1) != 0 ||
      getsockname(listener_, reinterpret_cast<sockaddr*>(&a), &len) != 0) {
    Fail(std::string("the feed can't listen on loopback: ") + std::strerror(errno));
  }
  tcp_port_ = ntohs(a.sin_port);
  udp_port_ = FreeLoopbackPort(SOCK_DGRAM);
  udp_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (udp_port_ == 0 || udp_ < 0) Fail("the feed has no UDP socket");
  const sockaddr_in to = LoopbackAddress(udp_port_);
  if (connect(udp_, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0)
    Fail(std::string("the feed's UDP socket: ") + std::strerror(errno));
  thread_ = std::thread([this] {
    Run();
    gone_.store(true, std::memory_order_release);
  });
}

LoopbackFeed::~LoopbackFeed() {
  Command(kStop);
  thread_.join();
  for (int fd : {client_, listener_, udp_}) {
    if (fd >= 0) close(fd);
  }
}

void LoopbackFeed::Run() {
  while (client_ < 0) {
    if (command_.load(std::memory_order_acquire) == kStop) return;
    pollfd p{listener_, POLLIN, 0};
    if (poll(&p, 1, 10) == 1) client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  }
  const int one = 1;
  setsockopt(client_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  for (;;) {
    switch (command_.load(std::memory_order_acquire)) {
      case kStop:
        return;
      case kRecords:
        SendTcp(RecordFrames(*universe_).bytes);
        Command(kNone);
        break;
      case kStream:
        result_ = StreamResult{};
        Stream(*plan_);
        Command(kNone);
        break;
      default:
        ServeRequests();
        break;
    }
  }
}

// Answers what the feeder asks (the session's dialogue) with the simulator's responder.
void LoopbackFeed::ServeRequests() {
  pollfd p{client_, POLLIN, 0};
  if (poll(&p, 1, 10) != 1) return;
  char buf[4096];
  const ssize_t n = recv(client_, buf, sizeof buf, MSG_DONTWAIT);
  if (n <= 0) {
    if (n == 0) Command(kStop);  // the feeder has gone
    return;
  }
  reader_.Append(ByteView(buf, static_cast<size_t>(n)));
  feedsim::Request r;
  while (reader_.Next(&r)) {
    for (const ByteString& f : responder_.Handle(r).frames)
      SendTcp(f);
  }
}

void LoopbackFeed::SendTcp(ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t n = send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;  // the feeder has gone: the benchmark sees it by what arrived
    bytes.remove_prefix(static_cast<size_t>(n));
  }
}

void LoopbackFeed::Stream(const StreamPlan& plan) {
  const FrameRun& frames = *plan.frames;
  const bool one_a_send = plan.send_ns != nullptr;
  const int64_t start = NowNs();
  const int64_t end = start + static_cast<int64_t>(plan.seconds * 1e9);
  size_t next = 0;
  int64_t sent = 0;  // quotes
  ByteString batch;
  std::vector<mmsghdr> msgs(kUdpBatch);
  std::vector<iovec> iovs(kUdpBatch);
  for (int64_t now = start; now < end; now = NowNs()) {
    if (next == frames.size()) {
      if (!plan.cycle) break;
      next = 0;
    }
    // Quotes due by now; with a rate of 0, as many as one send takes.
    const double due = plan.rate > 0 ? plan.rate * static_cast<double>(now - start) / 1e9 : 1e300;
    if (static_cast<double>(sent) >= due) {
      const auto next_due =
          start + static_cast<int64_t>(static_cast<double>(sent + 1) / plan.rate * 1e9);
      SleepUntilNs(std::min(next_due, end));
      continue;
    }
    if (plan.path == FeedPath::kTcp) {
      batch.clear();
      while (next < frames.size() && static_cast<double>(sent) < due && batch.size() < kTcpBatch) {
        batch.append(frames.frame(next));
        sent += static_cast<uint8_t>(frames.frame(next)[kCountOffset]);
        ++next;
        ++result_.frames;
        if (one_a_send) break;
      }
      if (one_a_send) plan.send_ns[next].store(NowNs(), std::memory_order_release);
      SendTcp(batch);
      continue;
    }
    size_t count = 0;
    int64_t quotes_in[kUdpBatch];
    while (next + count < frames.size() && static_cast<double>(sent) < due && count < kUdpBatch) {
      const ByteView f = frames.frame(next + count);
      iovs[count] = iovec{const_cast<char*>(f.data()), f.size()};
      msgs[count] = mmsghdr{};
      msgs[count].msg_hdr.msg_iov = &iovs[count];
      msgs[count].msg_hdr.msg_iovlen = 1;
      quotes_in[count] = static_cast<uint8_t>(f[kCountOffset]);
      sent += quotes_in[count];
      ++count;
      if (one_a_send) break;
    }
    if (one_a_send) plan.send_ns[next + 1].store(NowNs(), std::memory_order_release);
    int done = sendmmsg(udp_, msgs.data(), static_cast<unsigned>(count), 0);
    if (done < 0) done = 0;  // a full send buffer: those datagrams never left
    for (size_t i = static_cast<size_t>(done); i < count; ++i)
      sent -= quotes_in[i];
    next += count;
    result_.frames += done;
  }
  result_.quotes = sent;
  result_.seconds = static_cast<double>(NowNs() - start) / 1e9;
}

LoopbackFeeder::LoopbackFeeder(const feedsim::Universe* u, LoopbackFeed* feed, bool window)
    : feed_(feed) {
  std::filesystem::create_directories(dir_.path() + "DTN");
  TempDir::Put(dir_.File("DTN/QUOTLINKINFO.DAT"), "127.0.0.1\r\n" +
                                                      std::to_string(feed->tcp_port()) + "\r\n" +
                                                      std::to_string(feed->udp_port()) + "\r\n");
  if (window) {
    if (!WindowAvailable()) Fail("no display for the console window");
    auto fltk = std::make_unique<FltkLoop>(&clock_);
    view_ = std::make_unique<FltkConsole>(fltk.get());
    loop_ = std::move(fltk);
  } else {
    loop_ = std::make_unique<PollLoop>(&clock_);
  }
  sockets_ = std::make_unique<PosixSocketFactory>(loop_.get());
  bas_ = std::make_unique<QUOTLINKBAS>(loop_.get(), sockets_.get(), view_.get());
  if (window) static_cast<FltkConsole*>(view_.get())->Attach(&bas_->Form());
  client_ = std::make_unique<QUOTLINKCls>(bas_.get());
  client_->OnFeederReady([this] {
    CopyQuote(*client_, &copy_);
    ++ready_;
  });
  bas_->Link().frame_tap = [this](FeedPath path, ByteView frame) {
    // Every quote that reached the processor: the kernel didn't drop it.
    if (frame.size() > kCountOffset && static_cast<uint8_t>(frame[1]) == kTypeQuotes)
      quotes_[path == FeedPath::kTcp ? 0 : 1] += static_cast<uint8_t>(frame[kCountOffset]);
  };

  const Status started = client_->Iniciar(dir_.path());
  if (!started.ok()) Fail("the feeder didn't start: " + started.message());
  for (size_t i = 0; i < u->size(); ++i)
    client_->AddSimbolos(u->at(i).symbol);
  FeedLink& link = bas_->Link();
  if (!RunUntil(30, [&] { return link.QuotesEnabled == 1 && link.DatabasePending == 0; })) {
    Fail("the image wasn't taken: " + bas_->Form().Info1.Caption() + " / " +
         bas_->Form().Mensagem.Caption());
  }
  feed_->SendRecords();
  const auto records = static_cast<int32_t>(u->size());
  if (!RunUntil(60, [&] { return bas_->Quotes().Simbolos.size() == records; })) {
    Fail("the record packets made " + std::to_string(bas_->Quotes().Simbolos.size()) +
         " records of " + std::to_string(records));
  }
}

LoopbackFeeder::~LoopbackFeeder() {
  client_->Release();
  if (view_ != nullptr) static_cast<FltkConsole*>(view_.get())->Attach(nullptr);
}

bool LoopbackFeeder::RunUntil(double seconds, const std::function<bool()>& done) {
  const int64_t end = NowNs() + static_cast<int64_t>(seconds * 1e9);
  while (!done()) {
    if (NowNs() > end) return false;
    loop_->RunOnce(10);
  }
  return true;
}

LoopbackFeeder::PathResult LoopbackFeeder::Run(const StreamPlan& plan) {
  int64_t& received = quotes_[plan.path == FeedPath::kTcp ? 0 : 1];
  const int64_t received_before = received;
  const int64_t ready_before = ready_;
  const int64_t cpu_before = ThreadCpuNs();
  feed_->Start(&plan);
  while (!feed_->done())
    loop_->RunOnce(10);
  const int64_t sent = feed_->result().quotes;
  int64_t cpu_at_last = ThreadCpuNs();
  for (;;) {
    const int64_t seen = received;
    const bool all = RunUntil(1, [&] { return received - received_before >= sent; });
    if (received != seen) cpu_at_last = ThreadCpuNs();
    if (all || received == seen) break;
  }
  PathResult r;
  r.sent = feed_->result();
  r.received_quotes = received - received_before;
  r.ready = ready_ - ready_before;
  r.cpu_ns = static_cast<double>(cpu_at_last - cpu_before);
  return r;
}

}  // namespace quotlink::bench
