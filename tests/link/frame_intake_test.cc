#include "link/frame_intake.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/feeder_fixture.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

class RecordingHost : public IntakeHost {
 public:
  void Pump() override { ++pumps; }
  void Beep() override { ++beeps; }
  void Deliver(ByteView frame) override { frames.emplace_back(frame); }
  bool Running() const override { return true; }
  std::vector<ByteString> frames;
  int pumps = 0;
  int beeps = 0;
};

struct IntakeTest : ::testing::Test {
  FeedBuffer buf;
  RecordingHost host;
  void Read(ByteView bytes, bool udp = false) {
    ASSERT_FALSE(buf.busy);
    TakeRead(buf, bytes, udp, host);
    EXPECT_FALSE(buf.busy);
  }
};

const ByteString kA = BuildFrame(20, "hello");
const ByteString kB = BuildFrame(14, ByteString("\0\x0c", 2));
const ByteString kC = BuildFrame(7, ByteString("body with \x22 marker \0 inside", 28));

TEST_F(IntakeTest, WholeInputThenByteByByteGiveTheSameFrames) {
  const ByteString stream = kA + kB + kC + kA;
  Read(stream);
  const auto whole = host.frames;
  EXPECT_EQ(whole, (std::vector<ByteString>{kA, kB, kC, kA}));

  host.frames.clear();
  FeedBuffer fresh;
  for (char c : stream)
    TakeRead(fresh, ByteView(&c, 1), false, host);
  EXPECT_EQ(host.frames, whole);
  EXPECT_EQ(fresh.size(), 0u);
}

TEST_F(IntakeTest, FrameSplitOverReadsGoesOutOnceWhenComplete) {
  Read(kC.substr(0, 3));
  Read(kC.substr(3, 10));
  EXPECT_TRUE(host.frames.empty());
  Read(kC.substr(13));
  ASSERT_EQ(host.frames.size(), 1u);
  EXPECT_EQ(host.frames[0], kC);
}

// Bytes that resynchronise or stall, and what stays behind in the buffer.
struct DropCase {
  const char* name;
  ByteString input;
  std::vector<ByteString> frames;
  ByteString left;  // what the buffer still holds
};

TEST_F(IntakeTest, ResynchronisationAndStalls) {
  const ByteString stall = BuildFrame(20, "x");  // L = 1
  const ByteString empty_body = BuildFrame(20, "");
  const std::vector<DropCase> cases = {
      {"garbage in front of a marker is dropped", "abc" + kA, {kA}, ""},
      {"fewer than 8 bytes decide nothing", kA.substr(0, 7), {}, kA.substr(0, 7)},
      {"L = 0 removes 8 bytes and ends the pass", empty_body + kA, {}, ByteString("\0\0", 2) + kA},
      {"L = 1 is a stall", stall + kA, {}, stall + kA},
      {"no marker, bytes 2 and 3 zero: 8 bytes go", ByteString("ab\0\0cdefgh", 10), {}, "gh"},
      {"no marker, a length: the bytes stay", "abcdefghij", {}, "abcdefghij"},
      {"an incomplete frame waits", kA.substr(0, 12), {}, kA.substr(0, 12)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FeedBuffer b;
    RecordingHost h;
    TakeRead(b, c.input, false, h);
    EXPECT_EQ(h.frames, c.frames);
    EXPECT_EQ(ByteString(b.view()), c.left);
    EXPECT_EQ(h.beeps, 0);
  }
}

TEST_F(IntakeTest, BytesWithoutMarkerAreCutOffByTheNextMarker) {
  Read("abcdefghij");
  Read(kA);
  EXPECT_EQ(host.frames, std::vector<ByteString>{kA});
}

TEST_F(IntakeTest, EmptyBodyLeavesTheNextFrameForTheNextEvent) {
  Read(BuildFrame(20, "") + kA);
  EXPECT_TRUE(host.frames.empty());
  Read("");
  EXPECT_EQ(host.frames, std::vector<ByteString>{kA});
}

TEST_F(IntakeTest, StallGrowsUntilTheLimitEmptiesItWithThreeBeeps) {
  const ByteString stall = BuildFrame(20, "x");
  Read(stall);
  const ByteString filler(60000, 'z');
  Read(filler);
  Read(filler);
  EXPECT_EQ(host.beeps, 0);
  EXPECT_EQ(buf.size(), stall.size() + 120000);
  Read(filler);
  EXPECT_EQ(host.beeps, 3);
  EXPECT_EQ(buf.size(), 0u);
  Read(kA);
  EXPECT_EQ(host.frames, std::vector<ByteString>{kA});
}

TEST_F(IntakeTest, LimitIsOnTheBufferAndExact) {
  // A frame of the largest length fits.
  const ByteString big = BuildFrame(20, ByteString(65535, '\x22'));
  EXPECT_EQ(big.size(), 65545u);
  Read(big);
  ASSERT_EQ(host.frames.size(), 1u);
  EXPECT_EQ(host.frames[0], big);

  // Marker-less bytes with a length in bytes 2 and 3 stay in the buffer.
  const ByteString part(100000, 'q');
  Read(part);
  Read(ByteString(80000, 'q'));  // exactly 180000: accepted
  EXPECT_EQ(host.beeps, 0);
  EXPECT_EQ(buf.size(), 180000u);

  FeedBuffer b2;
  RecordingHost h2;
  TakeRead(b2, part, false, h2);
  TakeRead(b2, ByteString(80001, 'q'), false, h2);
  EXPECT_EQ(h2.beeps, 3);
  EXPECT_EQ(b2.size(), 0u);
}

TEST_F(IntakeTest, UdpPumpsOncePerPass) {
  Read(kA + kB + kC, /*udp=*/true);
  EXPECT_EQ(host.frames.size(), 3u);
  EXPECT_EQ(host.pumps, 3);
}

TEST_F(IntakeTest, ManyFramesInOneReadDontMoveTheBufferPerFrame) {
  ByteString stream;
  for (int i = 0; i < 5000; ++i)
    stream += kA;
  Read(stream);
  EXPECT_EQ(host.frames.size(), 5000u);
  // The cut part is erased once, at the next append, not once per frame.
  EXPECT_EQ(buf.text.size(), stream.size());
  Read(kB);
  EXPECT_EQ(buf.text.size(), kB.size());
}

TEST(FeederIntakeTest, ArrivalDuringAPassOfTheSameSocketReadsNothing) {
  FeederFixture f;
  int nested = 0;
  f.bas.Link().frame_tap = [&](FeedPath, ByteView) {
    if (nested++ == 0) {
      f.udp.Queue(kB);
      f.bas.Link().UDP_DataArrival();  // busy: returns without reading
      EXPECT_TRUE(f.udp.HasQueued());
    }
  };
  f.udp.Arrive(kA);
  EXPECT_EQ(nested, 1);
  f.bas.Link().UDP_DataArrival();
  EXPECT_EQ(nested, 2);
}

TEST(FeederIntakeTest, UdpDropsWhatItReadsWhileTheImageIsPending) {
  FeederFixture f;
  f.udp.Arrive(kA.substr(0, 9));
  f.bas.Link().DatabasePending = 1;
  f.udp.Arrive(kB);
  EXPECT_FALSE(f.udp.HasQueued());
  EXPECT_EQ(f.bas.Link().Buffer(FeedPath::kUdp).size(),
            9u);  // stands still with its part of a frame
  f.bas.Link().DatabasePending = 0;
  f.udp.Arrive(kA.substr(9));
  EXPECT_EQ(f.frames.size(), 1u);
  // TCP goes on while pending.
  f.bas.Link().DatabasePending = 1;
  f.tcp.Arrive(kB);
  EXPECT_EQ(f.frames.size(), 2u);
}

TEST(FeederIntakeTest, OverflowBeepsThreeTimesOnTheConsole) {
  FeederFixture f;
  f.tcp.Arrive(ByteString(120000, 'a'));
  f.tcp.Arrive(ByteString(60001, 'a'));
  EXPECT_EQ(f.view.Count("beep"), 3);
  EXPECT_EQ(f.frm.beeps(), 3);
}

}  // namespace
}  // namespace quotlink
