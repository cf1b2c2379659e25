// One connection to a D-Bus bus, driven by our event loop: the bus's descriptor, the events it
// waits for and its next timeout are registered in the loop, and the bus's dispatch runs from
// the loop's handlers.
//
// The bus library's dispatch (sd_bus_process) is not re-entrant. Our handlers pump the loop
// (a session start waits 3 to 18 s that way), and a pump may reach this connection's handler
// again. So nothing that can pump may run inside the dispatch: the callbacks given to the bus
// only take note (queue a call, keep a reply), and the work they note is done by the
// after-dispatch hook, which runs outside the dispatch and may pump freely. If a pump still
// reaches the handler while a dispatch runs, the handler does nothing; the loop calls it again.
#ifndef QUOTLINK_BUS_BUS_CONNECTION_H_
#define QUOTLINK_BUS_BUS_CONNECTION_H_

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/event_loop.h"

namespace quotlink {

class BusConnection {
 public:
  // Connects to the session bus: $DBUS_SESSION_BUS_ADDRESS, else the user's bus. Null, with
  // the reason in `*error`, when it can't. `loop` must outlive the connection.
  static std::unique_ptr<BusConnection> OpenSession(EventLoop* loop, std::string* error);

  // Takes over `bus`, a started connection.
  BusConnection(EventLoop* loop, sd_bus* bus);
  // Sends what is queued, then closes.
  ~BusConnection();
  BusConnection(const BusConnection&) = delete;
  BusConnection& operator=(const BusConnection&) = delete;

  // Valid as long as the connection.
  sd_bus* bus() const { return bus_; }
  EventLoop& loop() const { return *loop_; }
  bool connected() const { return connected_; }
  // This connection's unique name on the bus (":1.42").
  std::string UniqueName() const;

  // Runs after every round of dispatch, outside it: the work that callbacks noted.
  void SetAfterDispatch(std::function<void()> hook) { after_dispatch_ = std::move(hook); }
  // Runs once when the bus is lost.
  void SetOnDisconnect(std::function<void()> hook) { on_disconnect_ = std::move(hook); }

  // True inside the bus library's dispatch: what may pump must wait for the after-dispatch hook.
  bool dispatching() const { return dispatching_; }

  // To be called after sending outside the dispatch: when the socket takes no more, the bus
  // keeps the rest, and the loop must wake us when it can take it. Cheap when nothing changed.
  void AfterSend();
  // After a call that waits for a reply was sent: its timeout joins the loop's timers.
  void AfterCall();

  // Runs one round of dispatch now, as the loop's handler would: for callers that wait on a
  // reply and must not wait for the loop's next poll.
  void DispatchNow() { OnReady(); }

 private:
  // The most messages handled in one round before the hook runs: queued work is then served
  // in the order it came, and a stream of signals can't hold the loop for long.
  static constexpr int kBatch = 64;

  void OnReady();
  void UpdateInterest();
  void UpdateTimer();
  void Lost();

  EventLoop* const loop_;
  sd_bus* bus_;
  int fd_reg_ = 0;
  int timer_reg_ = 0;
  uint64_t timer_due_usec_ = UINT64_MAX;  // the bus's deadline that timer_reg_ stands for
  int events_ = -1;                       // the events registered, to skip needless updates
  bool dispatching_ = false;
  bool connected_ = true;
  std::function<void()> after_dispatch_;
  std::function<void()> on_disconnect_;
};

}  // namespace quotlink

#endif  // QUOTLINK_BUS_BUS_CONNECTION_H_
