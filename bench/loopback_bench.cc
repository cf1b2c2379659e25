// The feeder over real loopback sockets: a sender thread plays the feed (greets, answers the
// watch list reset, sends the image), then sends a fixed count of quotes as fast as it can on
// TCP, and on UDP at several rates. The feeder, on this thread as always, counts the quotes
// that reach FeederReady. Reports quotes/s and, for UDP, the share lost.
//
// Not a Google Benchmark: one run is a whole session of seconds. Usage:
//   quotlink_loopback_bench [QUOTES] [--window]     (default 200000 quotes)
// With --window (and a display), the same session runs headless and then with the console
// window attached, and the two are compared.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
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
#include "tests/support/quote_feeder.h"
#include "tests/support/temp_dir.h"
#include "tools/imagegen/image_writer.h"
#include "window/fltk_console.h"
#include "window/fltk_loop.h"

namespace quotlink {
namespace {

struct Rates {
  double tcp;
  double udp;
};

// One session; `udp_rate` 0 sends datagrams as fast as the sender can. With `window`, the
// feeder runs on the window's loop and shows the console window.
Rates RunOnce(int count, int udp_rate, bool report_tcp, bool window = false) {
  TempDir dir;
  Feed feed;
  feed.count = count;
  feed.udp_rate = udp_rate;
  feed.listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(feed.listener, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
  listen(feed.listener, 1);
  socklen_t len = sizeof sa;
  getsockname(feed.listener, reinterpret_cast<sockaddr*>(&sa), &len);
  feed.port = ntohs(sa.sin_port);
  feed.udp_port = FreeLoopbackPort(SOCK_DGRAM);
  TempDir::Put(dir.File("DTN/QUOTLINKINFO.DAT"), "");
  std::filesystem::create_directories(dir.path() + "DTN");
  TempDir::Put(dir.File("DTN/QUOTLINKINFO.DAT"), "127.0.0.1\r\n" + std::to_string(feed.port) +
                                                     "\r\n" + std::to_string(feed.udp_port) +
                                                     "\r\n");
  std::thread sender([&] { feed.Run(); });

  SystemClock clock;
  std::unique_ptr<EventLoop> loop_owner;
  std::unique_ptr<FltkConsole> view;
  if (window) {
    auto fltk = std::make_unique<FltkLoop>(&clock);
    view = std::make_unique<FltkConsole>(fltk.get());
    loop_owner = std::move(fltk);
  } else {
    loop_owner = std::make_unique<PollLoop>(&clock);
  }
  EventLoop& loop = *loop_owner;
  PosixSocketFactory sockets(&loop);
  QUOTLINKBAS bas(&loop, &sockets, view.get());
  if (view) view->Attach(&bas.Form());
  QUOTLINKCls obj(&bas);
  int64_t ready = 0;
  obj.OnFeederReady([&] { ++ready; });
  if (!obj.Iniciar(dir.path()).ok()) {
    std::fprintf(stderr, "cannot start the feeder\n");
    std::exit(1);
  }
  for (int i = 0; i < kSymbols; ++i)
    bas.Form().DTNSYMBOLS.Add(Sym(i));
  while (feed.phase.load() < 1 || bas.Link().QuotesEnabled == 0)
    loop.RunOnce(10);
  bas.Quotes().Simbolos.ReplaceAll(EquityTable(kSymbols));

  ready = 0;
  auto start = std::chrono::steady_clock::now();
  feed.phase = 2;
  while (ready < count)
    loop.RunOnce(10);
  double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  Rates rates{count / secs, 0};
  if (report_tcp) {
    std::printf("TCP  %8d quotes  %9.0f quotes/s at FeederReady\n", count, count / secs);
  }
  ready = 0;
  start = std::chrono::steady_clock::now();
  feed.phase = 3;
  while (feed.phase.load() < 4)
    loop.RunOnce(10);
  // What is still queued arrives within a moment; what the kernel dropped never will.
  for (auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
       std::chrono::steady_clock::now() < end;) {
    loop.RunOnce(10);
  }
  secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  rates.udp = static_cast<double>(ready) / secs;
  std::printf("UDP  %8d quotes  sent at %9s/s  %9.0f quotes/s at FeederReady  lost %5.2f%%\n",
              count, udp_rate == 0 ? "max" : std::to_string(udp_rate).c_str(), ready / secs,
              100.0 * static_cast<double>(count - ready) / count);
  std::fflush(stdout);
  feed.phase = 5;
  sender.join();
  close(feed.listener);
  obj.Release();
  return rates;
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  int count = 200000;
  bool window = false;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    if (a == "--window") {
      window = true;
    } else if (a == "--help" || (count = std::atoi(argv[i])) <= 0) {
      std::fprintf(stderr, "usage: quotlink_loopback_bench [QUOTES] [--window]\n");
      return a == "--help" ? 0 : 2;
    }
  }
  if (window) {
    if (!quotlink::WindowAvailable()) {
      std::fprintf(stderr, "quotlink_loopback_bench: no display for the window\n");
      return 1;
    }
    std::printf("headless:\n");
    const auto plain = quotlink::RunOnce(count, 0, true);
    std::printf("with the console window:\n");
    const auto shown = quotlink::RunOnce(count, 0, true, true);
    std::printf("the window costs %.1f%% of the quotes/s on TCP, %.1f%% on UDP\n",
                100.0 * (1 - shown.tcp / plain.tcp), 100.0 * (1 - shown.udp / plain.udp));
    return 0;
  }
  bool first = true;
  for (int rate : {50000, 100000, 200000, 0}) {
    quotlink::RunOnce(count, rate, first);
    first = false;
  }
  return 0;
}
