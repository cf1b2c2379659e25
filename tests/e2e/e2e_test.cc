// The feeder and the feed simulator as real processes over loopback: what a user sees.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <charconv>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "platform/loopback_ports.h"
#include "tests/support/child_process.h"
#include "tests/support/program_session.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

const char kLiveQuote[] = "\"Flag\":0";

// Every whole line of --json output is one object with the keys in this order, each number in
// the shortest text that reads back to the same single, so that programs can parse it.
void ExpectJsonQuoteLines(const std::string& out) {
  const char* const numbers[] = {"Last",   "LastS", "Bid",  "BidS",          "Ask",      "AskS",
                                 "Change", "OpenV", "High", "Low",           "Previous", "OInt",
                                 "Vol",    "TimeV", "Flag", "ComunicationOK"};
  for (size_t start = 0, end; (end = out.find('\n', start)) != std::string::npos; start = end + 1) {
    const std::string line = out.substr(start, end - start);
    ASSERT_EQ(line.rfind("{\"Simbolo\":\"", 0), 0u) << line;
    size_t pos = line.find('"', 12) + 1;  // past the symbol
    for (const char* key : numbers) {
      const std::string head = ",\"" + std::string(key) + "\":";
      ASSERT_EQ(line.compare(pos, head.size(), head), 0) << key << " in " << line;
      pos += head.size();
      const size_t stop = line.find_first_of(",}", pos);
      const std::string value = line.substr(pos, stop - pos);
      char text[32];
      *std::to_chars(text, text + 31, std::strtof(value.c_str(), nullptr)).ptr = '\0';
      ASSERT_EQ(value, text) << key << " in " << line;
      pos = stop;
    }
    EXPECT_EQ(line.substr(pos), "}");
  }
}

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
  // A command it doesn't know is told on standard error and changes nothing; the table
  // answers at once, with the table's flag.
  s.feeder().Send("nonsense\nget ES\n");
  EXPECT_TRUE(s.UntilLine(10, "{\"Simbolo\":\"ES          \",")) << s.out();
  EXPECT_NE(s.Log().find("unknown command 'nonsense'"), std::string::npos);
  EXPECT_NE(log.find("Picture1: cyan"), std::string::npos) << log;
  EXPECT_NE(log.find("Info1: Database OK."), std::string::npos);
  EXPECT_EQ(s.Quit(), 0);
  ExpectJsonQuoteLines(s.out());
  // Quotes came on both sockets: some status line counts frames of each path.
  EXPECT_TRUE(std::regex_search(log, std::regex("Packets TCP/UDP = [1-9][0-9]* , [1-9]"))) << log;
}

TEST(EndToEndTest, GarbageAndSplitDatagramsAreSurvived) {
  Session s({"--rate", "300", "--garbage", "--split-datagrams", "--path", "udp"});
  s.Watch({"ES", "NQ", "CL"});
  EXPECT_TRUE(s.UntilLine(25, kLiveQuote, 30)) << s.out();
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

TEST(EndToEndTest, BadArgumentsAreRefusedAndHelpDocumentsTheCommands) {
  TempDir dir;
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"watch", "--bogus"},
                                             {"watch", "--local-port", "x"},
                                             {"watch", "--server", "h:99999"},
                                             {"watch", "--folder"},
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
