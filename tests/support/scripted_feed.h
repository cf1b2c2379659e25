// A feed server for tests, on loopback, served by the feeder's own event loop (so the test and
// the feeder share one thread, as a feed and its client never do, but nothing needs threads).
// It accepts one TCP client, collects its 8-byte requests, and answers what a test scripts.
#ifndef QUOTLINK_TESTS_SUPPORT_SCRIPTED_FEED_H_
#define QUOTLINK_TESTS_SUPPORT_SCRIPTED_FEED_H_

#include <functional>
#include <vector>

#include "platform/event_loop.h"
#include "util/bytes.h"

namespace quotlink {

class ScriptedFeed {
 public:
  // Listens on 127.0.0.1 at a free port. `loop` must outlive the feed.
  explicit ScriptedFeed(EventLoop* loop);
  ~ScriptedFeed();
  ScriptedFeed(const ScriptedFeed&) = delete;
  ScriptedFeed& operator=(const ScriptedFeed&) = delete;

  int port() const { return port_; }
  bool connected() const { return client_ >= 0; }
  // Every request received, 8 bytes each, in order (across connections).
  std::vector<ByteString> requests;
  // Called for each request as it arrives.
  std::function<void(ScriptedFeed&, ByteView request)> on_request;
  // Connections accepted so far.
  int accepted = 0;

  // Sends bytes to the connected client on TCP.
  void SendTcp(ByteView bytes);
  // Sends one datagram to 127.0.0.1:`port`.
  void SendUdp(int port, ByteView bytes);

 private:
  void OnAccept();
  void OnClient();
  void DropClient();

  EventLoop* const loop_;
  int listener_ = -1;
  int listener_reg_ = 0;
  int client_ = -1;
  int client_reg_ = 0;
  int udp_ = -1;
  int port_ = 0;
  ByteString pending_;
};

// The code byte of a request, or -1 when `request` isn't one.
int RequestCode(ByteView request);

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_SCRIPTED_FEED_H_
