// A feeder and a feed over real loopback sockets, for the benchmarks that measure what the
// kernel's sockets add: the feed runs on its own thread (the simulator's responder answers the
// session's requests, then it streams frames at a given rate), the feeder on the calling thread
// as the real program runs it: the poll loop (or the console window's loop), the POSIX sockets,
// the system clock, and a started QUOTLINKCls.
#ifndef QUOTLINK_BENCH_LOOPBACK_SESSION_H_
#define QUOTLINK_BENCH_LOOPBACK_SESSION_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "bench/bench_market.h"
#include "bench/memory_feeder.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkcls.h"
#include "platform/clock.h"
#include "platform/posix_socket.h"
#include "tests/support/temp_dir.h"
#include "tools/feedsim/responder.h"

namespace quotlink::bench {

// What the feed is to send: `frames` in turn (over again from the first when `cycle`), on one
// path, at `rate` quotes a second (0: as fast as the path takes them), for `seconds`.
struct StreamPlan {
  FeedPath path = FeedPath::kTcp;
  const FrameRun* frames = nullptr;
  bool cycle = true;
  double rate = 0;
  double seconds = 1;
  // When set, the moment (NowNs) just before frame i went out is stored at [i + 1]; the frames
  // then go one a send. Must hold frames->size() + 1 entries.
  std::atomic<int64_t>* send_ns = nullptr;
};

struct StreamResult {
  int64_t quotes = 0;  // in the frames that went out
  int64_t frames = 0;
  double seconds = 0;  // from the first send to the end of the last
};

// The feed server: a TCP listener and a UDP sender on loopback, served by its own thread.
class LoopbackFeed {
 public:
  // `*u` must outlive the feed. Fails the program when it can't listen.
  explicit LoopbackFeed(const feedsim::Universe* u);
  ~LoopbackFeed();
  LoopbackFeed(const LoopbackFeed&) = delete;
  LoopbackFeed& operator=(const LoopbackFeed&) = delete;

  int tcp_port() const { return tcp_port_; }
  int udp_port() const { return udp_port_; }

  // Has the thread send a record packet of every instrument on TCP; returns at once.
  void SendRecords() { Command(kRecords); }
  // Has the thread send what `plan` says; returns at once. `*plan` must stay until done().
  void Start(const StreamPlan* plan) {
    plan_ = plan;
    Command(kStream);
  }
  // The last command has been carried out, or the feeder has gone and the thread with it.
  bool done() const {
    return gone_.load(std::memory_order_acquire) ||
           command_.load(std::memory_order_acquire) == kNone;
  }
  // What the last stream sent. REQUIRES: done().
  const StreamResult& result() const { return result_; }

 private:
  enum : int { kNone, kRecords, kStream, kStop };
  void Command(int c) { command_.store(c, std::memory_order_release); }
  void Run();
  void ServeRequests();
  void SendTcp(ByteView bytes);
  void Stream(const StreamPlan& plan);

  const feedsim::Universe* const universe_;
  feedsim::RequestReader reader_;
  feedsim::Responder responder_;
  int listener_ = -1;
  int client_ = -1;  // the feeder's connection, once accepted
  int udp_ = -1;
  int tcp_port_ = 0;
  int udp_port_ = 0;
  std::atomic<int> command_{kNone};
  std::atomic<bool> gone_{false};
  const StreamPlan* plan_ = nullptr;
  StreamResult result_;
  std::thread thread_;
};

class LoopbackFeeder {
 public:
  // Starts a feeder against `*feed` for the instruments of `*u` (both must outlive it), on the
  // console window's loop with the window shown when `window`: the session start (3 seconds of
  // it wait after the UDP bind), the image, every instrument on the watch list and its record.
  // Fails the program when the session doesn't come up whole.
  LoopbackFeeder(const feedsim::Universe* u, LoopbackFeed* feed, bool window);
  ~LoopbackFeeder();
  LoopbackFeeder(const LoopbackFeeder&) = delete;
  LoopbackFeeder& operator=(const LoopbackFeeder&) = delete;

  QUOTLINKBAS& bas() { return *bas_; }
  QUOTLINKCls& client() { return *client_; }

  struct PathResult {
    StreamResult sent;
    int64_t received_quotes = 0;  // in type-20 frames that reached the path's processor
    int64_t ready = 0;            // FeederReady events
    double cpu_ns = 0;            // of this thread, from the start to the last quote's arrival
  };
  // Has the feed carry out `plan` while this thread runs the feeder's loop, then lets what is
  // still on its way arrive: until every quote sent has come, or nothing more comes for a
  // second (what the kernel dropped never will).
  PathResult Run(const StreamPlan& plan);

 private:
  bool RunUntil(double seconds, const std::function<bool()>& done);

  LoopbackFeed* const feed_;
  TempDir dir_;
  SystemClock clock_;
  std::unique_ptr<EventLoop> loop_;
  std::unique_ptr<ConsoleView> view_;  // uses the loop: goes first
  std::unique_ptr<PosixSocketFactory> sockets_;
  std::unique_ptr<QUOTLINKBAS> bas_;
  std::unique_ptr<QUOTLINKCls> client_;
  QuoteCopy copy_;
  int64_t ready_ = 0;
  int64_t quotes_[2] = {0, 0};  // received, by path
};

}  // namespace quotlink::bench

#endif  // QUOTLINK_BENCH_LOOPBACK_SESSION_H_
