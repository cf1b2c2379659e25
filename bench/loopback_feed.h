// A feed on loopback for the benchmarks that run a whole feeder: a sender thread greets, answers
// the watch list reset and the image request, then sends a fixed count of quotes of kSymbols
// equities on TCP (as fast as it can, or paced) and on UDP at a rate.
#ifndef QUOTLINK_BENCH_LOOPBACK_FEED_H_
#define QUOTLINK_BENCH_LOOPBACK_FEED_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "platform/loopback_ports.h"
#include "tests/support/quote_feeder.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {

constexpr int kSymbols = 100;

inline std::string Sym(int i) {
  return "S" + std::to_string(i);
}

// One quote packet per quote, its last price the quote's number, so every one rings the bell.
inline ByteString QuoteFrame(int n) {
  const int code = n % kSymbols;
  return QuotePacket(
      kEquityKey, 1, 6, 1,
      Quote(Sym(code), 6, code, 1, ByteString("\x03", 1) + Be(static_cast<uint32_t>(n), 4)));
}

struct Feed {
  int listener = -1;
  int port = 0;
  int udp_port = 0;
  std::atomic<int> phase{0};  // 0 session, 1 ready (image sent), 2 go tcp, 3 go udp, 4 done
  std::atomic<int> udp_rate{0};
  std::atomic<int> tcp_rate{0};  // quotes/s on TCP; 0: as fast as the link takes them
  int count = 0;

  void Run() {
    const int c = accept(listener, nullptr, nullptr);
    const int one = 1;
    setsockopt(c, IPPROTO_TCP, 1 /*TCP_NODELAY*/, &one, sizeof one);
    const ByteString image = WriteImage(TestImageLayout());
    char req[8];
    size_t got = 0;
    while (phase.load() == 0) {
      const ssize_t n = recv(c, req + got, sizeof req - got, 0);
      if (n <= 0) return;
      got += static_cast<size_t>(n);
      if (got < 8) continue;
      got = 0;
      ByteString out;
      if (req[1] == 28) out = StatusPacket(12);
      if (req[1] == 5) {
        for (const auto& f : CutImageIntoFrames(image, 400))
          out += f;
      }
      if (req[1] == 13) phase = 1;
      SendAll(c, out);
    }
    while (phase.load() < 2)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ByteString batch;
    const auto tcp_start = std::chrono::steady_clock::now();
    const int paced = tcp_rate.load();
    for (int n = 1; n <= count; ++n) {
      batch += QuoteFrame(n);
      // Paced, the batches are small and go out when their last quote is due.
      if (batch.size() > (paced > 0 ? 2000u : 60000u) || n == count) {
        if (paced > 0) {
          const auto due = tcp_start + std::chrono::nanoseconds(int64_t{1000000000} * n / paced);
          while (std::chrono::steady_clock::now() < due) {
          }
        }
        SendAll(c, batch);
        batch.clear();
      }
    }
    while (phase.load() < 3)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const int u = socket(AF_INET, SOCK_DGRAM, 0);
    const sockaddr_in to = LoopbackAddress(udp_port);
    const auto start = std::chrono::steady_clock::now();
    const int rate = udp_rate.load();
    for (int n = 1; n <= count; ++n) {
      if (rate > 0) {
        const auto due = start + std::chrono::nanoseconds(int64_t{1000000000} * n / rate);
        while (std::chrono::steady_clock::now() < due) {
        }
      }
      const ByteString f = QuoteFrame(count + n);
      sendto(u, f.data(), f.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }
    close(u);
    phase = 4;
    while (phase.load() != 5)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    close(c);
  }
  static void SendAll(int fd, ByteView b) {
    while (!b.empty()) {
      const ssize_t n = send(fd, b.data(), b.size(), MSG_NOSIGNAL);
      if (n <= 0) return;
      b.remove_prefix(static_cast<size_t>(n));
    }
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_BENCH_LOOPBACK_FEED_H_
