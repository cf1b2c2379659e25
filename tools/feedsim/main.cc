// quotlink-feedsim: a feed server to run the feeder against. See --help.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/poll_loop.h"
#include "platform/signal_watch.h"
#include "tools/feedsim/feed_server.h"
#include "tools/feedsim/options.h"

namespace {

using quotlink::EventLoop;

void Say(const std::string& line) {
  std::fprintf(stderr, "quotlink-feedsim: %s\n", line.c_str());
}

// Reads the commands of stdin, a line at a time, from the loop.
class StdinCommands {
 public:
  StdinCommands(EventLoop* loop, quotlink::feedsim::FeedServer* server)
      : loop_(loop), server_(server) {
    reg_ = loop_->AddFd(STDIN_FILENO, true, false, [this](int) { OnReadable(); });
  }
  ~StdinCommands() { Remove(); }
  StdinCommands(const StdinCommands&) = delete;
  StdinCommands& operator=(const StdinCommands&) = delete;

 private:
  void OnReadable() {
    char buf[512];
    const ssize_t n = read(STDIN_FILENO, buf, sizeof buf);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) {
      // No more commands (stdin closed or not readable): the program runs on until a signal.
      Remove();
      return;
    }
    pending_.append(buf, static_cast<size_t>(n));
    size_t eol;
    while ((eol = pending_.find('\n')) != std::string::npos) {
      std::string line = pending_.substr(0, eol);
      pending_.erase(0, eol + 1);
      while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
        line.pop_back();
      Run(line);
    }
  }
  void Run(const std::string& command) {
    if (command == "quit") {
      loop_->Quit();
    } else if (command == "newday") {
      server_->NewDay();
    } else if (command == "status") {
      Say(server_->StatusLine());
    } else if (!command.empty()) {
      Say("unknown command '" + command + "' (newday, status, quit)");
    }
  }
  void Remove() {
    if (reg_ != 0) loop_->RemoveFd(reg_);
    reg_ = 0;
  }

  EventLoop* const loop_;
  quotlink::feedsim::FeedServer* const server_;
  int reg_ = 0;
  std::string pending_;
};

}  // namespace

int main(int argc, char** argv) {
  using namespace quotlink;
  using namespace quotlink::feedsim;
  SimOptions options;
  std::string error;
  const std::vector<std::string> args(argv + 1, argv + argc);
  switch (ParseOptions(args, &options, &error)) {
    case ParseResult::kHelp:
      std::fputs(HelpText().c_str(), stdout);
      return 0;
    case ParseResult::kError:
      Say(error);
      return 2;
    case ParseResult::kRun:
      break;
  }

  SystemClock clock;
  PollLoop loop(&clock);
  const double status_every = options.status_every;
  FeedServer server(&loop, std::move(options), Say);
  if (Status s = server.Start(); !s.ok()) {
    Say(s.message());
    return 1;
  }
  SignalWatch signals(&loop, [&loop](int signo) {
    Say(std::string("ending on ") + (signo == 2 ? "SIGINT" : "SIGTERM"));
    loop.Quit();
  });
  StdinCommands commands(&loop, &server);
  if (status_every > 0) {
    loop.AddTimer(static_cast<int>(status_every * 1000), [&server] { Say(server.StatusLine()); });
  }
  loop.Run();
  Say(server.StatusLine());
  server.Stop();
  return 0;
}
