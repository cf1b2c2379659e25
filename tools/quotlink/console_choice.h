// What the quotlink commands share about where the feeder lives: the console shown (and the
// loop that goes with it) and the default folder of its files.
#ifndef QUOTLINK_TOOLS_QUOTLINK_CONSOLE_CHOICE_H_
#define QUOTLINK_TOOLS_QUOTLINK_CONSOLE_CHOICE_H_

#include <memory>
#include <string>

#include "client/console_surface.h"
#include "platform/clock.h"
#include "platform/event_loop.h"

namespace quotlink {

class FltkConsole;

enum class ConsoleChoice { kDefault, kWindow, kLog, kNone };

// The console that the program shows and the loop that goes with it: a window needs the loop
// that serves the window system as well.
struct Console {
  std::unique_ptr<EventLoop> loop;
  std::unique_ptr<ConsoleView> view;
  FltkConsole* window = nullptr;  // the view, when it is the window
};

// The window when asked for or by default when a display answers; the log on standard error;
// else only the notices that the console has no item for, on standard error.
Console MakeConsole(ConsoleChoice choice, Clock* clock);

// $XDG_DATA_HOME/quotlink, or ~/.local/share/quotlink.
std::string DefaultFolder();

// Whether the end of standard input should end the program as `quit` does: yes for a
// terminal, a pipe or a file; no when it is /dev/null or closed, as under a service manager,
// nohup or a container without a terminal, where the program runs until a signal.
bool InputEndMeansQuit(int fd);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_CONSOLE_CHOICE_H_
