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
  f.tcp.dropped_sends = 1;               // as if the server had stopped reading
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
            "transaction\nnotice: TCP: dropped 1 requests the server didn't read in time (1 in "
            "all)\nparse 79996 bytes\nInfo1: Database OK.\nrecord/2 40010 bytes\n"
            "quotes 40010 bytes\nrecord/4 40010 bytes\nMensagem: Packets TCP/UDP = 5 , 2147483640\n"
            "Mensagem: Packets TCP/UDP = 5 , 0\n");
}

// By default only the feed server's host is heard on UDP: one stranger's datagram (an image
// start of another version, then an image end) would otherwise hold every quote until a
// restart. Refusals are told as a notice, at most once a second.
TEST(DispatchTest, DatagramsFromStrangersAreRefusedAndToldAtMostOnceASecond) {
  const ByteString spoof = BuildFrame(kTypeImageFirst, ByteString("\x09\x03\x00\x07", 4)) +
                           BuildFrame(kTypeImageEnd, ByteString(4, '\0'));
  LinkFixture f;
  f.settings.FeedAddress = "10.0.0.5";
  f.link.ApplySocketSettings();
  f.link.FeedVerified = f.link.QuotesEnabled = 1;
  f.log.Take();
  f.udp.Arrive(spoof, "10.6.6.6");
  f.udp.Arrive(spoof, "10.6.6.7");
  EXPECT_EQ(f.link.DatabasePending, 0);
  f.clock.Advance(999);
  f.udp.Arrive(spoof, "10.6.6.6");
  f.clock.Advance(1);
  f.udp.Arrive(BuildFrame(kTypeQuotes, "abc"));  // the feed's own: taken
  EXPECT_EQ(f.log.Take(),
            "notice: UDP: refused 1 datagrams from hosts other than the feed's (1 in all)\n"
            "notice: UDP: refused 2 datagrams from hosts other than the feed's (3 in all)\n"
            "Mensagem: Packets TCP/UDP = 0 , 1\nquotes 13 bytes\n");
  f.decoders.accept = false;  // a version other than the one asked for is refused
  f.udp.Arrive(spoof);        // and from the feed's host the same bytes do what they say
  EXPECT_NE(f.link.DatabasePending, 0);

  // Other hosts are named, or any host is taken; a list of nothing names the feed's host.
  const std::pair<const char*, std::vector<std::string>> policies[] = {
      {"any", {}}, {" h1 ,h2,", {"h1", "h2"}}, {", ,", {"10.0.0.5"}}};
  for (const auto& [udp_from, sources] : policies) {
    f.settings.UdpFrom = udp_from;
    f.link.ApplySocketSettings();
    EXPECT_EQ(f.udp.AcceptedSources(), sources) << udp_from;
  }
}

}  // namespace
}  // namespace quotlink
