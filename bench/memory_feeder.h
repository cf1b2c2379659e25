// A whole feeder fed from memory: the system clock and the poll loop of the real program, the
// tests' in-memory sockets, and a started QUOTLINKCls whose FeederReady handler copies the
// quote, as a client does. Its session comes up as one with the simulator does: the start's
// dialogue answered by the simulator's responder, the image through the TCP arrival handler,
// every instrument on the watch list, and a record packet of each that adds its record.
#ifndef QUOTLINK_BENCH_MEMORY_FEEDER_H_
#define QUOTLINK_BENCH_MEMORY_FEEDER_H_

#include <cstdint>
#include <string>

#include "bench/bench_market.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkcls.h"
#include "platform/clock.h"
#include "platform/poll_loop.h"
#include "tests/support/fake_socket.h"
#include "tests/support/temp_dir.h"
#include "tools/feedsim/responder.h"

namespace quotlink::bench {

// The 17 values a client reads after FeederReady.
struct QuoteCopy {
  std::string Simbolo;
  float Last = 0, LastS = 0, Bid = 0, Ask = 0, AskS = 0, BidS = 0, Change = 0, OpenV = 0, High = 0,
        Low = 0, Previous = 0, OInt = 0, Vol = 0, TimeV = 0;
  int16_t Flag = 0;
  int16_t ComunicationOK = 0;
};

// What a client's FeederReady handler does with the quote: reads every value of `c`.
void CopyQuote(const QUOTLINKCls& c, QuoteCopy* out);

class MemoryFeeder {
 public:
  // Brings the session up for the instruments of `*u`, which must outlive the feeder. Takes
  // about 3 seconds: the session start's wait after the UDP bind runs on the system clock.
  // Ends the program (Fail) when the session doesn't come up whole: the image refused, a
  // record missing.
  explicit MemoryFeeder(const feedsim::Universe* u);
  ~MemoryFeeder();
  MemoryFeeder(const MemoryFeeder&) = delete;
  MemoryFeeder& operator=(const MemoryFeeder&) = delete;

  QUOTLINKBAS& bas() { return bas_; }
  FeedLink& link() { return bas_.Link(); }
  QUOTLINKCls& client() { return client_; }
  FakeSocket& tcp() { return *static_cast<FakeSocket*>(bas_.Link().TCP.get()); }
  FakeSocket& udp() { return *static_cast<FakeSocket*>(bas_.Link().UDP.get()); }

  // FeederReady events so far, and the quote the last one copied.
  int64_t ready() const { return ready_; }
  const QuoteCopy& copy() const { return copy_; }

  // Hands `bytes` to the TCP arrival handler in reads of at most 64 KiB, as a socket would.
  void ArriveTcp(ByteView bytes);

 private:
  void Answer(ByteView request);
  void SendAnswers();

  TempDir dir_;
  // The feed's side: the feeder's requests reach it from inside the feeder, so it outlives it.
  feedsim::RequestReader requests_;
  feedsim::Responder responder_;
  ByteString answers_;  // what the feed has yet to send on TCP
  int64_t ready_ = 0;
  QuoteCopy copy_;
  SystemClock clock_;
  PollLoop loop_{&clock_};
  FakeSocketFactory sockets_;
  QUOTLINKBAS bas_{&loop_, &sockets_, nullptr};
  QUOTLINKCls client_{&bas_};
};

}  // namespace quotlink::bench

#endif  // QUOTLINK_BENCH_MEMORY_FEEDER_H_
