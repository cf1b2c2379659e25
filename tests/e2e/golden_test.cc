// The golden transcript: a recorded simulator session with faults (golden/session.cap, made by
// golden/record_session.sh) replayed into `quotlink watch --json --console=log`, and all the
// feeder writes compared byte for byte with golden/session.transcript. After an intended change:
//
//   QUOTLINK_GOLDEN_UPDATE=1 build/tests/e2e/quotlink_e2e_test --gtest_filter='Golden*'
//
// Why the replay gives the same output on every run:
// - The capture is TCP only: one ordered stream whatever the timing (UDP would race it).
// - The replaying simulator answers the greeting at once, long before the recorded answers, holds
//   its own image back, and streams only an instrument nobody asks for.
// - Standard error shares the output pipe, so quotes and console lines keep their order.
// - The status line comes every 2 s on the clock: the capture is quiet around those moments.
// - The bell rings when the symbol, the price or the clock's second changes: the feeder starts at
//   a moment that puts the whole stretch of quotes inside one second.
// The capture is checked for the last two before the replay. Masked: TimeV, the time of day,
// and a notice of the machine's receive buffer.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <time.h>

#include <chrono>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "client/quotlinkfrm.h"
#include "link/session.h"
#include "platform/loopback_ports.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

const std::string kCapture = QUOTLINK_GOLDEN_DIR "/session.cap";
const std::string kTranscript = QUOTLINK_GOLDEN_DIR "/session.transcript";

// Those of the recorded session: YM, USDJPY and MSFT stream unwatched.
const std::vector<std::string> kSymbols = {"ES", "NQ",     "ZB",      "ZN", "CL",
                                           "GC", "EURUSD", "ES4500C", "IBM"};

// The replay starts as the feeder connects, this long after its start.
const int64_t kConnectMs = static_cast<int64_t>(kBindWaitSeconds * 1000);
// Quiet needed on either side of a status line: the timer's phase against the replay moves by
// a few milliseconds from run to run.
constexpr int64_t kStatusQuietMs = 100;
// The longest stretch of quotes that fits into a second with room for the feeder's start-up.
constexpr int64_t kLongestQuoteStretchMs = 600;

// The packet type of an image's last piece.
constexpr int kImageEnd = 8;

struct CaptureRecord {
  int64_t ms = 0;  // from the first record
  int type = -1;   // of the first frame in it; -1 without one
};

// The records of a capture; empty when it isn't one.
std::vector<CaptureRecord> ReadCapture(const std::string& capture) {
  const std::string magic = "QLCAPT01";
  constexpr size_t kHead = 13;  // time 8, path 1, byte count 4
  std::vector<CaptureRecord> records;
  if (capture.compare(0, magic.size(), magic) != 0) return records;
  auto little = [&capture](size_t at, int width) {
    uint64_t v = 0;
    for (int i = width - 1; i >= 0; --i)
      v = v << 8 | static_cast<uint8_t>(capture[at + static_cast<size_t>(i)]);
    return v;
  };
  for (size_t at = magic.size(); at + kHead <= capture.size();) {
    const size_t n = little(at + 9, 4);
    // Noise in front of a frame never holds the frame marker.
    const std::string bytes = capture.substr(at + kHead, n);
    const size_t marker = bytes.find('\x22');
    CaptureRecord r;
    r.ms = static_cast<int64_t>(little(at, 8) / 1000);
    if (marker != std::string::npos && marker + 1 < bytes.size())
      r.type = static_cast<uint8_t>(bytes[marker + 1]);
    records.push_back(r);
    at += kHead + n;
  }
  for (size_t i = records.size(); i-- > 0;)
    records[i].ms -= records.front().ms;
  return records;
}

// Sleeps until a feeder started at once puts replay time `ms` in the middle of a second of its
// bell, which counts the clock's whole seconds: its seconds turn where the clock's do.
void SleepUntilReplayTimeIsMidSecond(int64_t ms) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const int64_t lands = (now.tv_nsec / 1000000 + kConnectMs + ms) % 1000;
  std::this_thread::sleep_for(std::chrono::milliseconds((1500 - lands) % 1000));
}

std::string Mask(const std::string& output) {
  static const std::regex time_of_day("\"TimeV\":[^,}]*");
  // What the machine gives (a receive buffer capped for an unprivileged user) isn't the feed's.
  static const std::regex machine("notice: UDP: the kernel gives[^\n]*\n");
  return std::regex_replace(std::regex_replace(output, machine, ""), time_of_day, "\"TimeV\":#");
}

// Where `actual` first departs from `expected`, for people.
std::string FirstDifference(const std::string& expected, const std::string& actual) {
  std::istringstream e(expected), a(actual);
  std::string el, al;
  int line = 1;
  for (; std::getline(e, el) && std::getline(a, al) && el == al; ++line) {
  }
  return "the output departs from " + kTranscript + " at line " + std::to_string(line) +
         "\n  expected: " + el + "\n  actual:   " + al + "\n";
}

TEST(GoldenTranscriptTest, ReplayedSessionWritesTheTranscript) {
  const std::vector<CaptureRecord> records = ReadCapture(TempDir::Get(kCapture));
  ASSERT_GT(records.size(), 100u) << kCapture << " is no capture";
  const char* again = "; record the session again (golden/record_session.sh)";

  // The status timer starts with the feeder; it fires at these moments of the replay.
  const int64_t interval = QUOTLINKFRM::kTimer1IntervalMs;
  for (int64_t tick = (interval - kConnectMs % interval) % interval;
       tick <= records.back().ms + kStatusQuietMs; tick += interval) {
    for (const CaptureRecord& r : records) {
      ASSERT_GE(std::abs(r.ms - tick), kStatusQuietMs)
          << "a record at " << r.ms << " ms of the capture comes too near the status line at "
          << tick << " ms" << again;
    }
  }
  // Quotes ring from the end of the last image (the one taken) to the end.
  int64_t quotes_from = -1;
  for (const CaptureRecord& r : records) {
    if (r.type == kImageEnd) quotes_from = r.ms;
  }
  ASSERT_GE(quotes_from, 0) << "the capture holds no image" << again;
  const int64_t quotes_to = records.back().ms;
  ASSERT_LE(quotes_to - quotes_from, kLongestQuoteStretchMs)
      << "the quotes take too long to fit into one second" << again;

  TempDir dir;
  const int tcp = FreeLoopbackPort(SOCK_STREAM);
  const int udp = FreeLoopbackPort(SOCK_DGRAM);
  ChildProcess sim({QUOTLINK_FEEDSIM, "--listen", "127.0.0.1:" + std::to_string(tcp), "--udp-port",
                    std::to_string(udp), "--status-every", "0", "--replay", kCapture, "--symbols",
                    "ZZZ:spot", "--image-slow", "600000"},
                   dir.File("sim.log"));
  for (int i = 0; i < 100 && !LoopbackListening(tcp); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
  ASSERT_TRUE(LoopbackListening(tcp)) << "the simulator doesn't listen";

  std::vector<std::string> argv = {QUOTLINK_BIN,   "watch",
                                   "--folder",     dir.path() + "user",
                                   "--server",     "127.0.0.1:" + std::to_string(tcp),
                                   "--local-port", std::to_string(udp),
                                   "--json",       "--console=log"};
  argv.insert(argv.end(), kSymbols.begin(), kSymbols.end());
  SleepUntilReplayTimeIsMidSecond((quotes_from + quotes_to) / 2);
  ChildProcess feeder(argv, ChildProcess::kErrToOut);

  // Until the replay has ended and the feeder has been quiet for a status interval: the status
  // line after the last record, which comes within an interval, is always in; the later ones
  // have nothing new to say.
  std::string output;
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  auto last_output = std::chrono::steady_clock::now();
  for (;;) {
    const size_t before = output.size();
    feeder.ReadInto(&output);
    const auto now = std::chrono::steady_clock::now();
    if (output.size() != before) last_output = now;
    if (dir.Read("sim.log").find("replay done") != std::string::npos &&
        now - last_output > std::chrono::milliseconds(interval)) {
      break;
    }
    ASSERT_LT(now, give_up) << "the replay doesn't end\n" << dir.Read("sim.log") << output;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  feeder.Send("quit\n");
  EXPECT_EQ(feeder.Wait(), 0);
  feeder.ReadInto(&output);
  const std::string actual = Mask(output);

  if (const char* update = std::getenv("QUOTLINK_GOLDEN_UPDATE"); update && *update == '1') {
    TempDir::Put(kTranscript, actual);
    GTEST_SKIP() << "wrote " << kTranscript;
  }
  const std::string expected = TempDir::Get(kTranscript);
  if (actual != expected) {
    const std::string kept = ::testing::TempDir() + "quotlink_golden.transcript";
    TempDir::Put(kept, actual);
    ADD_FAILURE() << FirstDifference(expected, actual) << "the whole output is in " << kept
                  << "; QUOTLINK_GOLDEN_UPDATE=1 rewrites the transcript after an intended change";
  }
}

}  // namespace
}  // namespace quotlink
