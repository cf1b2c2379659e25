// A virtual X server for the window tests: started once per test process on a free display
// number, and stopped when the process ends.
#ifndef QUOTLINK_TESTS_WINDOW_XVFB_H_
#define QUOTLINK_TESTS_WINDOW_XVFB_H_

#include <string>

namespace quotlink {

// Starts the server (at the first call) and points $DISPLAY at it. Returns an empty text when
// the server runs, else why it doesn't (for a test to skip with).
const std::string& StartXvfb();

// Runs xdotool with `args` on the test display; false when it failed or isn't installed.
bool Xdotool(const std::string& args);

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_WINDOW_XVFB_H_
