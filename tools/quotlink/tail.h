// `quotlink tail`: the consumer of a publishing feeder, on any host. See kTailUsage.
#ifndef QUOTLINK_TOOLS_QUOTLINK_TAIL_H_
#define QUOTLINK_TOOLS_QUOTLINK_TAIL_H_

#include <string>
#include <vector>

namespace quotlink {

inline constexpr char kTailUsage[] =
    "       quotlink tail --nats nats://HOST[:PORT] [--json] [SYMBOL|PATTERN...]\n";

inline constexpr char kTailHelp[] =
    "tail prints the quotes that feeders publish with --publish: first the last value of each\n"
    "chosen symbol (kept by the server), then the live quotes as they come, as rows or, with\n"
    "--json, as the objects that they travel as (those of watch --json with \"seq\",\n"
    "\"symbol_seq\", \"time_us\" and \"feeder\"). A PATTERN holds * ? or [...] and matches\n"
    "symbols as a shell matches names; without SYMBOLs, every symbol. Gaps in a symbol's\n"
    "sequence numbers (quotes lost on the way) and the connection's losses go to standard\n"
    "error. It runs until SIGINT or SIGTERM; exit status 1 when it can't connect.\n";

// Runs `quotlink tail` with the arguments after "tail"; the exit status.
int RunTail(const std::vector<std::string>& args);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_TAIL_H_
