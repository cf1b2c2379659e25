// The feeder as a service on the D-Bus session bus: the factory io.quotlink.Feeder1 at
// /io/quotlink/Feeder makes QUOTLINKCls objects for applications in other processes, each at
// /io/quotlink/Feeder/cls/N with the interface io.quotlink.QUOTLINKCls1 (doc/dbus.md).
//
// - An object belongs to the connection that created it; calls from any other are refused with
//   AccessDenied and change nothing.
// - FeederReady goes to the owner alone, carrying the whole mailbox and a sequence number.
// - The release of any object (Release, or its owner leaving the bus) shuts the feeder down as
//   the in-process class does; the host program then ends.
//
// The calls that may pump the loop (Iniciar waits for the session start, for seconds) are
// answered later: the bus's dispatch only queues them, and they are served after it, each
// object's in the order they came, other objects' while one waits. So sockets, timers, the
// console and other clients' calls keep flowing while a session starts.
//
// A client that reads slower than the feed: its FeederReady signals in flight (sent, and not
// yet known to be read) are bounded by kWindow per object; what comes beyond is dropped and
// counted, and the count goes to the report stream at most once a second. The client sees the
// gap in the sequence numbers. Whether the client has read up to a signal is learned with the
// bus's own Peer.Ping, which every D-Bus library answers in the order of its incoming
// messages: a ping sent after signal k comes back only once the client has dispatched k.
#ifndef QUOTLINK_SERVICE_FEEDER_SERVICE_H_
#define QUOTLINK_SERVICE_FEEDER_SERVICE_H_

#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstdio>
#include <deque>
#include <map>
#include <memory>
#include <string>

#include "bus/bus_connection.h"
#include "bus/mailbox.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkcls.h"
#include "util/status.h"

namespace quotlink {

class FeederService {
 public:
  // FeederReady signals in flight to one object before further quotes are dropped for it.
  static constexpr uint64_t kWindow = 2048;
  // A ping goes out (when none is out) once this many signals are in flight.
  static constexpr uint64_t kPingEvery = 256;
  // Objects one service makes, and calls that wait to be served: a client that creates or
  // calls without end gets LimitsExceeded instead of the service's memory.
  static constexpr size_t kMaxObjects = 1024;
  static constexpr size_t kMaxQueued = 4096;

  // `bas` and `bus` must outlive the service. `default_folder` is the folder that an Iniciar
  // with a blank argument names (the feeder's files go to its DTN/). Reports of dropped quotes
  // go to `report` (not owned).
  FeederService(QUOTLINKBAS* bas, BusConnection* bus, std::string default_folder, FILE* report);
  ~FeederService();
  FeederService(const FeederService&) = delete;
  FeederService& operator=(const FeederService&) = delete;

  // Serves the factory, watches the owners, then asks for the bus name. Fails when another
  // process owns the name or the bus refuses.
  Status Start();

  // Ends the feeder as a client's release would (for a signal, or a lost bus): releases an
  // object when there is one, else just ends.
  void EndFeeder();

  // Once the feeder has ended: answers the calls that still wait, gives the name up and sends
  // everything out.
  void Finish();

  // How writing SYMBOLS.DAT went at the release that shut the feeder down.
  const Status& save_status() const { return save_status_; }

 private:
  enum class Kind { kIniciar, kAddSimbolos, kGetData, kShowMe, kRelease, kOwnerGone };
  struct Object;
  // A call noted by the dispatch, served after it. `message` holds a reference, or is null for
  // an owner that left the bus.
  struct Call {
    uint32_t object;
    Kind kind;
    std::string arg;
    sd_bus_message* message;
  };

  static int OnCreateObject(sd_bus_message* m, void* userdata, sd_bus_error* error);
  static int OnObjectCall(sd_bus_message* m, void* userdata, sd_bus_error* error);
  static int OnGetProperty(sd_bus* bus, const char* path, const char* interface,
                           const char* property, sd_bus_message* reply, void* userdata,
                           sd_bus_error* error);
  static int OnSetProperty(sd_bus* bus, const char* path, const char* interface,
                           const char* property, sd_bus_message* value, void* userdata,
                           sd_bus_error* error);
  static int OnNameOwnerChanged(sd_bus_message* m, void* userdata, sd_bus_error* error);
  static int OnPingReply(sd_bus_message* m, void* userdata, sd_bus_error* error);

  // Refuses (filling `error`, returning its negative errno) a call from anyone but the owner,
  // or on an ended feeder; 0 when the call may go on.
  int Check(const Object& o, sd_bus_message* m, sd_bus_error* error) const;
  void ServeQueued();
  void Serve(Call& call);
  void NoteRelease(const Object& o);
  void EmitFeederReady(Object& o);
  void SendPing(Object& o);
  void ReportDrops();

  QUOTLINKBAS* const bas_;
  BusConnection* const bus_;
  const std::string default_folder_;
  FILE* const report_;
  sd_bus_slot* factory_slot_ = nullptr;
  sd_bus_slot* owners_slot_ = nullptr;
  int report_timer_ = 0;
  uint32_t next_object_ = 1;
  std::map<uint32_t, std::unique_ptr<Object>> objects_;
  std::deque<Call> queue_;
  bool name_owned_ = false;
  Status save_status_ = Status::Ok();
};

}  // namespace quotlink

#endif  // QUOTLINK_SERVICE_FEEDER_SERVICE_H_
