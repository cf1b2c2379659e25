#include "remote/quotlinkcls.h"

#include "bus/bus_names.h"

namespace quotlink::remote {

QUOTLINKCls::QUOTLINKCls(RemoteFeeder* feeder) : feeder_(feeder) {
  if (!feeder_->status().ok()) {
    created_ = feeder_->status();
    return;
  }
  sd_bus* bus = feeder_->connection()->bus();
  sd_bus_message* call = nullptr;
  sd_bus_message* reply = nullptr;
  // By the well-known name: the bus starts the service when it doesn't run.
  int r = sd_bus_message_new_method_call(bus, &call, kBusName, kFactoryPath, kFactoryInterface,
                                         "CreateObject");
  if (r < 0) {
    created_ = Status::Error("cannot make a call: out of memory");
    return;
  }
  created_ = feeder_->Call(call, kCallTimeoutUsec, &reply);
  sd_bus_message_unref(call);
  if (!created_.ok()) return;
  const char* path = nullptr;
  if (sd_bus_message_read(reply, "o", &path) < 0 || path == nullptr) {
    created_ = Status::Error("the feeder service answered CreateObject with no object");
  } else {
    path_ = path;
    feeder_->NoteService(sd_bus_message_get_sender(reply));
    // Signals come addressed to this connection; the match routes this object's to it. A
    // signal from anyone but the service that made the object is not taken.
    r = sd_bus_match_signal_async(bus, &match_, feeder_->service().c_str(), path_.c_str(),
                                  kObjectInterface, "FeederReady",
                                  &QUOTLINKCls::OnFeederReadySignal, nullptr, this);
    if (r < 0) created_ = Status::Error("cannot hear the object's FeederReady");
    feeder_->connection()->AfterCall();
  }
  sd_bus_message_unref(reply);
}

QUOTLINKCls::~QUOTLINKCls() {
  Release();
  sd_bus_slot_unref(match_);
  feeder_->Forget(this);
}

Status QUOTLINKCls::status() const {
  if (!created_.ok()) return created_;
  if (released_ || feeder_->service_ended()) return Status::Error("the feeder has shut down");
  return Status::Ok();
}

Status QUOTLINKCls::CallMember(const char* member, const char* arg, uint64_t timeout_usec,
                               std::string* error_name) {
  if (Status st = status(); !st.ok()) return st;
  sd_bus_message* call = nullptr;
  int r = sd_bus_message_new_method_call(feeder_->connection()->bus(), &call,
                                         feeder_->service().c_str(), path_.c_str(),
                                         kObjectInterface, member);
  if (r >= 0 && arg != nullptr) r = sd_bus_message_append(call, "s", arg);
  if (r < 0) {
    sd_bus_message_unref(call);
    return Status::Error("cannot make a call: out of memory");
  }
  Status st = feeder_->Call(call, timeout_usec, nullptr, error_name);
  sd_bus_message_unref(call);
  return st;
}

Status QUOTLINKCls::Iniciar(std::string_view S) {
  const std::string s(S);
  return CallMember("Iniciar", s.c_str(), kIniciarTimeoutUsec);
}

int32_t QUOTLINKCls::AddSimbolos(std::string_view S) {
  const std::string s(S);
  (void)CallMember("AddSimbolos", s.c_str(), kCallTimeoutUsec);
  return 0;
}

int32_t QUOTLINKCls::GetData(std::string_view S) {
  const std::string s(S);
  // The service raises the event before it answers, and the bus keeps that order: the
  // handlers have run by the time the answer is in.
  (void)CallMember("GetData", s.c_str(), kCallTimeoutUsec);
  return 0;
}

Status QUOTLINKCls::ShowMe() {
  return CallMember("ShowMe", nullptr, kCallTimeoutUsec);
}

void QUOTLINKCls::Release() {
  if (released_ || !created_.ok()) return;
  // No handler runs from here on: the release may come from the destructor, and the call's
  // wait delivers events.
  releasing_ = true;
  if (!feeder_->service_ended()) {
    std::string error;
    Status st = CallMember("Release", nullptr, kCallTimeoutUsec, &error);
    // Only the service's word that the table wasn't written is a failure to save: a service
    // that another release ended meanwhile has saved it at that end.
    if (!st.ok() && error == kErrorFailed) save_status_ = st;
  }
  released_ = true;
}

Status QUOTLINKCls::GetComunicationOK(int16_t* value) const {
  if (Status st = status(); !st.ok()) return st;
  sd_bus* bus = feeder_->connection()->bus();
  sd_bus_message* call = nullptr;
  sd_bus_message* reply = nullptr;
  int r = sd_bus_message_new_method_call(bus, &call, feeder_->service().c_str(), path_.c_str(),
                                         "org.freedesktop.DBus.Properties", "Get");
  if (r >= 0) r = sd_bus_message_append(call, "ss", kObjectInterface, "ComunicationOK");
  if (r < 0) {
    sd_bus_message_unref(call);
    return Status::Error("cannot make a call: out of memory");
  }
  Status st = feeder_->Call(call, kCallTimeoutUsec, &reply);
  sd_bus_message_unref(call);
  if (!st.ok()) return st;
  if (sd_bus_message_read(reply, "v", "n", value) < 0) {
    st = Status::Error("the feeder service answered ComunicationOK with no int16");
  }
  sd_bus_message_unref(reply);
  return st;
}

int QUOTLINKCls::OnFeederReadySignal(sd_bus_message* m, void* userdata, sd_bus_error*) {
  auto* self = static_cast<QUOTLINKCls*>(userdata);
  Mailbox box;
  uint64_t sequence = 0;
  // A signal that doesn't carry the mailbox is not the service's: dropped.
  if (ReadFeederReady(m, &box, &sequence) < 0) return 0;
  self->feeder_->Post(self, std::move(box), sequence);
  return 0;
}

void QUOTLINKCls::Take(const Mailbox& box, uint64_t sequence) {
  if (releasing_) return;
  if (sequence > sequence_ + 1) missed_ += sequence - sequence_ - 1;
  sequence_ = sequence;
  box_ = box;
  feeder_ready_.Fire();
}

}  // namespace quotlink::remote
