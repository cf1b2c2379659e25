// A connection to the feeder service on the session bus, for the remote QUOTLINKCls objects of
// one application: what QUOTLINKBAS is to the in-process objects. It runs on the
// application's event loop.
//
// Calls wait for their answers by pumping that loop, so the application's other descriptors
// and timers go on meanwhile (Iniciar takes seconds). FeederReady signals are taken from the
// bus inside its dispatch, which is not re-entrant, and handed to the objects after it: a
// FeederReady handler may call the object again (GetData's nested event) and pump.
#ifndef QUOTLINK_REMOTE_REMOTE_FEEDER_H_
#define QUOTLINK_REMOTE_REMOTE_FEEDER_H_

#include <systemd/sd-bus.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "bus/bus_connection.h"
#include "bus/mailbox.h"
#include "platform/event_loop.h"
#include "util/status.h"

namespace quotlink::remote {

class QUOTLINKCls;

class RemoteFeeder {
 public:
  // Connects to the session bus ($DBUS_SESSION_BUS_ADDRESS, else the user's). `loop` must
  // outlive the feeder, and the feeder every object made on it.
  explicit RemoteFeeder(EventLoop* loop);
  ~RemoteFeeder();
  RemoteFeeder(const RemoteFeeder&) = delete;
  RemoteFeeder& operator=(const RemoteFeeder&) = delete;

  // Ok once connected; else why there is no bus.
  const Status& status() const { return status_; }
  EventLoop& loop() const { return *loop_; }
  BusConnection* connection() const { return connection_.get(); }

  // The service that answered the first CreateObject (its unique name), or empty. The objects
  // talk to it by this name: once it has ended, a call fails instead of starting a new one.
  const std::string& service() const { return service_; }
  // The service answered once and has left the bus since.
  bool service_ended() const { return service_ended_; }

  // Sends `call` (taking a reference) and pumps the loop until its answer or `timeout_usec`.
  // On success `*reply` holds the answer (the caller unrefs it; may be null when not wanted).
  // A D-Bus error gives its message, and its name in `*error_name` when given.
  Status Call(sd_bus_message* call, uint64_t timeout_usec, sd_bus_message** reply,
              std::string* error_name = nullptr);

 private:
  friend class QUOTLINKCls;
  struct Event {
    QUOTLINKCls* object;
    Mailbox box;
    uint64_t sequence;
  };

  // Learns the service's name from CreateObject's answer, and watches it leave.
  void NoteService(const char* unique_name);
  void Post(QUOTLINKCls* object, Mailbox box, uint64_t sequence);
  void Forget(QUOTLINKCls* object);
  void Deliver();
  static int OnServiceGone(sd_bus_message* m, void* userdata, sd_bus_error* error);

  EventLoop* const loop_;
  Status status_ = Status::Ok();
  std::unique_ptr<BusConnection> connection_;
  std::string service_;
  bool service_ended_ = false;
  sd_bus_slot* service_watch_ = nullptr;
  std::deque<Event> events_;  // taken in the dispatch, handed out after it
};

}  // namespace quotlink::remote

#endif  // QUOTLINK_REMOTE_REMOTE_FEEDER_H_
