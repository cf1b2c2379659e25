#include "tools/quotlink/demo_feed.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>
#include <vector>

#include "platform/loopback_ports.h"

extern char** environ;

namespace quotlink {
namespace {

std::string FindSimulator(const std::string& self) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::path exe =
      fs::canonical(self.find('/') == std::string::npos ? "/proc/self/exe" : self, ec);
  const fs::path dir = ec ? fs::path(".") : exe.parent_path();
  // Installed side by side, or in the build tree's tools/feedsim.
  for (const fs::path& p :
       {dir / "quotlink-feedsim", dir / ".." / "feedsim" / "quotlink-feedsim"}) {
    if (fs::exists(p, ec)) return p.string();
  }
  return "";
}

}  // namespace

DemoFeed::~DemoFeed() {
  Stop();
}

bool DemoFeed::Start(const std::string& self, std::string* error) {
  const std::string sim = FindSimulator(self);
  if (sim.empty()) {
    *error = "the feed simulator quotlink-feedsim isn't beside this program";
    return false;
  }
  tcp_port_ = FreeLoopbackPort(SOCK_STREAM);
  udp_port_ = FreeLoopbackPort(SOCK_DGRAM);
  if (tcp_port_ == 0 || udp_port_ == 0) {
    *error = "no free port on loopback";
    return false;
  }
  int in[2];
  if (pipe(in) != 0) {
    *error = "cannot make a pipe";
    return false;
  }
  const std::vector<std::string> args = {sim,
                                         "--listen",
                                         "127.0.0.1:" + std::to_string(tcp_port_),
                                         "--udp-port",
                                         std::to_string(udp_port_),
                                         "--rate",
                                         "20",
                                         "--status-every",
                                         "0"};
  std::vector<char*> argv;
  for (const auto& a : args)
    argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_addclose(&actions, in[1]);
  const int rc = posix_spawn(&pid_, sim.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(in[0]);
  stdin_ = in[1];
  if (rc != 0) {
    pid_ = -1;
    *error = "cannot start " + sim;
    return false;
  }
  for (int i = 0; i < 100; ++i) {
    if (LoopbackListening(tcp_port_)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
      pid_ = -1;
      *error = "the feed simulator ended at its start";
      return false;
    }
  }
  *error = "the feed simulator doesn't listen";
  Stop();
  return false;
}

void DemoFeed::Stop() {
  if (stdin_ >= 0) close(stdin_);
  stdin_ = -1;
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace quotlink
