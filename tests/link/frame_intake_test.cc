#include "link/frame_intake.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/link_fixture.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

struct RecordingHost : IntakeHost {
  void Pump() override { ++pumps; }
  void Beep() override { ++beeps; }
  void Deliver(ByteView frame) override { frames.emplace_back(frame); }
  bool Running() const override { return true; }
  std::vector<ByteString> frames;
  int pumps = 0;
  int beeps = 0;
};

const ByteString kA = BuildFrame(20, "hello");
const ByteString kB = BuildFrame(14, ByteString("\0\x0c", 2));
const ByteString kC = BuildFrame(7, ByteString("body with \x22 marker \0 inside", 28));

TEST(IntakeTest, WholeInputThenByteByByteGiveTheSameFrames) {
  const ByteString stream = kA + kB + kC + kA;
  for (size_t piece : {stream.size(), size_t{1}}) {
    FeedBuffer buf;
    RecordingHost host;
    for (size_t at = 0; at < stream.size(); at += piece)
      TakeRead(buf, ByteView(stream).substr(at, piece), /*pump_each_pass=*/piece > 1, host);
    EXPECT_EQ(host.frames, (std::vector<ByteString>{kA, kB, kC, kA})) << piece;
    EXPECT_EQ(host.pumps, piece > 1 ? 4 : 0);
    // The cut bytes are erased at the next append, not once per frame.
    EXPECT_EQ(buf.text.size(), piece > 1 ? stream.size() : kA.size());
  }
}

// Reads in turn, the frames they give, what stays behind and how often the limit beeped.
TEST(IntakeTest, ResynchronisationStallsAndTheLimit) {
  const ByteString stall = BuildFrame(20, "x");  // L = 1
  const ByteString empty = BuildFrame(20, "");
  const ByteString largest = BuildFrame(20, ByteString(65535, '\x22'));
  const ByteString q100k(100000, 'q');  // no marker, and a length in bytes 2 and 3
  const ByteString q80k(80000, 'q');
  const struct {
    const char* name;
    std::vector<ByteString> reads;
    std::vector<ByteString> frames;
    ByteString left;
    int beeps;
  } cases[] = {
      {"garbage in front of a marker goes", {"abc" + kA}, {kA}, "", 0},
      {"under 8 bytes decide nothing", {kA.substr(0, 7)}, {}, kA.substr(0, 7), 0},
      {"an incomplete frame waits", {kA.substr(0, 12)}, {}, kA.substr(0, 12), 0},
      {"L = 0 drops 8 bytes, ends the pass", {empty + kA}, {}, ByteString(2, 0) + kA, 0},
      {"L = 1 is a stall", {stall + kA}, {}, stall + kA, 0},
      {"no marker, a length: bytes stay", {"abcdefghij"}, {}, "abcdefghij", 0},
      {"the largest frame fits", {largest}, {largest}, "", 0},
      {"exactly the limit is held", {q100k, q80k}, {}, ByteString(180000, 'q'), 0},
      {"a stall grows until the limit, then frames go on", {stall, q100k, q80k, kA}, {kA}, "", 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FeedBuffer buf;
    RecordingHost host;
    for (const auto& read : c.reads)
      TakeRead(buf, read, false, host);
    EXPECT_EQ(host.frames, c.frames);
    EXPECT_EQ(ByteString(buf.view()), c.left);
    EXPECT_EQ(host.beeps, c.beeps);
  }
}

// Over the link's sockets: the limit beeps on the console; an event of the same socket in a
// pass's pump waits for the next event; UDP reads are thrown away while the image is pending.
TEST(LinkIntakeTest, OverTheSockets) {
  LinkFixture f;
  f.tcp.Arrive(ByteString(120000, 'a'));
  f.tcp.Arrive(ByteString(60001, 'a'));
  EXPECT_EQ(f.log.Take(), "beep\nbeep\nbeep\n");
  std::vector<ByteString> seen;
  f.link.frame_tap = [&](FeedPath, ByteView frame) { seen.emplace_back(frame); };
  f.At(1, [&] { f.udp.Arrive(kB); });  // due at the pump on top of the first pass
  f.clock.Advance(1);
  f.udp.Arrive(kA);
  EXPECT_EQ(seen, std::vector<ByteString>{kA});
  f.link.UDP_DataArrival();
  EXPECT_EQ(seen, (std::vector<ByteString>{kA, kB}));

  f.udp.Arrive(kA.substr(0, 9));
  f.link.DatabasePending = 1;
  f.udp.Arrive(kC);
  f.tcp.Arrive(kC);
  f.link.DatabasePending = 0;
  f.udp.Arrive(kA.substr(9));
  EXPECT_EQ(seen, (std::vector<ByteString>{kA, kB, kC, kA}));
}

}  // namespace
}  // namespace quotlink
