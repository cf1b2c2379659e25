// The feeder service end to end: the feed simulator streams quotes on TCP, the feeder with its
// D-Bus service runs on this program's main thread (as `quotlink serve` would), and 1, 2 and 8
// remote clients, each on a thread and a bus connection of its own, hear FeederReady through a
// private dbus-daemon. Reports, for each count of clients:
// - quotes/s: publications of the feeder, and FeederReady signals that reached each client's
//   callback, with the simulator as fast as the link takes it; the quotes that the service
//   dropped for clients that couldn't keep up;
// - the latency from a publication (the feeder's Data bell) to each client's callback, p50 and
//   p99, with the simulator at a pace that every client keeps up with.
//
// Not a Google Benchmark: one run is a whole session of seconds. Usage:
//   quotlink_service_bench [SECONDS] [--rate N]   (default 5 s per run, latency at 5000 quotes/s)
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bus/bus_connection.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkcls.h"
#include "client/settings.h"
#include "platform/loopback_ports.h"
#include "platform/poll_loop.h"
#include "platform/posix_socket.h"
#include "remote/quotlinkcls.h"
#include "service/feeder_service.h"
#include "tests/support/private_bus.h"
#include "tests/support/program_session.h"

namespace quotlink {
namespace {

using Steady = std::chrono::steady_clock;

int64_t NowNs() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(Steady::now().time_since_epoch())
      .count();
}

const char kSymbols[] = "ES,NQ,YM,ZB,ZN,CL,GC,EURUSD";

// Publication times by publication number; a client's sequence number is that number, since
// every client is started before the first quote and asks for nothing else.
constexpr size_t kStamps = 1 << 24;

struct Shared {
  std::vector<std::atomic<int64_t>> stamps = std::vector<std::atomic<int64_t>>(kStamps);
  std::atomic<int> started{0};
  std::atomic<bool> measuring{false};
  std::atomic<bool> stop{false};
  std::string folder;
};

struct ClientResult {
  std::atomic<uint64_t> heard{0};
  std::atomic<uint64_t> missed{0};
  std::vector<int64_t> latencies_ns;  // read after the thread ends
  std::string error;
};

void RunClient(Shared* shared, ClientResult* result) {
  SystemClock clock;
  PollLoop loop(&clock);
  remote::RemoteFeeder bus(&loop);
  remote::QUOTLINKCls obj(&bus);
  obj.OnFeederReady([&] {
    const int64_t now = NowNs();
    const uint64_t seq = obj.sequence();
    if (shared->measuring.load(std::memory_order_relaxed) && seq < kStamps) {
      const int64_t at = shared->stamps[seq].load(std::memory_order_acquire);
      if (at > 0) result->latencies_ns.push_back(now - at);
    }
    result->heard.fetch_add(1, std::memory_order_relaxed);
    result->missed.store(obj.missed(), std::memory_order_relaxed);
  });
  if (Status st = obj.status(); !st.ok()) {
    result->error = st.message();
    shared->started.fetch_add(1);
    return;
  }
  if (Status st = obj.Iniciar(shared->folder); !st.ok()) result->error = st.message();
  shared->started.fetch_add(1);
  while (!shared->stop.load())
    loop.RunOnce(10);
  obj.Release();
}

struct RunResult {
  double publications_per_s = 0;
  std::vector<double> heard_per_s;
  uint64_t missed = 0;
  uint64_t heard = 0;
  std::vector<int64_t> latencies_ns;
};

RunResult RunSession(int clients, int rate, double seconds) {
  Session sim({"--symbols", kSymbols, "--rate", std::to_string(rate), "--path", "tcp"});
  Shared shared;
  shared.folder = sim.Folder();
  std::filesystem::create_directories(shared.folder);
  const std::string data = DataFolderFrom(shared.folder);
  (void)CreateDataFolder(data);
  Settings s;
  s.FeedAddress = "127.0.0.1";
  s.FeedPort = sim.tcp_port();
  s.LocalPort = sim.udp_port();
  (void)WriteSettings(data, s);

  SystemClock clock;
  PollLoop loop(&clock);
  PosixSocketFactory sockets(&loop);
  QUOTLINKBAS bas(&loop, &sockets, nullptr);
  std::string error;
  std::unique_ptr<BusConnection> bus = BusConnection::OpenSession(&loop, &error);
  if (!bus) {
    std::fprintf(stderr, "service_bench: %s\n", error.c_str());
    std::exit(1);
  }
  FeederService service(&bas, bus.get(), shared.folder, stderr);
  if (Status st = service.Start(); !st.ok()) {
    std::fprintf(stderr, "service_bench: %s\n", st.message().c_str());
    std::exit(1);
  }
  // The bell of each publication, before any object hears it: the stamp of its number.
  uint64_t publications = 0;
  bas.Form().Data.Subscribe([&] {
    ++publications;
    if (publications < kStamps)
      shared.stamps[publications].store(NowNs(), std::memory_order_release);
  });

  std::vector<std::unique_ptr<ClientResult>> results;
  std::vector<std::thread> threads;
  for (int i = 0; i < clients; ++i) {
    results.push_back(std::make_unique<ClientResult>());
    threads.emplace_back(RunClient, &shared, results.back().get());
  }
  while (shared.started.load() < clients)
    loop.RunOnce(10);
  for (const auto& r : results) {
    if (!r->error.empty()) {
      std::fprintf(stderr, "service_bench: a client failed: %s\n", r->error.c_str());
      std::exit(1);
    }
  }
  // Every client is started: now the symbols, through a client of the feeder's own process.
  QUOTLINKCls adder(&bas);
  for (const char* p = kSymbols; *p != '\0';) {
    const char* comma = std::strchr(p, ',');
    const std::string sym = comma ? std::string(p, comma) : std::string(p);
    adder.AddSimbolos(sym);
    p = comma ? comma + 1 : p + sym.size();
  }
  auto run_for = [&](double secs) {
    const auto end = Steady::now() + std::chrono::duration<double>(secs);
    while (Steady::now() < end)
      loop.RunOnce(10);
  };
  run_for(2.0);  // the records come in, the stream settles
  std::vector<uint64_t> heard0;
  for (const auto& r : results)
    heard0.push_back(r->heard.load());
  const uint64_t pub0 = publications;
  const uint64_t missed0 = [&] {
    uint64_t m = 0;
    for (const auto& r : results)
      m += r->missed.load();
    return m;
  }();
  shared.measuring = true;
  const auto t0 = Steady::now();
  run_for(seconds);
  const double secs = std::chrono::duration<double>(Steady::now() - t0).count();
  shared.measuring = false;

  RunResult out;
  out.publications_per_s = static_cast<double>(publications - pub0) / secs;
  for (size_t i = 0; i < results.size(); ++i) {
    const uint64_t h = results[i]->heard.load() - heard0[i];
    out.heard += h;
    out.heard_per_s.push_back(static_cast<double>(h) / secs);
    out.missed += results[i]->missed.load();
  }
  out.missed -= missed0;
  shared.stop = true;
  // The clients' releases end the feeder; the loop answers them until every thread is done.
  std::atomic<int> joined{0};
  std::thread joiner([&] {
    for (auto& t : threads)
      t.join();
    joined = 1;
  });
  while (joined.load() == 0)
    loop.RunOnce(10);
  joiner.join();
  service.EndFeeder();
  service.Finish();
  for (const auto& r : results)
    out.latencies_ns.insert(out.latencies_ns.end(), r->latencies_ns.begin(), r->latencies_ns.end());
  return out;
}

double Percentile(std::vector<int64_t>& v, double p) {
  if (v.empty()) return 0;
  const size_t k = std::min(v.size() - 1, static_cast<size_t>(p * static_cast<double>(v.size())));
  std::nth_element(v.begin(), v.begin() + static_cast<long>(k), v.end());
  return static_cast<double>(v[k]) / 1000.0;
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  double seconds = 5;
  int rate = 5000;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--rate" && i + 1 < argc && (rate = std::atoi(argv[++i])) > 0) continue;
    if (a == "--help" || (seconds = std::atof(argv[i])) <= 0) {
      std::fprintf(stderr, "usage: quotlink_service_bench [SECONDS] [--rate N]\n");
      return a == "--help" ? 0 : 2;
    }
  }
  signal(SIGPIPE, SIG_IGN);
  quotlink::PrivateBus bus;
  std::printf("%-8s %-26s %-30s %s\n", "clients", "as fast as the link", "per client (min..max)",
              "latency at the paced rate");
  for (int clients : {1, 2, 8}) {
    quotlink::RunResult fast = quotlink::RunSession(clients, 0, seconds);
    quotlink::RunResult paced = quotlink::RunSession(clients, rate, seconds);
    const auto [lo, hi] = std::minmax_element(fast.heard_per_s.begin(), fast.heard_per_s.end());
    const double dropped = fast.heard + fast.missed == 0
                               ? 0
                               : 100.0 * static_cast<double>(fast.missed) /
                                     static_cast<double>(fast.heard + fast.missed);
    std::printf(
        "%-8d %8.0f published/s      %8.0f..%-8.0f heard/s (%4.1f%% dropped)   "
        "%d quotes/s: p50 %.0f us, p99 %.0f us (%zu samples, %llu dropped)\n",
        clients, fast.publications_per_s, *lo, *hi, dropped, rate,
        quotlink::Percentile(paced.latencies_ns, 0.50),
        quotlink::Percentile(paced.latencies_ns, 0.99), paced.latencies_ns.size(),
        static_cast<unsigned long long>(paced.missed));
    std::fflush(stdout);
  }
  return 0;
}
