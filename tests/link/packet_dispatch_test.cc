#include "link/packet_dispatch.h"

#include <gtest/gtest.h>

#include "tests/support/feeder_fixture.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

struct DispatchTest : ::testing::Test {
  FeederFixture f;
  void Tcp(ByteView frame) { f.bas.Link().ProcessPacketTCP(frame); }
  void Udp(ByteView frame) { f.bas.Link().ProcessPacketUDP(frame); }
  LampColor lamp() const { return f.frm.Picture1.Color(); }
};

TEST_F(DispatchTest, TestPacketVerifiesOnEitherPathAndPaintsCyan) {
  for (bool tcp : {true, false}) {
    FeederFixture g;
    tcp ? g.bas.Link().ProcessPacketTCP(TestPacket()) : g.bas.Link().ProcessPacketUDP(TestPacket());
    EXPECT_EQ(g.bas.Link().FeedVerified, 1);
    EXPECT_EQ(g.frm.Picture1.Color(), LampColor::kLightCyan);
  }
}

TEST_F(DispatchTest, TestPacketMustMatchTextAndLength) {
  ByteString longer(TestPacket());
  const std::vector<ByteString> wrong = {
      BuildFrame(10, ByteView("\0This is a test string to help those who are testing", 52)),
      BuildFrame(10, ByteView("\0This is a test string to help those who are testing..", 54)),
      BuildFrame(10, ByteView("xThis is a test string to help those who are testing.", 53)),
  };
  for (const auto& frame : wrong) {
    Tcp(frame);
    EXPECT_EQ(f.bas.Link().FeedVerified, 0);
    EXPECT_EQ(lamp(), LampColor::kLightRed);  // handled like an unknown type
  }
}

TEST_F(DispatchTest, TestPacketTextIsTheFeeds) {
  // Spelled out here: TestPacket() takes the text from the same constant as the check, so a slip
  // in that constant would pass every other test.
  Tcp(BuildFrame(10, ByteView("\0This is a test string to help those who are testing.", 53)));
  EXPECT_EQ(f.bas.Link().FeedVerified, 1);
}

TEST_F(DispatchTest, UnverifiedFramesOnlyPaintTheLampAndAreCounted) {
  Tcp(StatusPacket(12));
  Udp(StatusPacket(12));
  EXPECT_EQ(f.bas.Link().WatchListCleared, 0);
  EXPECT_EQ(lamp(), LampColor::kLightRed);
  EXPECT_EQ(f.bas.Link().TcpPacketCount, 1);
  EXPECT_EQ(f.bas.Link().UdpPacketCount, 1);
  // A later test packet repaints cyan; once verified only a test packet paints again.
  Udp(TestPacket());
  EXPECT_EQ(lamp(), LampColor::kLightCyan);
  Tcp(BuildFrame(99, "zz"));
  EXPECT_EQ(lamp(), LampColor::kLightCyan);
}

TEST_F(DispatchTest, StatusPacketCodes) {
  f.bas.Link().FeedVerified = 1;
  f.bas.Link().DatabasePending = 1;  // honoured while the image is pending
  Tcp(StatusPacket(5));
  EXPECT_EQ(f.frm.Info1.Caption(), "Refresh ON");
  Udp(StatusPacket(6));
  EXPECT_EQ(f.frm.Info1.Caption(), "Refresh OFF");
  Tcp(StatusPacket(99));
  EXPECT_EQ(f.frm.Info1.Caption(), "Refresh OFF");
  EXPECT_EQ(f.bas.Link().WatchListCleared, 0);
  Udp(StatusPacket(12));
  EXPECT_EQ(f.bas.Link().WatchListCleared, 1);
}

TEST_F(DispatchTest, Type34DiffersBetweenThePaths) {
  Tcp(BuildFrame(34, "ab"));
  EXPECT_EQ(lamp(), LampColor::kUnpainted);  // stopped after counting
  EXPECT_EQ(f.bas.Link().TcpPacketCount, 1);
  Udp(BuildFrame(34, "ab"));
  EXPECT_EQ(lamp(), LampColor::kLightRed);
}

TEST_F(DispatchTest, StatusLineOnEveryUdpFrameOnly) {
  Tcp(BuildFrame(20, "abc"));
  EXPECT_EQ(f.frm.Mensagem.Caption(), "");
  Udp(BuildFrame(20, "abc"));
  EXPECT_EQ(f.frm.Mensagem.Caption(), "Packets TCP/UDP = 1 , 1");
  f.frm.Timer1_Timer();
  EXPECT_EQ(f.frm.Mensagem.Caption(), "Packets TCP/UDP = 1 , 1");
}

TEST_F(DispatchTest, CountWrapsAboveItsBound) {
  f.bas.Link().UdpPacketCount = 2147483639;
  Udp(BuildFrame(20, "a"));
  EXPECT_EQ(f.frm.Mensagem.Caption(), "Packets TCP/UDP = 0 , 2147483640");
  Udp(BuildFrame(20, "a"));
  EXPECT_EQ(f.bas.Link().UdpPacketCount, 0);
  EXPECT_EQ(f.frm.Mensagem.Caption(), "Packets TCP/UDP = 0 , 0");
}

TEST_F(DispatchTest, ShortFramesAreNotCounted) {
  Tcp(ByteString("\x22\x14\0\0\0\0\0\0\0\0", 10));
  Tcp("");
  EXPECT_EQ(f.bas.Link().TcpPacketCount, 0);
}

TEST_F(DispatchTest, HugeBodyLengthsBringNothingDown) {
  // Lengths of 32768 and more read negative in the processor.
  for (uint8_t type : {6, 7, 8, 10, 13, 14, 20, 28}) {
    ByteString body(40000, '\0');
    Tcp(BuildFrame(type, body));
    Udp(BuildFrame(type, body));
  }
  EXPECT_EQ(f.bas.Link().FeedVerified, 0);
  f.bas.Link().FeedVerified = 1;
  f.bas.Link().QuotesEnabled = 1;
  for (uint8_t type : {6, 7, 8, 10, 13, 14, 20, 28})
    Udp(BuildFrame(type, ByteString(40000, 'x')));
  // The image pieces of the huge frames went through a whole transfer, refused as garbage.
  EXPECT_EQ(f.frm.ComunicationOK, 1);
  EXPECT_EQ(f.bas.Link().DatabasePending, 1);
}

TEST_F(DispatchTest, FramesOnALiveSocketReachTheProcessor) {
  f.udp.Arrive(TestPacket() + StatusPacket(5));
  EXPECT_EQ(f.bas.Link().FeedVerified, 1);
  EXPECT_EQ(f.frm.Info1.Caption(), "Refresh ON");
  EXPECT_EQ(f.view.Count("Picture1: cyan"), 1);
  EXPECT_EQ(f.view.Count("Info1: Refresh ON"), 1);
}

}  // namespace
}  // namespace quotlink
