// The demo's feed: the feed simulator started as a child process on loopback, at free ports,
// and stopped with the demo.
#ifndef QUOTLINK_TOOLS_QUOTLINK_DEMO_FEED_H_
#define QUOTLINK_TOOLS_QUOTLINK_DEMO_FEED_H_

#include <sys/types.h>

#include <string>

namespace quotlink {

class DemoFeed {
 public:
  DemoFeed() = default;
  // Stops the simulator if it still runs.
  ~DemoFeed();
  DemoFeed(const DemoFeed&) = delete;
  DemoFeed& operator=(const DemoFeed&) = delete;

  // Starts the simulator found beside `self` (this program's path) and waits until it listens.
  // False, with the reason in `*error`, when it can't.
  bool Start(const std::string& self, std::string* error);
  void Stop();

  int tcp_port() const { return tcp_port_; }
  int udp_port() const { return udp_port_; }

 private:
  pid_t pid_ = -1;
  int stdin_ = -1;  // kept open: the simulator reads commands until its input ends
  int tcp_port_ = 0;
  int udp_port_ = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_DEMO_FEED_H_
