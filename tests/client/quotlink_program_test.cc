// The quotlink program as a user runs it, against a scripted feed server on loopback.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/loopback_ports.h"
#include "platform/poll_loop.h"
#include "tests/support/child_process.h"
#include "tests/support/quote_feeder.h"
#include "tests/support/scripted_feed.h"
#include "tests/support/temp_dir.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

TEST(QuotlinkProgramTest, WatchPrintsJsonQuotesAndSavesTheTableOnQuit) {
  TempDir dir;
  SystemClock clock;
  PollLoop loop(&clock);
  ScriptedFeed feed(&loop);
  const std::vector<ByteString> image = CutImageIntoFrames(WriteImage(TestImageLayout()), 200);
  const ByteString record =
      MakeFrame(13, kEquityKey + Be(42, 2) + EquityRecord("ES", 0, 500025, 500000, 500050, 77));
  const ByteString quote = QuotePacket(
      kEquityKey, 1, 4, 1,
      Quote("ES", 4, 42, 2, ByteString("\x03", 1) + Be(500125, 4) + "\x06" + Be(1200, 4)));
  feed.on_request = [&](ScriptedFeed& s, ByteView r) {
    switch (RequestCode(r)) {
      case 28:
        s.SendTcp(StatusPacket(12));
        break;
      case 5:
        for (const auto& f : image)
          s.SendTcp(f);
        break;
      case 13:
        // The unknown symbol's record, then a live quote for it.
        s.SendTcp(record);
        s.SendTcp(quote);
        break;
      default:
        break;
    }
  };

  ChildProcess child({QUOTLINK_BIN, "watch", "--folder", dir.path() + "user", "--server",
                      "127.0.0.1:" + std::to_string(feed.port()), "--local-port",
                      std::to_string(FreeLoopbackPort(SOCK_DGRAM)), "--json", "ES"});
  std::string out;
  const int reg = loop.AddFd(child.out, true, false, [&](int) {
    char buf[4096];
    const ssize_t n = read(child.out, buf, sizeof buf);
    if (n > 0) out.append(buf, static_cast<size_t>(n));
  });
  const bool got =
      WaitPumping(loop, 30.0, [&] { return out.find("\"Flag\":0") != std::string::npos; });
  loop.RemoveFd(reg);
  ASSERT_TRUE(got) << out;
  // The record packet's publication, then the live quote.
  EXPECT_NE(out.find("{\"Simbolo\":\"ES\",\"Last\":0,"), std::string::npos) << out;
  EXPECT_NE(out.find("{\"Simbolo\":\"ES\",\"Last\":5001.25,\"LastS\":0,\"Bid\":0,"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("\"Vol\":1200,"), std::string::npos) << out;
  EXPECT_NE(out.find("\"ComunicationOK\":1}"), std::string::npos) << out;

  ASSERT_EQ(write(child.in, "get ES\nnonsense\nquit\n", 21), 21);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(TempDir::Get(dir.path() + "user/DTN/SYMBOLS.DAT").size(), 100u);
  EXPECT_NE(
      TempDir::Get(dir.path() + "user/DTN/QUOTLINKINFO.DAT").find(std::to_string(feed.port())),
      std::string::npos);
}

TEST(QuotlinkProgramTest, AWindowWithNoDisplayToShowItOnIsReportedAndTheFeederRunsHeadless) {
  // No X server answers on display 4093: the toolkit would end the program if it tried.
  TempDir dir;
  ChildProcess child(
      {"/usr/bin/env", "DISPLAY=:4093", QUOTLINK_BIN, "watch", "--folder", dir.path() + "user",
       "--server", "127.0.0.1:" + std::to_string(FreeLoopbackPort(SOCK_STREAM)), "--local-port",
       std::to_string(FreeLoopbackPort(SOCK_DGRAM)), "--console=window", "ES"},
      dir.File("stderr.txt"));
  child.Send("quit\n");
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_NE(dir.Read("stderr.txt").find("no display to open a window on"), std::string::npos)
      << dir.Read("stderr.txt");
}

TEST(QuotlinkProgramTest, BadArgumentsGetAClearErrorAndHelpDocumentsTheCommands) {
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"watch", "--bogus"},
                                             {"watch", "--local-port", "x"},
                                             {"watch", "--server", "h:99999"},
                                             {"frobnicate"},
                                             {}}) {
    std::vector<std::string> argv = {QUOTLINK_BIN};
    argv.insert(argv.end(), args.begin(), args.end());
    ChildProcess child(argv);
    close(child.in);
    child.in = -1;
    EXPECT_EQ(child.Wait(), 2);
  }
  ChildProcess help({QUOTLINK_BIN, "--help"});
  EXPECT_EQ(help.Wait(), 0);
  std::string text(8192, '\0');
  const ssize_t n = read(help.out, text.data(), text.size());
  text.resize(n > 0 ? static_cast<size_t>(n) : 0);
  for (const char* word : {"watch", "--folder", "--json", "add SYMBOL", "quit"}) {
    EXPECT_NE(text.find(word), std::string::npos) << word;
  }
}

}  // namespace
}  // namespace quotlink
