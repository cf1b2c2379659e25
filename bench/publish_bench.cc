// Publishing to NATS, the whole way: a sender thread plays the feed on loopback (see
// loopback_feed.h), the feeder takes its quotes on TCP on this thread as always, and a
// nats-server with JetStream that the benchmark starts on a free port takes what the publisher
// sends. One run measures, on the same machine and feed:
//   - the feeder's quotes/s at FeederReady without publishing, then with it;
//   - the quotes/s that reach NATS (published by the publisher's thread);
//   - the quotes/s that one `quotlink tail --json` prints, reading them back;
//   - the same with the feed paced at a given rate, to see whether that tail keeps up.
//
// Not a Google Benchmark: one run is a few whole sessions. Usage:
//   quotlink_publish_bench QUOTLINK_BIN [QUOTES] [PACED_RATE]   (defaults 500000, 500000)
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/loopback_feed.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkcls.h"
#include "client/quotlinkfrm.h"
#include "platform/loopback_ports.h"
#include "platform/poll_loop.h"
#include "platform/posix_socket.h"
#include "publish/quote_publisher.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point since) {
  return std::chrono::duration<double>(Clock::now() - since).count();
}

// CPU time of the calling thread: what the feeder itself spends, whoever else runs.
double ThreadCpuNs() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) * 1e9 + static_cast<double>(ts.tv_nsec);
}

pid_t Spawn(const std::vector<std::string>& argv, int out_fd, int err_fd) {
  const pid_t pid = fork();
  if (pid == 0) {
    if (out_fd >= 0) dup2(out_fd, 1);
    if (err_fd >= 0) dup2(err_fd, 2);
    std::vector<char*> args;
    for (const auto& a : argv)
      args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  return pid;
}

void Stop(pid_t pid) {
  kill(pid, SIGTERM);
  waitpid(pid, nullptr, 0);
}

// One `quotlink tail --json`, its lines counted by a thread as they come.
class TailCounter {
 public:
  TailCounter(const std::string& bin, const std::string& url, const std::string& err_file) {
    int p[2];
    if (pipe(p) != 0) std::exit(1);
    const int err = open(err_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_ = Spawn({bin, "tail", "--nats", url, "--json"}, p[1], err);
    close(p[1]);
    close(err);
    reader_ = std::thread([this, fd = p[0]] {
      char buf[1 << 16];
      for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;) {
        uint64_t lines = 0;
        for (ssize_t i = 0; i < n; ++i)
          lines += buf[i] == '\n';
        if (lines > 0) {
          if (lines_.load() == 0) first_ = Clock::now();
          lines_.fetch_add(lines);
          last_ = Clock::now();
        }
      }
      close(fd);
    });
  }
  ~TailCounter() {
    Stop(pid_);
    reader_.join();
  }
  uint64_t lines() const { return lines_.load(); }
  // Lines a second from the first live line to the last.
  double Rate(uint64_t from) const {
    return static_cast<double>(lines_.load() - from) /
           std::chrono::duration<double>(last_ - mark_).count();
  }
  void Mark() { mark_ = Clock::now(); }

 private:
  pid_t pid_;
  std::thread reader_;
  std::atomic<uint64_t> lines_{0};
  Clock::time_point first_, last_, mark_;
};

struct Result {
  double feeder = 0;     // quotes/s at FeederReady
  double cpu_ns = 0;     // the feeder's thread's CPU time a quote
  double published = 0;  // quotes/s that reached NATS
  double tailed = 0;     // quotes/s that the tail printed
  uint64_t lost = 0;     // quotes that publishing dropped
  uint64_t tail_got = 0;
};

// One session of `count` quotes; with `url`, published there and read back by a tail.
Result RunOnce(int count, int tcp_rate, const std::string& bin, const std::string& url) {
  TempDir dir;
  Feed feed;
  feed.count = count;
  feed.tcp_rate = tcp_rate;
  feed.listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in sa = LoopbackAddress(0);
  bind(feed.listener, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
  listen(feed.listener, 1);
  socklen_t len = sizeof sa;
  getsockname(feed.listener, reinterpret_cast<sockaddr*>(&sa), &len);
  feed.port = ntohs(sa.sin_port);
  feed.udp_port = FreeLoopbackPort(SOCK_DGRAM);
  std::filesystem::create_directories(dir.path() + "DTN");
  TempDir::Put(dir.File("DTN/QUOTLINKINFO.DAT"), "127.0.0.1\r\n" + std::to_string(feed.port) +
                                                     "\r\n" + std::to_string(feed.udp_port) +
                                                     "\r\n");
  std::thread sender([&] { feed.Run(); });

  SystemClock clock;
  PollLoop loop(&clock);
  PosixSocketFactory sockets(&loop);
  QUOTLINKBAS bas(&loop, &sockets, nullptr);
  QUOTLINKCls obj(&bas);
  int64_t ready = 0;
  obj.OnFeederReady([&] { ++ready; });
  std::unique_ptr<QuotePublisher> publisher;
  std::unique_ptr<TailCounter> tail;
  if (!url.empty()) {
    PublishOptions options;
    options.url = url;
    if (Status st = QuotePublisher::Start(&loop, options, &publisher); !st.ok()) {
      std::fprintf(stderr, "cannot publish: %s\n", st.message().c_str());
      std::exit(1);
    }
    publisher->Attach(&obj);
    tail = std::make_unique<TailCounter>(bin, url, dir.File("tail.err"));
  }
  if (!obj.Iniciar(dir.path()).ok()) {
    std::fprintf(stderr, "cannot start the feeder\n");
    std::exit(1);
  }
  for (int i = 0; i < kSymbols; ++i)
    bas.Form().DTNSYMBOLS.Add(Sym(i));
  while (feed.phase.load() < 1 || bas.Link().QuotesEnabled == 0)
    loop.RunOnce(10);
  bas.Quotes().Simbolos.ReplaceAll(EquityTable(kSymbols));
  // The tail has printed the last values of an earlier run by now: count from here.
  while (tail && TempDir::Get(dir.File("tail.err")).find("live quotes follow") == std::string::npos)
    loop.RunOnce(10);
  const uint64_t tail_from = tail ? tail->lines() : 0;
  if (tail) tail->Mark();

  Result r;
  ready = 0;
  const auto start = Clock::now();
  const double cpu_start = ThreadCpuNs();
  feed.phase = 2;
  while (ready < count)
    loop.RunOnce(10);
  r.feeder = count / Seconds(start);
  r.cpu_ns = (ThreadCpuNs() - cpu_start) / count;
  if (publisher) {
    const auto& shared = publisher->shared();
    auto done = [&] {
      return shared.published.load() + shared.refused.load() + publisher->not_queued() >=
             publisher->handed();
    };
    while (!done())
      loop.RunOnce(1);
    r.published = static_cast<double>(shared.published.load()) / Seconds(start);
    r.lost = shared.refused.load() + publisher->not_queued();
    // The tail has what it will get once it stays still for a second.
    for (uint64_t before = ~0ull; before != tail->lines();) {
      before = tail->lines();
      for (auto end = Clock::now() + std::chrono::seconds(1); Clock::now() < end;)
        loop.RunOnce(10);
    }
    r.tail_got = tail->lines() - tail_from;
    r.tailed = tail->Rate(tail_from);
  }
  feed.phase = 3;
  feed.udp_rate = 1;
  feed.count = 0;
  while (feed.phase.load() < 4)
    loop.RunOnce(10);
  feed.phase = 5;
  sender.join();
  close(feed.listener);
  publisher.reset();
  tail.reset();
  obj.Release();
  return r;
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  using namespace quotlink;
  if (argc < 2 || std::string(argv[1]) == "--help") {
    std::fprintf(stderr, "usage: quotlink_publish_bench QUOTLINK_BIN [QUOTES] [PACED_RATE]\n");
    return argc < 2 ? 2 : 0;
  }
  const std::string bin = argv[1];
  const int count = argc > 2 ? std::atoi(argv[2]) : 500000;
  const int paced = argc > 3 ? std::atoi(argv[3]) : 500000;
  signal(SIGPIPE, SIG_IGN);

  TempDir store;
  const int port = FreeLoopbackPort(SOCK_STREAM);
  const int log = open(store.File("server.log").c_str(), O_WRONLY | O_CREAT, 0644);
  const pid_t server = Spawn({"/usr/sbin/nats-server", "-js", "-a", "127.0.0.1", "-p",
                              std::to_string(port), "-sd", store.path() + "js"},
                             log, log);
  close(log);
  for (int i = 0; i < 300 && !LoopbackListening(port); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  const std::string url = "nats://127.0.0.1:" + std::to_string(port);

  const Result off = RunOnce(count, 0, bin, "");
  std::printf(
      "publishing off: %9.0f quotes/s at FeederReady, %4.0f ns of the feeder's CPU a quote\n",
      off.feeder, off.cpu_ns);
  const Result on = RunOnce(count, 0, bin, url);
  std::printf(
      "publishing on:  %9.0f quotes/s at FeederReady (%.1f%% less), %4.0f ns of the feeder's CPU "
      "a quote (%.1f%% more)\n",
      on.feeder, 100.0 * (1 - on.feeder / off.feeder), on.cpu_ns,
      100.0 * (on.cpu_ns / off.cpu_ns - 1));
  std::printf("                %9.0f quotes/s to NATS, %llu dropped\n", on.published,
              static_cast<unsigned long long>(on.lost));
  std::printf("one tail:       %9.0f quotes/s printed, %llu of %d\n", on.tailed,
              static_cast<unsigned long long>(on.tail_got), count);
  const Result at = RunOnce(count, paced, bin, url);
  std::printf(
      "paced at %d/s: %9.0f quotes/s at FeederReady, %llu dropped; the tail printed %llu of "
      "%d at %.0f quotes/s\n",
      paced, at.feeder, static_cast<unsigned long long>(at.lost),
      static_cast<unsigned long long>(at.tail_got), count, at.tailed);
  Stop(server);
  return 0;
}
