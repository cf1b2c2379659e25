// The feeder and the feed simulator as real processes over loopback: what a user sees.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "platform/loopback_ports.h"
#include "tests/support/child_process.h"
#include "tests/support/program_session.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

const char kLiveQuote[] = "\"Flag\":0";

// Both paths with garbage between frames and datagrams split: an unknown symbol is asked for,
// its record answers (Flag 1), live quotes follow; the golden transcript covers the rest.
TEST(EndToEndTest, UnknownSymbolGoesFromRequestToRecordToLiveQuotesOnBothPaths) {
  Session s({"--rate", "300", "--path", "both", "--garbage", "--split-datagrams"});
  s.Watch({"ES", "IBM"});
  // Both paths must have brought frames: on a loaded machine the first datagrams after the
  // image may still be joining what the pending image cut off, so wait for the count too.
  const std::regex both_paths("Packets TCP/UDP = [1-9][0-9]* , [1-9]");
  ASSERT_TRUE(s.Until(25,
                      [&](const std::string& o) {
                        return o.find("{\"Simbolo\":\"ES\"") != std::string::npos &&
                               Count(o, kLiveQuote) >= 20 && std::regex_search(s.Log(), both_paths);
                      }))
      << s.out() << s.Log();
  // A command it doesn't know is told on standard error; the table answers `get` at once.
  s.feeder().Send("nonsense\nget ES\n");
  EXPECT_TRUE(s.UntilLine(10, "{\"Simbolo\":\"ES          \",")) << s.out();
  const std::string log = s.Log();
  EXPECT_NE(log.find("unknown command 'nonsense'"), std::string::npos);
  ASSERT_EQ(s.Quit(), 0);

  // SYMBOLS.DAT carries the table to the next run: `get` answers before any quote. A table
  // that can't be saved at its end is told on standard error and in the exit status.
  s.out().clear();
  s.Watch({});
  s.feeder().Send("get ES\n");
  EXPECT_TRUE(s.UntilLine(20, "{\"Simbolo\":\"ES          \",")) << s.out();
  std::filesystem::create_directory(s.Folder() + "/DTN/SYMBOLS.DAT.tmp");
  EXPECT_EQ(s.Quit(), 1);
  EXPECT_NE(s.Log().find("quotlink: SYMBOLS.DAT not saved: "), std::string::npos) << s.Log();
}

TEST(EndToEndTest, BadArgumentsAreRefusedAndHelpDocumentsTheCommands) {
  TempDir dir;
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"watch", "--bogus"},
                                             {"watch", "--local-port", "x"},
                                             {"watch", "--server", "h:99999"},
                                             {"watch", "--folder"},
                                             {"watch", "--udp-from", ", "},
                                             {"watch", "--remote", "--console=log"},
                                             {"serve", "--json"},
                                             {"frobnicate"},
                                             {}}) {
    std::vector<std::string> argv = {QUOTLINK_BIN};
    argv.insert(argv.end(), args.begin(), args.end());
    ChildProcess child(argv, dir.File("err"));
    close(child.in);  // should a bad argument be taken, the run ends at once
    child.in = -1;
    EXPECT_EQ(child.Wait(), 2) << argv.back();
    EXPECT_NE(dir.Read("err").find("quotlink --help"), std::string::npos) << dir.Read("err");
  }
  for (const std::vector<std::string>& argv : std::vector<std::vector<std::string>>{
           {QUOTLINK_BIN, "--help"}, {QUOTLINK_BIN, "watch", "ES", "-h"}}) {
    ChildProcess child(argv);
    EXPECT_EQ(child.Wait(), 0);
    std::string text;
    child.ReadInto(&text);
    for (const char* word : {"watch", "--folder", "--server", "--json", "add SYMBOL", "quit"})
      EXPECT_NE(text.find(word), std::string::npos) << word;
  }
}

// Under a service manager, nohup or a container without a terminal, standard input is
// /dev/null or closed: no command can come, so its end is no `quit` and the feeder runs until a
// signal.
TEST(EndToEndTest, WithoutInputTheFeederRunsUntilASignal) {
  for (const char* redirect : {"</dev/null", "<&-"}) {
    Session s({"--rate", "300"});
    ChildProcess child({"/bin/sh", "-c",
                        std::string("exec \"$0\" watch --json --console=none --folder \"$1\" "
                                    "--server 127.0.0.1:$2 --local-port $3 ES ") +
                            redirect,
                        QUOTLINK_BIN, s.Folder(), std::to_string(s.tcp_port()),
                        std::to_string(s.udp_port())});
    std::string out;
    for (int i = 0; i < 1500 && Count(out, kLiveQuote) < 5; ++i) {
      child.ReadInto(&out);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_GE(Count(out, kLiveQuote), 5u) << redirect << out;
    kill(child.pid, SIGTERM);
    EXPECT_EQ(child.Wait(), 0) << redirect;
  }
}

TEST(EndToEndTest, AWindowWithNoDisplayToShowItOnIsReportedAndTheFeederRunsHeadless) {
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

}  // namespace
}  // namespace quotlink
