// The feeder and the feed simulator as real processes over loopback: what a user sees.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

int FreePort(int type) {
  const int fd = socket(AF_INET, type, 0);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
  socklen_t len = sizeof sa;
  getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len);
  close(fd);
  return ntohs(sa.sin_port);
}

size_t Count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1))
    ++n;
  return n;
}

// One simulator and one feeder, on free ports, with the feeder's files in a fresh folder.
class Session {
 public:
  explicit Session(std::vector<std::string> sim_options = {}) {
    std::vector<std::string> argv = {QUOTLINK_FEEDSIM,
                                     "--listen",
                                     "127.0.0.1:" + std::to_string(tcp_),
                                     "--udp-port",
                                     std::to_string(udp_),
                                     "--status-every",
                                     "0"};
    argv.insert(argv.end(), sim_options.begin(), sim_options.end());
    sim_ = std::make_unique<ChildProcess>(argv);
    WaitForListener();
  }

  // Starts the feeder watching `symbols`; its console log goes to a file.
  void Watch(const std::vector<std::string>& symbols, const std::string& folder = "") {
    std::vector<std::string> argv = {QUOTLINK_BIN,   "watch",
                                     "--folder",     folder.empty() ? Folder() : folder,
                                     "--server",     "127.0.0.1:" + std::to_string(tcp_),
                                     "--local-port", std::to_string(udp_),
                                     "--json",       "--console=log"};
    argv.insert(argv.end(), symbols.begin(), symbols.end());
    feeder_ = std::make_unique<ChildProcess>(argv, dir_.File("console.log"));
  }

  // Waits up to `seconds` for `done(output)`; the output gathered so far stays in out().
  bool Until(double seconds, const std::function<bool(const std::string&)>& done) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(int(seconds * 1000));
    while (std::chrono::steady_clock::now() < end) {
      feeder_->ReadInto(&out_);
      if (done(out_)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }
  bool UntilLine(double seconds, const std::string& piece, size_t times = 1) {
    return Until(seconds, [&](const std::string& o) { return Count(o, piece) >= times; });
  }
  // Ends the feeder with `quit`; its exit code.
  int Quit() {
    feeder_->Send("quit\n");
    const int rc = feeder_->Wait();
    feeder_->ReadInto(&out_);
    return rc;
  }

  ChildProcess& feeder() { return *feeder_; }
  std::string& out() { return out_; }
  std::string Log() const { return TempDir::Get(dir_.File("console.log")); }
  std::string Folder() const { return dir_.path() + "user"; }
  const TempDir& dir() const { return dir_; }

 private:
  void WaitForListener() {
    for (int i = 0; i < 100; ++i) {
      const int fd = socket(AF_INET, SOCK_STREAM, 0);
      sockaddr_in sa{};
      sa.sin_family = AF_INET;
      sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      sa.sin_port = htons(static_cast<uint16_t>(tcp_));
      const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0;
      close(fd);
      if (ok) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    ADD_FAILURE() << "the simulator doesn't listen";
  }

  TempDir dir_;
  int tcp_ = FreePort(SOCK_STREAM);
  int udp_ = FreePort(SOCK_DGRAM);
  std::unique_ptr<ChildProcess> sim_;
  std::unique_ptr<ChildProcess> feeder_;
  std::string out_;
};

const char kLiveQuote[] = "\"Flag\":0";

TEST(EndToEndTest, UnknownSymbolGoesFromRequestToRecordToLiveQuotes) {
  Session s({"--rate", "200", "--path", "both"});
  s.Watch({"ES", "IBM"});
  // The record packet answers the feeder's requests (Flag 1), then live quotes follow.
  ASSERT_TRUE(s.UntilLine(20, "{\"Simbolo\":\"ES\"")) << s.out();
  ASSERT_TRUE(s.Until(10, [](const std::string& o) {
    return o.find("{\"Simbolo\":\"ES\"") != std::string::npos && Count(o, kLiveQuote) >= 20;
  })) << s.out();
  EXPECT_NE(s.out().find("\"ComunicationOK\":1}"), std::string::npos);
  const std::string log = s.Log();
  // Unknown at first: the lookups of its first quotes found no record.
  const size_t first_lookup = log.find("Info: ES");
  ASSERT_NE(first_lookup, std::string::npos) << log;
  EXPECT_EQ(log.substr(log.find('\n', first_lookup) - 3, 3), " -1") << log;
  // The table answers at once, with the table's flag.
  s.feeder().Send("get ES\n");
  EXPECT_TRUE(s.UntilLine(10, "{\"Simbolo\":\"ES          \",")) << s.out();
  EXPECT_NE(log.find("Picture1: cyan"), std::string::npos) << log;
  EXPECT_NE(log.find("Info1: Database OK."), std::string::npos);
  EXPECT_EQ(s.Quit(), 0);
  // Quotes came on both sockets: some status line counts frames of each path.
  bool both = false;
  for (size_t p = log.find("Packets TCP/UDP = "); p != std::string::npos;
       p = log.find("Packets TCP/UDP = ", p + 1)) {
    unsigned tcp = 0, udp = 0;
    if (sscanf(log.c_str() + p, "Packets TCP/UDP = %u , %u", &tcp, &udp) == 2 && tcp > 0 &&
        udp > 0) {
      both = true;
    }
  }
  EXPECT_TRUE(both) << log;
}

TEST(EndToEndTest, GarbageAndSplitDatagramsAreSurvived) {
  Session s({"--rate", "300", "--garbage", "--split-datagrams", "--path", "udp"});
  s.Watch({"ES", "NQ", "CL"});
  EXPECT_TRUE(s.UntilLine(25, kLiveQuote, 30)) << s.out();
  EXPECT_EQ(s.Quit(), 0);
}

TEST(EndToEndTest, RestartMidStreamKeepsTheQuotesComing) {
  Session s({"--rate", "200"});
  s.Watch({"ES", "NQ"});
  ASSERT_TRUE(s.UntilLine(20, kLiveQuote, 5)) << s.out();
  s.feeder().Send("restart\n");
  const size_t before = Count(s.out(), kLiveQuote);
  EXPECT_TRUE(s.UntilLine(20, kLiveQuote, before + 10)) << s.out();
  const std::string log = s.Log();
  EXPECT_EQ(Count(log, "Info1: Reading databases information."), 2u) << log;
  EXPECT_EQ(s.Quit(), 0);
}

TEST(EndToEndTest, RefusedImageThenAGoodOneAfterRestart) {
  Session s({"--rate", "100"});
  // The feeder asks for a version the simulator doesn't hold: it sends its own, refused.
  std::filesystem::create_directories(s.Folder() + "/DTN");
  TempDir::Put(s.Folder() + "/DTN/DTN.ini", "[DATABASE]\r\nINFORMATION=&H09030002\r\n");
  s.Watch({"ES"});
  ASSERT_TRUE(s.Until(20, [&](const std::string&) {
    return s.Log().find("message: diferente database") != std::string::npos;
  })) << s.Log();
  EXPECT_EQ(Count(s.out(), kLiveQuote), 0u);
  TempDir::Put(s.Folder() + "/DTN/DTN.ini", "[DATABASE]\r\nINFORMATION=&H09030001\r\n");
  s.feeder().Send("restart\n");
  EXPECT_TRUE(s.UntilLine(25, kLiveQuote, 3)) << s.out() << s.Log();
  EXPECT_EQ(s.Quit(), 0);
}

TEST(EndToEndTest, TheSymbolsFileCarriesTheTableToTheNextRun) {
  Session s({"--rate", "200"});
  s.Watch({"ES"});
  ASSERT_TRUE(s.UntilLine(20, "{\"Simbolo\":\"ES\",\"Last\":", 3)) << s.out();
  ASSERT_EQ(s.Quit(), 0);
  EXPECT_GE(TempDir::Get(s.Folder() + "/DTN/SYMBOLS.DAT").size(), 100u);

  // A second run knows ES at once: GetData answers from the table, before any quote.
  s.out().clear();
  s.Watch({});
  s.feeder().Send("get ES\n");
  EXPECT_TRUE(s.UntilLine(20, "{\"Simbolo\":\"ES          \",")) << s.out();
  EXPECT_EQ(s.Quit(), 0);
}

}  // namespace
}  // namespace quotlink
