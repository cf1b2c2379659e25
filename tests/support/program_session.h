// The feeder and the feed simulator as real processes over loopback, on free ports, with the
// feeder's files in a fresh folder. The including target defines QUOTLINK_BIN and
// QUOTLINK_FEEDSIM, the paths of the two programs.
#ifndef QUOTLINK_TESTS_SUPPORT_PROGRAM_SESSION_H_
#define QUOTLINK_TESTS_SUPPORT_PROGRAM_SESSION_H_

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/loopback_ports.h"
#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace quotlink {

inline size_t Count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1))
    ++n;
  return n;
}

// One simulator and one feeder.
class Session {
 public:
  explicit Session(std::vector<std::string> sim_options = {}) {
    std::vector<std::string> argv = {QUOTLINK_FEEDSIM,
                                     "--listen",
                                     "127.0.0.1:" + std::to_string(tcp_),
                                     "--udp-port",
                                     std::to_string(udp_),
                                     "--status-every",
                                     "0"};
    argv.insert(argv.end(), sim_options.begin(), sim_options.end());
    sim_ = std::make_unique<ChildProcess>(argv);
    WaitForListener();
  }

  // Starts the feeder watching `symbols`; with the console log (the default), the console goes
  // to a file, see Log().
  void Watch(const std::vector<std::string>& symbols,
             const std::string& console = "--console=log") {
    std::vector<std::string> argv = {QUOTLINK_BIN,   "watch",
                                     "--folder",     Folder(),
                                     "--server",     "127.0.0.1:" + std::to_string(tcp_),
                                     "--local-port", std::to_string(udp_),
                                     "--json"};
    if (!console.empty()) argv.push_back(console);
    argv.insert(argv.end(), symbols.begin(), symbols.end());
    feeder_ = std::make_unique<ChildProcess>(argv, dir_.File("console.log"));
  }

  // Waits up to `seconds` for `done(output)`; the output gathered so far stays in out().
  bool Until(double seconds, const std::function<bool(const std::string&)>& done) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(int(seconds * 1000));
    while (std::chrono::steady_clock::now() < end) {
      feeder_->ReadInto(&out_);
      if (done(out_)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
  }
  bool UntilLine(double seconds, const std::string& piece, size_t times = 1) {
    return Until(seconds, [&](const std::string& o) { return Count(o, piece) >= times; });
  }
  // Ends the feeder with `quit`; its exit code.
  int Quit() {
    feeder_->Send("quit\n");
    const int rc = feeder_->Wait();
    feeder_->ReadInto(&out_);
    return rc;
  }

  ChildProcess& feeder() { return *feeder_; }
  int tcp_port() const { return tcp_; }
  int udp_port() const { return udp_; }
  std::string& out() { return out_; }
  std::string Log() const { return TempDir::Get(dir_.File("console.log")); }
  std::string Folder() const { return dir_.path() + "user"; }
  const TempDir& dir() const { return dir_; }

 private:
  void WaitForListener() {
    for (int i = 0; i < 100; ++i) {
      if (LoopbackListening(tcp_)) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    ADD_FAILURE() << "the simulator doesn't listen";
  }

  TempDir dir_;
  int tcp_ = FreeLoopbackPort(SOCK_STREAM);
  int udp_ = FreeLoopbackPort(SOCK_DGRAM);
  std::unique_ptr<ChildProcess> sim_;
  std::unique_ptr<ChildProcess> feeder_;
  std::string out_;
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_PROGRAM_SESSION_H_
