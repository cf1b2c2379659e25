// The command line: what each option sets, and a one-line error for every bad one.
#include <gtest/gtest.h>

#include "tools/feedsim/options.h"

namespace quotlink::feedsim {
namespace {

ParseResult Parse(std::vector<std::string> args, SimOptions* o, std::string* error) {
  return ParseOptions(args, o, error);
}

TEST(FeedsimOptions, ValuesReachTheirOptions) {
  SimOptions o;
  std::string error;
  ASSERT_EQ(Parse({"--listen",
                   "0.0.0.0:3000",
                   "--udp-port=4000",
                   "--rate",
                   "0",
                   "--count",
                   "50",
                   "--path",
                   "udp",
                   "--symbols",
                   "ES,FOO:fut,IBM",
                   "--seed",
                   "9",
                   "--version",
                   "&H09030002,09030001",
                   "--image-stop-after",
                   "3",
                   "--image-slow",
                   "20",
                   "--drop-after",
                   "1.5",
                   "--garbage",
                   "--split-datagrams",
                   "--wrong-version",
                   "--stall",
                   "--overflow-burst",
                   "--wide-records",
                   "--replay",
                   "x.cap",
                   "--fast",
                   "--record",
                   "y.cap",
                   "--new-day-every",
                   "60"},
                  &o, &error),
            ParseResult::kRun)
      << error;
  EXPECT_EQ(o.listen_host, "0.0.0.0");
  EXPECT_EQ(o.listen_port, 3000);
  EXPECT_EQ(o.udp_port, 4000);
  EXPECT_EQ(o.rate, 0);
  EXPECT_EQ(o.count, 50);
  EXPECT_EQ(o.path, StreamPath::kUdp);
  ASSERT_EQ(o.symbols.size(), 3u);
  EXPECT_TRUE(o.symbols[1].kind_given);
  EXPECT_EQ(o.symbols[1].kind, InstrumentKind::kFuture);
  EXPECT_FALSE(o.symbols[2].kind_given);
  EXPECT_EQ(o.seed, 9u);
  ASSERT_EQ(o.responder.versions.size(), 2u);
  EXPECT_EQ(o.responder.versions[0], ByteString("\x09\x03\x00\x02", 4));
  EXPECT_EQ(o.responder.image_stop_after, 3);
  EXPECT_EQ(o.image_slow_ms, 20);
  EXPECT_EQ(o.drop_after, 1.5);
  EXPECT_TRUE(o.garbage && o.split_datagrams && o.responder.wrong_version && o.stall &&
              o.overflow_burst && o.responder.wide_records && o.fast);
  EXPECT_EQ(o.replay_file, "x.cap");
  EXPECT_EQ(o.record_file, "y.cap");
  EXPECT_EQ(o.new_day_every, 60);
}

TEST(FeedsimOptions, HelpWinsAndNamesEveryOption) {
  SimOptions o;
  std::string error;
  EXPECT_EQ(Parse({"--rate", "5", "--help"}, &o, &error), ParseResult::kHelp);
  EXPECT_EQ(Parse({"-h"}, &o, &error), ParseResult::kHelp);
  for (const char* name : {"--listen",         "--udp-port",
                           "--rate",           "--count",
                           "--path",           "--no-stream",
                           "--symbols",        "--seed",
                           "--new-day-every",  "--version",
                           "--image-piece",    "--wide-records",
                           "--garbage",        "--split-datagrams",
                           "--wrong-version",  "--image-stop-after",
                           "--image-slow",     "--stall",
                           "--overflow-burst", "--drop-after",
                           "--replay",         "--fast",
                           "--record",         "--status-every",
                           "newday",           "quit"}) {
    EXPECT_NE(HelpText().find(name), std::string::npos) << name;
  }
}

TEST(FeedsimOptions, BadOptionsGiveOneLineNamingThem) {
  struct Case {
    std::vector<std::string> args;
    const char* says;
  };
  const Case cases[] = {
      {{"--bogus"}, "unknown option '--bogus'"},
      {{"--rate"}, "--rate needs a value"},
      {{"--rate", "fast"}, "'fast' for --rate"},
      {{"--rate", "-1"}, "'-1' for --rate"},
      {{"--count", "0"}, "'0' for --count"},
      {{"--udp-port", "70000"}, "for --udp-port"},
      {{"--listen", "21560"}, "HOST:PORT"},
      {{"--listen", "host:port"}, "HOST:PORT"},
      {{"--path", "tcpx"}, "tcp, udp or both"},
      {{"--symbols", "ES,,NQ"}, "for --symbols"},
      {{"--symbols", "ES:bond"}, "for --symbols"},
      {{"--symbols", "ES,ES"}, "given twice"},
      {{"--symbols", "ABCDEFGHIJKLM"}, "1 to 12"},
      {{"--version", "0903001"}, "8 hex digits"},
      {{"--version", "0903000G"}, "8 hex digits"},
      {{"--image-piece", "65534"}, "for --image-piece"},
      {{"--garbage=yes"}, "takes no value"},
      {{"--fast"}, "--fast needs --replay"},
      {{"--replay="}, "file name"},
  };
  for (const Case& c : cases) {
    SimOptions o;
    std::string error;
    EXPECT_EQ(Parse(c.args, &o, &error), ParseResult::kError) << c.args[0];
    EXPECT_NE(error.find(c.says), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos) << error;
  }
}

}  // namespace
}  // namespace quotlink::feedsim
