// The simulator on loopback sockets, served by the test's own loop and started from the command
// lines that the end-to-end tests give it: the faults they ask for must really be on the wire,
// or those tests would pass without testing anything, and a recorded session must replay.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <sstream>

#include "platform/clock.h"
#include "platform/poll_loop.h"
#include "tests/support/temp_dir.h"
#include "tools/feedsim/feed_server.h"
#include "tools/feedsim/sim_format.h"
#include "tools/feedsim/wire_frames.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::feedsim {
namespace {

sockaddr_in Loopback(int port) {
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(static_cast<uint16_t>(port));
  return a;
}

// The whole frames in `bytes`; `*junk` counts the bytes that stood before a marker.
std::vector<ByteString> Frames(ByteView bytes, size_t* junk = nullptr) {
  std::vector<ByteString> frames;
  for (size_t pos = 0;;) {
    const size_t marker = bytes.find(static_cast<char>(kFrameMarker), pos);
    const int32_t body = marker == ByteView::npos ? -1 : BodyLengthAt(bytes, marker);
    if (body < 0 || marker + static_cast<size_t>(body) + kFrameOverhead > bytes.size()) break;
    if (junk != nullptr) *junk += marker - pos;
    frames.emplace_back(bytes.substr(marker, static_cast<size_t>(body) + kFrameOverhead));
    pos = marker + frames.back().size();
  }
  return frames;
}

int QuotesIn(const std::vector<ByteString>& frames) {
  int n = 0;
  for (const ByteString& f : frames)
    n += ByteAt(f, 1) == kTypeQuotes && f.size() > 16 ? ByteAt(f, 15) : 0;
  return n;
}

// One simulator, started from the words of `command_line`, and one client of it on TCP and UDP.
struct SimLink {
  SystemClock clock;
  PollLoop loop{&clock};
  int udp = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  int tcp = socket(AF_INET, SOCK_STREAM, 0);
  std::unique_ptr<FeedServer> server;
  ByteString tcp_in, udp_in;  // udp_in: the datagrams' bytes run together
  std::vector<ByteString> datagrams;

  explicit SimLink(const std::string& command_line) {
    std::vector<std::string> args;
    std::istringstream words(command_line);
    for (std::string w; words >> w;)
      args.push_back(w);
    sockaddr_in a = Loopback(0);
    socklen_t len = sizeof a;
    EXPECT_EQ(bind(udp, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    getsockname(udp, reinterpret_cast<sockaddr*>(&a), &len);
    SimOptions o;
    std::string error;
    EXPECT_EQ(ParseOptions(args, &o, &error), ParseResult::kRun) << error;
    o.listen_port = 0;
    o.udp_port = ntohs(a.sin_port);
    server = std::make_unique<FeedServer>(&loop, o, nullptr);
    const Status s = server->Start();
    EXPECT_TRUE(s.ok()) << s.message();
    a = Loopback(server->port());
    EXPECT_EQ(connect(tcp, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    fcntl(tcp, F_SETFL, O_NONBLOCK);
  }
  ~SimLink() {
    server.reset();
    close(tcp);
    close(udp);
  }
  bool PumpUntil(const std::function<bool()>& done, int ms = 3000) {
    char buf[65536];
    for (const int64_t end = clock.MonotonicMs() + ms; clock.MonotonicMs() < end;) {
      loop.RunOnce(2);
      for (ssize_t n; (n = recv(tcp, buf, sizeof buf, 0)) > 0;)
        tcp_in.append(buf, static_cast<size_t>(n));
      for (ssize_t n; (n = recv(udp, buf, sizeof buf, 0)) > 0;) {
        datagrams.emplace_back(buf, static_cast<size_t>(n));
        udp_in += datagrams.back();
      }
      if (done()) return true;
    }
    return false;
  }
};

TEST(FeedsimServer, StreamGoesOnThePathsAndWithTheFaultsAsked) {
  const struct {
    const char* args;
    bool tcp, udp, split, garbage;
  } cases[] = {
      // Datagrams sent faster than the test reads them are lost in the kernel: only TCP goes
      // as fast as the link takes it.
      {"--path both --rate 20000", true, true, false, false},
      {"--path tcp --rate 0 --garbage", true, false, false, true},
      {"--path udp --rate 20000 --split-datagrams", false, true, true, false},
      {"--path udp --rate 20000 --garbage --split-datagrams", false, true, true, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args);
    SimLink link(std::string("--count 400 ") + c.args);
    auto quotes = [&] { return QuotesIn(Frames(link.tcp_in)) + QuotesIn(Frames(link.udp_in)); };
    ASSERT_TRUE(link.PumpUntil([&] { return quotes() >= 400; })) << link.server->StatusLine();
    link.PumpUntil([] { return false; }, 30);
    // A batch may end past the count, never by more than one packet's quotes.
    EXPECT_EQ(static_cast<uint64_t>(quotes()), link.server->stats().quotes);
    EXPECT_LE(quotes(), 403);
    EXPECT_EQ(QuotesIn(Frames(link.tcp_in)) > 0, c.tcp);
    EXPECT_EQ(!link.datagrams.empty(), c.udp);
    size_t junk = 0;
    for (const ByteView bytes : {ByteView(link.udp_in), ByteView(link.tcp_in)}) {
      for (const ByteString& f : Frames(bytes, &junk))
        EXPECT_TRUE(ByteAt(f, 1) == kTypeQuotes || f == TestPacket());
    }
    EXPECT_EQ(junk > 0, c.garbage);
    bool cut_frame = false;
    for (const ByteString& d : link.datagrams) {
      const std::vector<ByteString> f = Frames(d);
      cut_frame = cut_frame || f.size() != 1 || f[0].size() != d.size();
    }
    EXPECT_EQ(cut_frame, c.split || (c.garbage && c.udp));
  }
}

TEST(FeedsimServer, RecordedSessionReplaysByteForByte) {
  TempDir dir;
  ByteString sent;
  {
    SimLink link("--rate 0 --count 100 --path tcp --record " + dir.File("cap"));
    ASSERT_TRUE(link.PumpUntil([&] { return QuotesIn(Frames(link.tcp_in)) >= 100; }));
    const ByteString request("\x44\x1C\0\0\0\x64\0\0", kRequestSize);
    ASSERT_EQ(send(link.tcp, request.data(), request.size(), 0), 8);
    ASSERT_TRUE(
        link.PumpUntil([&] { return ByteAt(Frames(link.tcp_in).back(), 1) == kTypeStatus; }));
    sent = link.tcp_in;
  }
  SimLink replay("--replay " + dir.File("cap") + " --fast");
  // Its own greeting, then the recorded bytes, whose first frame is the recorded greeting.
  ASSERT_TRUE(
      replay.PumpUntil([&] { return replay.tcp_in.size() >= sent.size() + TestPacket().size(); }));
  EXPECT_EQ(replay.tcp_in, TestPacket() + sent);
  EXPECT_TRUE(replay.datagrams.empty());
}

}  // namespace
}  // namespace quotlink::feedsim
