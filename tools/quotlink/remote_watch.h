// `quotlink watch --remote`: the watch command as a client of the feeder service.
#ifndef QUOTLINK_TOOLS_QUOTLINK_REMOTE_WATCH_H_
#define QUOTLINK_TOOLS_QUOTLINK_REMOTE_WATCH_H_

#include <string>
#include <vector>

namespace quotlink {

// Creates an object on the service (starting it through the bus when it doesn't run), starts
// it with `folder`, watches `symbols` and prints each quote as `watch` does, with the same
// commands on standard input. Returns the exit code as `watch` does.
int WatchRemote(const std::string& folder, bool json, const std::vector<std::string>& symbols);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_REMOTE_WATCH_H_
