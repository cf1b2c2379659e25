// The simulator's command line.
#ifndef QUOTLINK_TOOLS_FEEDSIM_OPTIONS_H_
#define QUOTLINK_TOOLS_FEEDSIM_OPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/feedsim/hostile.h"
#include "tools/feedsim/responder.h"
#include "tools/feedsim/universe.h"

namespace quotlink::feedsim {

enum class StreamPath : uint8_t { kTcp, kUdp, kBoth };

struct SimOptions {
  std::string listen_host = "127.0.0.1";
  int listen_port = 21560;  // 0: any free port (tests)
  int udp_port = 20547;     // the client's UDP port
  bool stream = true;       // send quote packets at all
  double rate = 200;        // quotes per second; 0: as fast as the link takes them
  int64_t count = 0;        // > 0: stop streaming after this many quotes
  StreamPath path = StreamPath::kBoth;
  std::vector<SymbolChoice> symbols;  // empty: the default universe
  uint64_t seed = 1;
  double new_day_every = 0;  // seconds; 0: only on the "newday" command
  double status_every = 5;   // seconds between status lines
  ResponderOptions responder;
  // Faults.
  bool garbage = false;
  bool split_datagrams = false;
  int image_slow_ms = 0;
  bool stall = false;
  bool overflow_burst = false;
  int overflow_burst_delay_ms = 5000;  // from the connection to the burst
  double drop_after = 0;               // seconds; 0: never
  HostileMode hostile = HostileMode::kNone;
  // Replay and capture.
  std::string replay_file;
  bool fast = false;
  std::string record_file;
};

enum class ParseResult { kRun, kHelp, kError };

// Reads `args` (without the program name) into `*out`. On kError `*error` holds one line that
// names the bad option.
ParseResult ParseOptions(const std::vector<std::string>& args, SimOptions* out, std::string* error);

// The text of --help.
std::string HelpText();

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_OPTIONS_H_
