// `quotlink serve`: the feeder as a service on the D-Bus session bus.
#ifndef QUOTLINK_TOOLS_QUOTLINK_SERVE_H_
#define QUOTLINK_TOOLS_QUOTLINK_SERVE_H_

#include <string>
#include <vector>

namespace quotlink {

// Runs the service with the command's arguments (after "serve") until the feeder ends. Returns
// the exit code: 0, 1 when it can't start or SYMBOLS.DAT wasn't saved, 2 for bad arguments.
int Serve(const std::vector<std::string>& args);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_SERVE_H_
