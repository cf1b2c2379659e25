#include "tests/window/xvfb.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace quotlink {
namespace {

bool OnPath(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::string dirs = path != nullptr ? path : "/usr/bin:/bin";
  size_t at = 0;
  while (at <= dirs.size()) {
    const size_t end = dirs.find(':', at);
    const std::string dir = dirs.substr(at, end == std::string::npos ? end : end - at);
    if (!dir.empty() && access((dir + "/" + program).c_str(), X_OK) == 0) return true;
    if (end == std::string::npos) break;
    at = end + 1;
  }
  return false;
}

struct Server {
  pid_t pid = -1;
  std::string failure;

  Server() {
    if (!OnPath("Xvfb")) {
      failure = "Xvfb is not installed (apt-get install xvfb)";
      return;
    }
    int fds[2];
    if (pipe(fds) != 0) {
      failure = "pipe failed";
      return;
    }
    pid = fork();
    if (pid == 0) {
      close(fds[0]);
      const int null = open("/dev/null", O_WRONLY);
      dup2(null, 1);
      dup2(null, 2);
      const std::string fd = std::to_string(fds[1]);
      // -displayfd: the server picks a free display number and writes it to the pipe.
      execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1024x768x24", "-nolisten",
             "tcp", static_cast<char*>(nullptr));
      _exit(127);
    }
    close(fds[1]);
    std::string number;
    pollfd p{fds[0], POLLIN, 0};
    char c;
    while (poll(&p, 1, 10000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n')
      number.push_back(c);
    close(fds[0]);
    if (number.empty()) {
      failure = "Xvfb did not start";
      Stop();
      return;
    }
    setenv("DISPLAY", (":" + number).c_str(), 1);
  }
  ~Server() { Stop(); }
  void Stop() {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    pid = -1;
  }
};

}  // namespace

const std::string& StartXvfb() {
  static Server server;
  return server.failure;
}

bool Xdotool(const std::string& args) {
  if (!OnPath("xdotool")) return false;
  return std::system(("xdotool " + args + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace quotlink
