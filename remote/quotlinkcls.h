// QUOTLINKCls for an application in another process than the feeder: the same members, the
// same order of calls, served by `quotlink serve` on the session bus. An application moves
// between the feeder in its own process and the service by choosing the class:
//
//   quotlink::QUOTLINKCls over a QUOTLINKBAS          (the feeder inside the application)
//   quotlink::remote::QUOTLINKCls over a RemoteFeeder (the feeder as a service)
//
// Creating an object creates one on the service, which the bus starts when it doesn't run;
// the object belongs to this application's connection alone. Each FeederReady brings the whole
// quote in the signal and fills the mailbox before the handlers run, so the properties read
// in a handler are those of that event. Calls wait for the service by pumping the
// application's loop: handlers, timers and descriptors run meanwhile, as they do around the
// in-process class's waits.
//
// Releasing any object, here or in another application, shuts the service down, as in
// process; after that every call fails (those that can't fail do nothing).
#ifndef QUOTLINK_REMOTE_QUOTLINKCLS_H_
#define QUOTLINK_REMOTE_QUOTLINKCLS_H_

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "bus/mailbox.h"
#include "client/subscribers.h"
#include "remote/remote_feeder.h"
#include "util/status.h"

namespace quotlink::remote {

class QUOTLINKCls {
 public:
  // Creates the object on the service; `feeder` must outlive it. When that fails, status()
  // says why and every call fails with it.
  explicit QUOTLINKCls(RemoteFeeder* feeder);
  ~QUOTLINKCls();
  QUOTLINKCls(const QUOTLINKCls&) = delete;
  QUOTLINKCls& operator=(const QUOTLINKCls&) = delete;

  // As in process: returns when the service's session start has ended (it may take over 20 s;
  // the call waits up to 120 s). Fails when SYMBOLS.DAT can't be opened. `S` must name an
  // absolute folder, or be blank for the service's default one.
  Status Iniciar(std::string_view S);
  int32_t AddSimbolos(std::string_view S);
  // A hit raises FeederReady for this object before the call returns.
  int32_t GetData(std::string_view S);
  Status ShowMe();
  // Ends the service (see above). Runs once; the destructor runs it if nobody did.
  void Release();
  // How writing SYMBOLS.DAT went at this object's release; Ok before.
  const Status& save_status() const { return save_status_; }

  int OnFeederReady(Subscribers::Handler handler) {
    return feeder_ready_.Subscribe(std::move(handler));
  }
  void RemoveFeederReady(int id) { feeder_ready_.Unsubscribe(id); }

  // Asks the service: the console's flag, 1 once a database image has ended. Fails before
  // Iniciar.
  [[nodiscard]] Status GetComunicationOK(int16_t* value) const;
  void SetComunicationOK(int16_t v) { box_.ComunicationOK = v; }

  // The mailbox: the quote of the last FeederReady. Each let writes this process's copy only,
  // as an in-process let writes the object's, until the next event fills it.
  const std::string& Simbolo() const { return box_.Simbolo; }
  void SetSimbolo(std::string_view v) { box_.Simbolo.assign(v); }
#define QUOTLINK_PROPERTY(type, name) \
  type name() const {                 \
    return box_.name;                 \
  }                                   \
  void Set##name(type v) {            \
    box_.name = v;                    \
  }
  QUOTLINK_PROPERTY(float, Last)
  QUOTLINK_PROPERTY(float, LastS)
  QUOTLINK_PROPERTY(float, Bid)
  QUOTLINK_PROPERTY(float, Ask)
  QUOTLINK_PROPERTY(float, AskS)
  QUOTLINK_PROPERTY(float, BidS)
  QUOTLINK_PROPERTY(float, Change)
  QUOTLINK_PROPERTY(float, OpenV)
  QUOTLINK_PROPERTY(float, High)
  QUOTLINK_PROPERTY(float, Low)
  QUOTLINK_PROPERTY(float, Previous)
  QUOTLINK_PROPERTY(float, OInt)
  QUOTLINK_PROPERTY(float, Vol)
  QUOTLINK_PROPERTY(float, TimeV)
  QUOTLINK_PROPERTY(int16_t, Flag)
#undef QUOTLINK_PROPERTY

  // The whole mailbox, with the ComunicationOK that the service read at the event.
  const Mailbox& mailbox() const {
    return box_;
  }
  // The sequence number of the last event, and the events that the service dropped for this
  // object because it read too slowly (gaps in the sequence).
  uint64_t sequence() const {
    return sequence_;
  }
  uint64_t missed() const {
    return missed_;
  }

  // Ok while the object can be used; else why not (not created, released, service ended).
  Status status() const;
  const std::string& path() const {
    return path_;
  }

 private:
  friend class RemoteFeeder;
  // Fills the mailbox from an event and raises FeederReady (after the bus's dispatch).
  void Take(const Mailbox& box, uint64_t sequence);
  // A call of the object's interface with one string argument (or none when `arg` is null).
  Status CallMember(const char* member, const char* arg, uint64_t timeout_usec,
                    std::string* error_name = nullptr);
  static int OnFeederReadySignal(sd_bus_message* m, void* userdata, sd_bus_error* error);

  RemoteFeeder* const feeder_;
  std::string path_;
  Status created_ = Status::Ok();
  bool released_ = false;
  bool releasing_ = false;
  sd_bus_slot* match_ = nullptr;
  Status save_status_ = Status::Ok();
  Subscribers feeder_ready_;
  Mailbox box_;
  uint64_t sequence_ = 0;
  uint64_t missed_ = 0;
};

}  // namespace quotlink::remote

#endif  // QUOTLINK_REMOTE_QUOTLINKCLS_H_
