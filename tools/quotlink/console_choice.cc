#include "tools/quotlink/console_choice.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>

#include "client/console_log.h"
#include "platform/poll_loop.h"
#include "window/fltk_console.h"
#include "window/fltk_loop.h"

namespace quotlink {
namespace {

// Without a console, what the console can't show still reaches standard error.
class NoticesOnly : public ConsoleView {
 public:
  void Notice(std::string_view text) override {
    std::fprintf(stderr, "quotlink: %.*s\n", static_cast<int>(text.size()), text.data());
  }
};

}  // namespace

Console MakeConsole(ConsoleChoice choice, Clock* clock) {
  Console c;
  if (choice == ConsoleChoice::kWindow || choice == ConsoleChoice::kDefault) {
    if (WindowAvailable()) {
      auto loop = std::make_unique<FltkLoop>(clock);
      auto window = std::make_unique<FltkConsole>(loop.get());
      c.window = window.get();
      c.loop = std::move(loop);
      c.view = std::move(window);
      return c;
    }
    // Without a display in sight (no $DISPLAY), headless is what was expected: say nothing.
    const char* display = std::getenv("DISPLAY");
    if (choice == ConsoleChoice::kWindow || (display != nullptr && *display != '\0')) {
      std::fprintf(stderr, "quotlink: no display to open a window on; running without a console\n");
    }
  }
  c.loop = std::make_unique<PollLoop>(clock);
  if (choice == ConsoleChoice::kLog) {
    // Quotes on stdout stay in order with the console's lines where both go to one place.
    c.view = std::make_unique<ConsoleLog>(stderr, stdout);
  } else {
    c.view = std::make_unique<NoticesOnly>();
  }
  return c;
}

std::string DefaultFolder() {
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg != nullptr && *xdg != '\0') {
    return std::string(xdg) + "/quotlink";
  }
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : ".") + "/.local/share/quotlink";
}

bool InputEndMeansQuit(int fd) {
  struct stat in {};
  if (fstat(fd, &in) != 0) return false;  // closed
  struct stat null {};
  if (S_ISCHR(in.st_mode) && stat("/dev/null", &null) == 0 && S_ISCHR(null.st_mode) &&
      in.st_rdev == null.st_rdev) {
    return false;
  }
  return true;
}

}  // namespace quotlink
