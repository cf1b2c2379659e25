#include "link/packet_dispatch.h"

#include <gtest/gtest.h>

#include "link/feed_requests_format.h"
#include "tests/support/link_fixture.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

constexpr FeedPath T = FeedPath::kTcp;
constexpr FeedPath U = FeedPath::kUdp;

// The gates of the processors: what one frame does from a state of the flags ('v' verified, 'p'
// image pending, 'q' quotes enabled), as the console log, the decoders and the flags show it.
TEST(DispatchTest, Gates) {
  const std::string udp = "Mensagem: Packets TCP/UDP = 0 , 1\n";
  const std::string red = "Picture1: red\n";
  // Spelled out here: TestPacket() takes the text from the same constant as the check.
  const ByteString text("\0This is a test string to help those who are testing.", 53);
  const struct {
    const char* state;
    FeedPath path;
    ByteString frame;
    std::string out;
  } cases[] = {
      {"", T, BuildFrame(10, text), "Picture1: cyan\n+verified"},
      {"", T, BuildFrame(10, "x" + text.substr(1)), red},
      {"", T, BuildFrame(34, "ab"), ""},  // TCP stops type 34 at once
      {"", U, BuildFrame(34, "ab"), udp + red},
      {"pq", T, BuildFrame(20, "abc"), ""},  // pending drops quotes before the lamp
      {"pq", T, BuildFrame(13, "abc"), ""},
      {"v", U, StatusPacket(6), udp + "Info1: Refresh OFF\n+verified"},
      {"vp", U, StatusPacket(12), udp + "+verified+cleared"},
      {"vpq", T, BuildFrame(28, "abc"), "+verified"},
      {"v", T, BuildFrame(20, "abc"), "+verified"},
      {"vq", U, BuildFrame(20, "abc"), udp + "quotes 13 bytes\n+verified"},
      {"vq", T, BuildFrame(13, "abc"), "record/2 13 bytes\n+verified"},
      {"vq", T, BuildFrame(28, "abcd"), "record/4 14 bytes\n+verified"},
  };
  for (const auto& c : cases) {
    LinkFixture f;
    const std::string state = c.state;
    f.link.FeedVerified = state.find('v') != std::string::npos;
    f.link.DatabasePending = state.find('p') != std::string::npos;
    f.link.QuotesEnabled = state.find('q') != std::string::npos;
    c.path == T ? f.link.ProcessPacketTCP(c.frame) : f.link.ProcessPacketUDP(c.frame);
    EXPECT_EQ(f.log.Take() + (f.link.FeedVerified ? "+verified" : "") +
                  (f.link.WatchListCleared ? "+cleared" : ""),
              c.out)
        << &c - cases;
  }
}

// Counts show on every UDP frame and wrap above their bound; frames too short to count, and
// body lengths that read negative, bring nothing down.
TEST(DispatchTest, CountsFailedSendsAndHostileLengths) {
  LinkFixture f;
  f.link.SendRequest(kRequestTest, "");  // not connected yet
  f.tcp.RaiseConnect();
  f.link.FeedVerified = 1;
  f.link.QuotesEnabled = 1;
  f.link.ProcessPacketTCP(ByteString("\x22\x14\0\0\0\0\0\0\0\0", 10));
  for (uint8_t type : {6, 7, 8, 10, 13, 14, 20, 28})
    f.link.ProcessPacketTCP(BuildFrame(type, ByteString(40000, 'x')));
  f.link.UdpPacketCount = 2147483639;
  f.link.ProcessPacketUDP(BuildFrame(99, "a"));
  f.link.ProcessPacketUDP(BuildFrame(99, "a"));
  // Image pieces are cut by the unsigned length (2 x 39998 bytes); the end resets the TCP count.
  EXPECT_EQ(f.log.Take(),
            "Mensagem: TCP is not working - Wrong protocol or connection state for the requested "
            "transaction\nparse 79996 bytes\nInfo1: Database OK.\nrecord/2 40010 bytes\n"
            "quotes 40010 bytes\nrecord/4 40010 bytes\nMensagem: Packets TCP/UDP = 5 , 2147483640\n"
            "Mensagem: Packets TCP/UDP = 5 , 0\n");
}

}  // namespace
}  // namespace quotlink
