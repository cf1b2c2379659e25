// QUOTLINKCls: the one public class of the feeder, all that a client sees of it.
//
// A client creates an object over a feeder, calls Iniciar once with its folder, adds symbols
// with AddSimbolos and hears of each quote through FeederReady, after which the object's
// properties hold it. The object is a mailbox of one quote, filled by every publication of the
// feeder and by GetData. Everything runs on the feeder's one thread; FeederReady handlers run
// inside the feeder's calls and may call back into the object.
//
// Releasing any object (Release, or its destruction) shuts the whole feeder down: SYMBOLS.DAT
// is written, the sockets close, the console unloads (writing the settings) and the loop's Run
// returns. The program that hosts the feeder then ends; the library never ends its host.
// After that every call does nothing, and the calls that can fail say so.
#ifndef QUOTLINK_CLIENT_QUOTLINKCLS_H_
#define QUOTLINK_CLIENT_QUOTLINKCLS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "client/subscribers.h"
#include "util/status.h"

namespace quotlink {

class QUOTLINKBAS;

class QUOTLINKCls {
 public:
  // `bas` must outlive the object. Creating an object opens nothing.
  explicit QUOTLINKCls(QUOTLINKBAS* bas);
  ~QUOTLINKCls();
  QUOTLINKCls(const QUOTLINKCls&) = delete;
  QUOTLINKCls& operator=(const QUOTLINKCls&) = delete;

  // Fixes the data folder (the first call only: `S` names its parent), loads SYMBOLS.DAT, and
  // opens the console, which runs a session start; returns when that has ended (seconds).
  // Fails, opening nothing, when SYMBOLS.DAT can't be opened.
  Status Iniciar(std::string_view S);
  // Puts `S` on the watch list (asking the feed for it when it has a record). Always 0.
  int32_t AddSimbolos(std::string_view S);
  // Fills the object from the record of symbol `S` (compared exactly as given), raises
  // FeederReady for this object alone, then asks the feed for the symbol. Always 0: a miss
  // raises nothing.
  int32_t GetData(std::string_view S);
  // Brings the console to the front. Fails before Iniciar.
  Status ShowMe();
  // Ends the feeder (see above). Runs once; the destructor runs it if nobody did.
  void Release();
  // How writing SYMBOLS.DAT went when this object's release shut the feeder down; Ok before, or
  // when another object did. The console shows a failure too, but a host without one must
  // still be able to tell its user that the table was lost.
  const Status& save_status() const { return save_status_; }

  // FeederReady: any number of handlers; returns an id for RemoveFeederReady.
  int OnFeederReady(Subscribers::Handler handler) {
    return feeder_ready_.Subscribe(std::move(handler));
  }
  void RemoveFeederReady(int id) { feeder_ready_.Unsubscribe(id); }

  // ComunicationOK reads the console's flag: 1 once a database image has ended. Fails before
  // Iniciar (the console isn't the object's yet).
  [[nodiscard]] Status GetComunicationOK(int16_t* value) const;
  void SetComunicationOK(int16_t v) { ComunicationOK_ = v; }

  // The quote held; each get returns the field, each let writes it.
  const std::string& Simbolo() const { return Simbolo_; }
  void SetSimbolo(std::string_view v) { Simbolo_.assign(v); }
#define QUOTLINK_PROPERTY(type, name) \
  type name() const {                 \
    return name##_;                   \
  }                                   \
  void Set##name(type v) {            \
    name##_ = v;                      \
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

  int16_t InstanceCount() const {
    return InstanceCount_;
  }
  bool started() const {
    return console_ref_;
  }

 private:
  void NewData_Change();
  void Class_Terminate();

  QUOTLINKBAS* const bas_;
  bool console_ref_ = false;  // ConsoleRef: set by Iniciar
  int new_data_ = 0;          // NewData: the subscription to the console's Data, or 0
  bool released_ = false;
  Status save_status_ = Status::Ok();
  Subscribers feeder_ready_;

  int16_t ComunicationOK_ = 0;
  std::string Simbolo_;
  float Last_ = 0, LastS_ = 0, Bid_ = 0, Ask_ = 0, AskS_ = 0, BidS_ = 0, Change_ = 0, OpenV_ = 0,
        High_ = 0, Low_ = 0, Previous_ = 0, OInt_ = 0, Vol_ = 0, TimeV_ = 0;
  int16_t Flag_ = 0;
  int16_t InstanceCount_ = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_QUOTLINKCLS_H_
