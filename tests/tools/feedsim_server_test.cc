// The simulator on real loopback sockets, driven from the test's own loop: greeting, answers to
// requests, the image, the stream and its faults, replacement of a client, capture and replay.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>

#include "database/feed_database.h"
#include "platform/clock.h"
#include "platform/poll_loop.h"
#include "tests/support/temp_dir.h"
#include "tools/feedsim/feed_server.h"
#include "tools/feedsim/sim_format.h"
#include "tools/feedsim/wire_frames.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::feedsim {
namespace {

const ByteString kV1("\x09\x03\x00\x01", 4);
const ByteString kV2("\x09\x03\x00\x02", 4);

int BoundUdp(int* port) {
  const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  socklen_t len = sizeof a;
  getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
  *port = ntohs(a.sin_port);
  return fd;
}

// Whole frames from the front of `bytes`, skipping what stands before a marker.
std::vector<ByteString> Frames(ByteView bytes) {
  std::vector<ByteString> frames;
  size_t pos = 0;
  for (;;) {
    pos = bytes.find(static_cast<char>(kFrameMarker), pos);
    const int32_t body = pos == ByteView::npos ? -1 : BodyLengthAt(bytes, pos);
    if (body < 0 || pos + static_cast<size_t>(body) + kFrameOverhead > bytes.size()) break;
    frames.emplace_back(bytes.substr(pos, static_cast<size_t>(body) + kFrameOverhead));
    pos += frames.back().size();
  }
  return frames;
}

int QuotesIn(const std::vector<ByteString>& frames) {
  int n = 0;
  for (const ByteString& f : frames) {
    if (ByteAt(f, 1) == kTypeQuotes && f.size() > 16) n += ByteAt(f, 15);
  }
  return n;
}

// One simulator and one client of it, both served by the test's loop.
struct SimLink {
  SystemClock clock;
  PollLoop loop{&clock};
  int udp_port = 0;
  int udp = BoundUdp(&udp_port);
  std::unique_ptr<FeedServer> server;
  std::vector<std::string> log;
  int tcp = -1;
  bool tcp_closed = false;
  ByteString tcp_in;
  std::vector<ByteString> datagrams;

  ~SimLink() {
    server.reset();
    if (tcp >= 0) close(tcp);
    close(udp);
  }
  // Starts a simulator with `o` on a free port, sending UDP to this link; nothing streams
  // unless `o.stream` says so.
  void Start(SimOptions o) {
    o.listen_host = "127.0.0.1";
    o.listen_port = 0;
    o.udp_port = udp_port;
    server = std::make_unique<FeedServer>(&loop, std::move(o),
                                          [this](const std::string& l) { log.push_back(l); });
    const Status s = server->Start();
    ASSERT_TRUE(s.ok()) << s.message();
  }
  int Connect() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(static_cast<uint16_t>(server->port()));
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    fcntl(fd, F_SETFL, O_NONBLOCK);
    return fd;
  }
  // Connects, and waits for the greeting.
  void Open() {
    tcp = Connect();
    ASSERT_TRUE(PumpUntil([&] { return !Frames(tcp_in).empty(); }));
    ASSERT_EQ(Frames(tcp_in)[0], TestPacket());
    // The stream may have come in the same read: keep it.
    tcp_in.erase(0, TestPacket().size());
  }
  void Send(uint8_t code, ByteView data) {
    ByteString r;
    r.push_back(static_cast<char>(kRequestLeadByte));
    r.push_back(static_cast<char>(code));
    r.append(data.substr(0, 4));
    r.append(2, '\0');
    ASSERT_EQ(send(tcp, r.data(), r.size(), 0), 8);
  }
  void Drain() {
    char buf[65536];
    ssize_t n = -1;
    while (tcp >= 0 && (n = recv(tcp, buf, sizeof buf, 0)) != 0) {
      if (n < 0) break;
      tcp_in.append(buf, static_cast<size_t>(n));
    }
    if (tcp >= 0 && n == 0) tcp_closed = true;
    while ((n = recv(udp, buf, sizeof buf, 0)) > 0)
      datagrams.emplace_back(buf, static_cast<size_t>(n));
  }
  bool PumpUntil(const std::function<bool()>& done, int ms = 3000) {
    const int64_t end = clock.MonotonicMs() + ms;
    while (clock.MonotonicMs() < end) {
      loop.RunOnce(2);
      Drain();
      if (done()) return true;
    }
    return false;
  }
  void PumpFor(int ms) {
    PumpUntil([] { return false; }, ms);
  }
  ByteString UdpBytes() const {
    ByteString all;
    for (const ByteString& d : datagrams)
      all += d;
    return all;
  }
};

TEST(FeedsimServer, StatusRequestsGetTheirStatusPackets) {
  SimLink link;
  SimOptions o;
  o.stream = false;
  link.Start(o);
  link.Open();
  struct Case {
    uint8_t code;
    std::vector<ByteString> answer;
  };
  const Case cases[] = {
      {28, {StatusPacket(kStatusWatchListCleared)}},
      {14, {StatusPacket(kStatusRefreshOn)}},
      {13, {}},
      {99, {}},
  };
  for (const Case& c : cases) {
    link.tcp_in.clear();
    link.Send(c.code, ByteString("\0\0\0\x64", 4));
    link.PumpUntil(
        [&] { return Frames(link.tcp_in).size() >= c.answer.size() && !c.answer.empty(); },
        c.answer.empty() ? 100 : 3000);
    EXPECT_EQ(Frames(link.tcp_in), c.answer) << "request " << int{c.code};
  }
  EXPECT_EQ(link.server->stats().requests, 4u);
}

TEST(FeedsimServer, ImageComesInTheVersionAskedForOrItsOwn) {
  struct Case {
    const char* name;
    std::vector<ByteString> held;
    bool wrong;
    ByteString asked;
    bool accepted;
  };
  const Case cases[] = {
      {"own version", {kV1}, false, kV1, true},
      {"version not held", {kV1}, false, kV2, false},
      {"second version held", {kV1, kV2}, false, kV2, true},
      {"--wrong-version", {kV1}, true, kV1, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    SimLink link;
    SimOptions o;
    o.stream = false;
    o.responder.versions = c.held;
    o.responder.wrong_version = c.wrong;
    o.responder.image_piece = 300;
    link.Start(o);
    link.Open();
    link.Send(5, c.asked);
    ASSERT_TRUE(link.PumpUntil([&] {
      const auto f = Frames(link.tcp_in);
      return !f.empty() && ByteAt(f.back(), 1) == kTypeImageEnd;
    }));
    const std::vector<ByteString> frames = Frames(link.tcp_in);
    ASSERT_GE(frames.size(), 4u);  // 6, at least two 7, 8
    ByteString image;
    for (size_t i = 0; i < frames.size(); ++i) {
      const uint8_t want = i == 0                   ? kTypeImageFirst
                           : i + 1 == frames.size() ? kTypeImageEnd
                                                    : kTypeImagePiece;
      EXPECT_EQ(ByteAt(frames[i], 1), want) << "frame " << i;
      image += frames[i].substr(10, frames[i].size() - 12);
    }
    FeedDatabase db;
    const ImageParse r = ParseFeedImage(image, c.asked, &db, {});
    EXPECT_EQ(r.kind, c.accepted ? ImageParseKind::kAccepted : ImageParseKind::kWrongVersion)
        << r.reason;
    if (c.accepted) {
      EXPECT_EQ(db.DatabaseCount(), 4);
      EXPECT_EQ(db.SecTypeNumbers().FuturesSecType, 7);
    } else {
      EXPECT_NE(image.substr(0, 4), c.asked);
    }
  }
}

TEST(FeedsimServer, InstrumentRequestsGetItsRecordAndItsQuote) {
  SimLink link;
  SimOptions o;
  o.stream = false;
  link.Start(o);
  FeedDatabase db;
  ASSERT_EQ(ParseFeedImage(link.server->universe().Image(kV1), kV1, &db, {}).kind,
            ImageParseKind::kAccepted);
  link.Open();
  const Universe& u = link.server->universe();
  struct Case {
    size_t instrument;
    uint8_t second;  // 33 or 7
    uint8_t type;
    size_t head;  // bytes in front of the record, trailer included
  };
  const Case cases[] = {
      {0, 33, kTypeRecord2, 16},   // ES
      {3, 33, kTypeRecord2, 16},   // ZB
      {7, 33, kTypeRecord2, 16},   // EURUSD
      {11, 33, kTypeRecord2, 16},  // MSFT
      {9, 7, kTypeQuotes, 0},      // ES4500C
      {10, 7, kTypeQuotes, 0},     // IBM
  };
  for (const Case& c : cases) {
    const Instrument& inst = u.at(c.instrument);
    SCOPED_TRACE(inst.symbol);
    const ByteString key = u.WireKey(inst.kind);
    link.tcp_in.clear();
    link.Send(11, key);
    link.Send(c.second, ByteString("\0\0", 2) + ByteString{static_cast<char>(inst.code >> 8),
                                                           static_cast<char>(inst.code & 0xFF)});
    ASSERT_TRUE(link.PumpUntil([&] { return !Frames(link.tcp_in).empty(); }));
    const ByteString f = Frames(link.tcp_in)[0];
    EXPECT_EQ(ByteAt(f, 1), c.type);
    EXPECT_EQ(f.substr(8, 4), key);
    const int16_t d = FindDatabaseIndex(db, f.substr(8, 4));
    ASSERT_GT(d, 0);
    const DatabaseRec& rec = *db.Database(d);
    int32_t full = 0;
    for (int32_t j = 1; j <= rec.CountB; ++j)
      full += rec.Slot(j).Length;
    if (c.type == kTypeRecord2) {
      EXPECT_EQ(BigEndian16(f, 12), inst.code);
      // Longer than LengthA: the feeder reads all CountB fields.
      EXPECT_EQ(static_cast<int32_t>(f.size() - c.head), full);
      EXPECT_NE(full, rec.LengthA);
    } else {
      const size_t width = ByteAt(f, 13);
      EXPECT_EQ(ByteAt(f, 12), 4);  // positional, all CountB fields
      EXPECT_EQ(ByteAt(f, 15), 1);  // one quote
      EXPECT_EQ(f.substr(16, inst.symbol.size()), inst.symbol);
      EXPECT_EQ(BigEndian16(f, 16 + width), inst.code);
      EXPECT_EQ(ByteAt(f, 16 + width + 2), full);  // C: the record's length
      EXPECT_EQ(f.size(), 16 + width + 3 + static_cast<size_t>(full) + 2);
    }
  }
  // A code that no instrument has under the key: no answer.
  link.tcp_in.clear();
  link.Send(11, u.WireKey(InstrumentKind::kFuture));
  link.Send(33, ByteString("\0\0\0\x01", 4));
  link.PumpFor(100);
  EXPECT_TRUE(link.tcp_in.empty());
}

TEST(FeedsimServer, WideRecordsCarryAFourByteCode) {
  SimLink link;
  SimOptions o;
  o.stream = false;
  o.responder.wide_records = true;
  link.Start(o);
  link.Open();
  const Instrument& es = link.server->universe().at(0);
  link.Send(11, link.server->universe().WireKey(es.kind));
  link.Send(33, ByteString("\0\0", 2) +
                    ByteString{static_cast<char>(es.code >> 8), static_cast<char>(es.code & 0xFF)});
  ASSERT_TRUE(link.PumpUntil([&] { return !Frames(link.tcp_in).empty(); }));
  const ByteString f = Frames(link.tcp_in)[0];
  EXPECT_EQ(ByteAt(f, 1), kTypeRecord4);
  EXPECT_EQ(BigEndian16(f, 12), 0u);
  EXPECT_EQ(BigEndian16(f, 14), es.code);
}

struct StreamCase {
  const char* name;
  StreamPath path;
  bool split;
  bool garbage;
};

TEST(FeedsimServer, StreamSendsTheCountOfQuotesOnItsPaths) {
  const StreamCase cases[] = {
      {"both paths", StreamPath::kBoth, false, false},
      {"tcp with garbage", StreamPath::kTcp, false, true},
      {"udp split across datagrams", StreamPath::kUdp, true, false},
      {"udp split with garbage", StreamPath::kUdp, true, true},
  };
  for (const StreamCase& c : cases) {
    SCOPED_TRACE(c.name);
    SimLink link;
    SimOptions o;
    // Datagrams sent faster than the test reads them are lost in the kernel: only TCP goes
    // as fast as the link takes it.
    o.rate = c.path == StreamPath::kTcp ? 0 : 20000;
    o.count = 400;
    o.path = c.path;
    o.split_datagrams = c.split;
    o.garbage = c.garbage;
    link.Start(o);
    link.Open();
    auto quotes = [&] { return QuotesIn(Frames(link.tcp_in)) + QuotesIn(Frames(link.UdpBytes())); };
    ASSERT_TRUE(link.PumpUntil([&] { return quotes() >= 400; })) << link.server->StatusLine();
    link.PumpFor(30);
    // A batch may end past the count, never by more than one packet's quotes.
    EXPECT_GE(static_cast<uint64_t>(quotes()), 400u);
    EXPECT_EQ(static_cast<uint64_t>(quotes()), link.server->stats().quotes);
    EXPECT_LE(quotes(), 403);
    const bool tcp_used = c.path != StreamPath::kUdp;
    const bool udp_used = c.path != StreamPath::kTcp;
    EXPECT_EQ(QuotesIn(Frames(link.tcp_in)) > 0, tcp_used);
    EXPECT_EQ(!link.datagrams.empty(), udp_used);
    bool cut_frame = false;
    for (const ByteString& d : link.datagrams) {
      const bool whole =
          ByteAt(d, 0) == kFrameMarker && Frames(d).size() == 1 && Frames(d)[0].size() == d.size();
      cut_frame = cut_frame || !whole;
    }
    EXPECT_EQ(cut_frame, c.split || (c.garbage && udp_used));
    for (const ByteString& f : Frames(link.UdpBytes() + link.tcp_in)) {
      EXPECT_EQ(ByteAt(f, 1), kTypeQuotes);
    }
  }
}

TEST(FeedsimServer, RateHoldsTheStreamBack) {
  SimLink link;
  SimOptions o;
  o.rate = 200;
  o.path = StreamPath::kTcp;
  link.Start(o);
  link.Open();
  link.PumpFor(300);
  const int n = QuotesIn(Frames(link.tcp_in));
  EXPECT_GE(n, 30);
  EXPECT_LE(n, 110);
}

TEST(FeedsimServer, StallFrameAndOverflowBurst) {
  SimLink link;
  SimOptions o;
  o.rate = 0;
  o.count = 2500;
  o.path = StreamPath::kTcp;
  o.stall = true;
  o.overflow_burst = true;
  o.overflow_burst_delay_ms = 200;
  link.Start(o);
  link.Open();
  ASSERT_TRUE(link.PumpUntil([&] { return link.server->stats().quotes >= 2500; }));
  link.PumpFor(50);
  const std::vector<ByteString> frames = Frames(link.tcp_in);
  int stalls = 0;
  for (const ByteString& f : frames)
    stalls += f == StallFrame();
  EXPECT_GE(stalls, 1);
  const size_t before = link.tcp_in.size();
  ASSERT_TRUE(link.PumpUntil([&] { return link.tcp_in.size() > before + kFeederBufferLimit; }));
  EXPECT_EQ(link.tcp_in.find(static_cast<char>(kFrameMarker), before), ByteString::npos);
}

TEST(FeedsimServer, NewConnectionReplacesTheOldAndDropAfterCloses) {
  SimLink link;
  SimOptions o;
  o.stream = false;
  o.drop_after = 0.2;
  link.Start(o);
  link.Open();
  const int first = link.tcp;
  link.tcp = link.Connect();
  ASSERT_TRUE(link.PumpUntil([&] { return link.tcp_in == TestPacket(); }));
  char c;
  EXPECT_EQ(recv(first, &c, 1, 0), 0);  // the old one was closed
  close(first);
  EXPECT_EQ(link.server->stats().connections, 2u);
  EXPECT_TRUE(link.server->connected());
  ASSERT_TRUE(link.PumpUntil([&] { return link.tcp_closed; }, 2000));
  EXPECT_FALSE(link.server->connected());
}

TEST(FeedsimServer, ImageStopsAfterItsPiecesAndPacesThem) {
  SimLink link;
  SimOptions o;
  o.stream = false;
  o.responder.image_piece = 100;
  o.responder.image_stop_after = 3;
  o.image_slow_ms = 40;
  link.Start(o);
  link.Open();
  link.Send(5, kV1);
  ASSERT_TRUE(link.PumpUntil([&] { return !Frames(link.tcp_in).empty(); }));
  EXPECT_EQ(Frames(link.tcp_in).size(), 1u);  // the rest come one by one
  link.PumpFor(300);
  const std::vector<ByteString> frames = Frames(link.tcp_in);
  ASSERT_EQ(frames.size(), 3u);
  EXPECT_EQ(ByteAt(frames[0], 1), kTypeImageFirst);
  EXPECT_EQ(ByteAt(frames[2], 1), kTypeImagePiece);
}

TEST(FeedsimServer, RecordedSessionReplaysByteForByte) {
  TempDir dir;
  ByteString sent;
  {
    SimLink link;
    SimOptions o;
    o.rate = 0;
    o.count = 100;
    o.path = StreamPath::kTcp;
    o.record_file = dir.File("run.cap");
    link.Start(o);
    link.tcp = link.Connect();
    ASSERT_TRUE(link.PumpUntil([&] { return QuotesIn(Frames(link.tcp_in)) >= 100; }));
    link.Send(28, ByteString("\0\0\0\x64", 4));
    ASSERT_TRUE(
        link.PumpUntil([&] { return ByteAt(Frames(link.tcp_in).back(), 1) == kTypeStatus; }));
    sent = link.tcp_in;
  }
  SimLink replay;
  SimOptions o;
  o.replay_file = dir.File("run.cap");
  o.fast = true;
  replay.Start(o);
  replay.tcp = replay.Connect();
  // Its own greeting, then the recorded bytes, whose first frame is the recorded greeting.
  ASSERT_TRUE(
      replay.PumpUntil([&] { return replay.tcp_in.size() >= sent.size() + TestPacket().size(); }));
  EXPECT_EQ(replay.tcp_in, TestPacket() + sent);
  EXPECT_TRUE(replay.datagrams.empty());
}

TEST(FeedsimServer, BusyPortAndBadFilesFailToStart) {
  SimLink first;
  SimOptions o;
  o.stream = false;
  first.Start(o);
  SystemClock clock;
  PollLoop loop(&clock);
  o.listen_port = first.server->port();
  FeedServer second(&loop, o, {});
  const Status s = second.Start();
  ASSERT_FALSE(s.ok());
  EXPECT_NE(s.message().find("cannot listen on 127.0.0.1:" + std::to_string(o.listen_port)),
            std::string::npos)
      << s.message();
  SimOptions bad_replay;
  bad_replay.listen_port = 0;
  bad_replay.replay_file = "/nonexistent/file.cap";
  FeedServer third(&loop, bad_replay, {});
  EXPECT_FALSE(third.Start().ok());
}

}  // namespace
}  // namespace quotlink::feedsim
