#include "service/feeder_service.h"

#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "bus/bus_names.h"
#include "client/settings.h"

namespace quotlink {

struct FeederService::Object {
  FeederService* service;
  uint32_t id;
  std::string path;
  std::string owner;  // the creator's unique name
  std::unique_ptr<QUOTLINKCls> cls;
  sd_bus_slot* vtable_slot = nullptr;
  sd_bus_slot* ping_slot = nullptr;
  bool busy = false;           // one of its calls runs (and may be pumping the loop)
  Mailbox box;                 // reused for every signal
  uint64_t sequence = 0;       // FeederReady events raised, sent or dropped
  uint64_t acked = 0;          // the client has read every signal up to this one
  uint64_t ping_sequence = 0;  // the signal that the ping out follows
  bool ping_pending = false;
  uint64_t dropped = 0;
  uint64_t dropped_reported = 0;

  ~Object() {
    sd_bus_slot_unref(ping_slot);
    sd_bus_slot_unref(vtable_slot);
  }
};

namespace {

struct FloatProperty {
  const char* name;
  float (QUOTLINKCls::*get)() const;
  void (QUOTLINKCls::*set)(float);
};

#define QUOTLINK_FLOAT(name) \
  { #name, &QUOTLINKCls::name, &QUOTLINKCls::Set##name }
const FloatProperty kFloats[] = {
    QUOTLINK_FLOAT(Last), QUOTLINK_FLOAT(LastS), QUOTLINK_FLOAT(AskS),     QUOTLINK_FLOAT(BidS),
    QUOTLINK_FLOAT(High), QUOTLINK_FLOAT(Low),   QUOTLINK_FLOAT(Previous), QUOTLINK_FLOAT(TimeV),
    QUOTLINK_FLOAT(Vol),  QUOTLINK_FLOAT(OInt),  QUOTLINK_FLOAT(Change),   QUOTLINK_FLOAT(OpenV),
    QUOTLINK_FLOAT(Bid),  QUOTLINK_FLOAT(Ask)};
#undef QUOTLINK_FLOAT

const FloatProperty* FindFloat(std::string_view name) {
  for (const auto& f : kFloats) {
    if (name == f.name) return &f;
  }
  return nullptr;
}

bool Blank(std::string_view s) {
  return s.find_first_not_of(" \t") == std::string_view::npos;
}

}  // namespace

FeederService::FeederService(QUOTLINKBAS* bas, BusConnection* bus, std::string default_folder,
                             FILE* report)
    : bas_(bas), bus_(bus), default_folder_(std::move(default_folder)), report_(report) {
  bus_->SetAfterDispatch([this] { ServeQueued(); });
}

FeederService::~FeederService() {
  bus_->SetAfterDispatch(nullptr);
  if (report_timer_ != 0) bas_->loop().RemoveTimer(report_timer_);
  for (Call& c : queue_)
    sd_bus_message_unref(c.message);
  // The objects go before the slots that watch for their owners.
  objects_.clear();
  sd_bus_slot_unref(owners_slot_);
  sd_bus_slot_unref(factory_slot_);
}

Status FeederService::Start() {
  static const sd_bus_vtable kFactory[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_NAMES("CreateObject", "", , "o", SD_BUS_PARAM(object),
                               &FeederService::OnCreateObject, 0),
      SD_BUS_VTABLE_END};
  sd_bus* bus = bus_->bus();
  int r = sd_bus_add_object_vtable(bus, &factory_slot_, kFactoryPath, kFactoryInterface, kFactory,
                                   this);
  if (r < 0) return Status::Error(std::string("cannot serve the factory: ") + std::strerror(-r));
  // From the start, so that an owner who leaves right after CreateObject is seen leaving.
  r = sd_bus_match_signal(bus, &owners_slot_, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                          "org.freedesktop.DBus", "NameOwnerChanged",
                          &FeederService::OnNameOwnerChanged, this);
  if (r < 0)
    return Status::Error(std::string("cannot watch the bus's names: ") + std::strerror(-r));
  r = sd_bus_request_name(bus, kBusName, 0);
  if (r == -EEXIST || r == -EALREADY) {
    return Status::Error(std::string("another process owns ") + kBusName + " on this bus");
  }
  if (r < 0) return Status::Error(std::string("cannot own ") + kBusName + ": " + std::strerror(-r));
  name_owned_ = true;
  report_timer_ = bas_->loop().AddTimer(1000, [this] { ReportDrops(); });
  bus_->AfterCall();
  return Status::Ok();
}

int FeederService::OnCreateObject(sd_bus_message* m, void* userdata, sd_bus_error* error) {
  auto* self = static_cast<FeederService*>(userdata);
  if (self->bas_->ended()) {
    return sd_bus_error_set(error, kErrorEnded, "the feeder has shut down");
  }
  // The members in the order of the class's interface.
  static const sd_bus_vtable kObjectVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD_WITH_NAMES("AddSimbolos", "s", SD_BUS_PARAM(S), "i", SD_BUS_PARAM(result),
                               &FeederService::OnObjectCall, 0),
      SD_BUS_METHOD_WITH_NAMES("GetData", "s", SD_BUS_PARAM(S), "i", SD_BUS_PARAM(result),
                               &FeederService::OnObjectCall, 0),
      SD_BUS_WRITABLE_PROPERTY("Flag", "n", &FeederService::OnGetProperty,
                               &FeederService::OnSetProperty, 0, 0),
      SD_BUS_METHOD_WITH_NAMES("Iniciar", "s", SD_BUS_PARAM(S), "", , &FeederService::OnObjectCall,
                               0),
      SD_BUS_WRITABLE_PROPERTY("ComunicationOK", "n", &FeederService::OnGetProperty,
                               &FeederService::OnSetProperty, 0, 0),
#define QUOTLINK_FLOAT(name)                                          \
  SD_BUS_WRITABLE_PROPERTY(#name, "d", &FeederService::OnGetProperty, \
                           &FeederService::OnSetProperty, 0, 0)
      QUOTLINK_FLOAT(Last),
      QUOTLINK_FLOAT(LastS),
      QUOTLINK_FLOAT(AskS),
      QUOTLINK_FLOAT(BidS),
      QUOTLINK_FLOAT(High),
      QUOTLINK_FLOAT(Low),
      QUOTLINK_FLOAT(Previous),
      SD_BUS_METHOD("ShowMe", "", "", &FeederService::OnObjectCall, 0),
      QUOTLINK_FLOAT(TimeV),
      QUOTLINK_FLOAT(Vol),
      QUOTLINK_FLOAT(OInt),
      QUOTLINK_FLOAT(Change),
      QUOTLINK_FLOAT(OpenV),
      QUOTLINK_FLOAT(Bid),
      QUOTLINK_FLOAT(Ask),
#undef QUOTLINK_FLOAT
      SD_BUS_WRITABLE_PROPERTY("Simbolo", "s", &FeederService::OnGetProperty,
                               &FeederService::OnSetProperty, 0, 0),
      SD_BUS_METHOD("Release", "", "", &FeederService::OnObjectCall, 0),
      SD_BUS_SIGNAL_WITH_NAMES("FeederReady", "(sddddddddddddddnn)t",
                               SD_BUS_PARAM(mailbox) SD_BUS_PARAM(sequence), 0),
      SD_BUS_VTABLE_END};

  const char* sender = sd_bus_message_get_sender(m);
  if (sender == nullptr) return sd_bus_error_set(error, kErrorAccessDenied, "no sender");
  if (self->objects_.size() >= kMaxObjects) {
    return sd_bus_error_setf(error, kErrorLimitsExceeded, "the service holds %zu objects already",
                             kMaxObjects);
  }
  auto o = std::make_unique<Object>();
  o->service = self;
  o->id = self->next_object_++;
  o->path = kObjectPathPrefix + std::to_string(o->id);
  o->owner = sender;
  o->cls = std::make_unique<QUOTLINKCls>(self->bas_);
  Object* const raw = o.get();
  raw->cls->OnFeederReady([self, raw] { self->EmitFeederReady(*raw); });
  // Kept even when it can't be served: destroying an object releases it, which would end the
  // feeder for everyone.
  self->objects_.emplace(raw->id, std::move(o));
  const int r = sd_bus_add_object_vtable(sd_bus_message_get_bus(m), &raw->vtable_slot,
                                         raw->path.c_str(), kObjectInterface, kObjectVtable, raw);
  if (r < 0) return sd_bus_error_set_errno(error, r);
  return sd_bus_reply_method_return(m, "o", raw->path.c_str());
}

int FeederService::Check(const Object& o, sd_bus_message* m, sd_bus_error* error) const {
  const char* sender = m != nullptr ? sd_bus_message_get_sender(m) : nullptr;
  if (sender == nullptr || o.owner != sender) {
    return sd_bus_error_setf(error, kErrorAccessDenied, "%s belongs to another connection",
                             o.path.c_str());
  }
  if (bas_->ended()) return sd_bus_error_set(error, kErrorEnded, "the feeder has shut down");
  return 0;
}

int FeederService::OnObjectCall(sd_bus_message* m, void* userdata, sd_bus_error* error) {
  auto* o = static_cast<Object*>(userdata);
  FeederService* self = o->service;
  if (int r = self->Check(*o, m, error); r < 0) return r;
  if (self->queue_.size() >= kMaxQueued) {
    return sd_bus_error_setf(error, kErrorLimitsExceeded, "%zu calls wait already", kMaxQueued);
  }
  const std::string_view member = sd_bus_message_get_member(m);
  Call call{o->id, Kind::kRelease, {}, nullptr};
  if (member == "Iniciar" || member == "AddSimbolos" || member == "GetData") {
    const char* s = nullptr;
    if (int r = sd_bus_message_read(m, "s", &s); r < 0) return r;
    call.arg = s;
    call.kind = member == "Iniciar"       ? Kind::kIniciar
                : member == "AddSimbolos" ? Kind::kAddSimbolos
                                          : Kind::kGetData;
  } else if (member == "ShowMe") {
    call.kind = Kind::kShowMe;
  }
  // Served after the dispatch, in order, and answered then: the call may pump the loop.
  call.message = sd_bus_message_ref(m);
  self->queue_.push_back(std::move(call));
  return 1;
}

void FeederService::ServeQueued() {
  for (;;) {
    // The first call whose object is free; an owner's leaving is served even while one of
    // its object's calls waits inside a pump, as a quit would be.
    auto it = queue_.begin();
    for (; it != queue_.end(); ++it) {
      auto o = objects_.find(it->object);
      if (it->kind == Kind::kOwnerGone || o == objects_.end() || !o->second->busy) break;
    }
    if (it == queue_.end()) return;
    Call call = std::move(*it);
    queue_.erase(it);
    Serve(call);
    sd_bus_message_unref(call.message);
    bus_->AfterSend();
  }
}

void FeederService::Serve(Call& call) {
  Object& o = *objects_.at(call.object);
  sd_bus_message* const m = call.message;
  if (call.kind == Kind::kOwnerGone) {
    o.cls->Release();
    NoteRelease(o);
    return;
  }
  if (bas_->ended()) {
    sd_bus_reply_method_errorf(m, kErrorEnded, "the feeder has shut down");
    return;
  }
  o.busy = true;
  switch (call.kind) {
    case Kind::kIniciar: {
      std::string folder = call.arg;
      if (bas_->settings().DataFolder.empty()) {
        if (Blank(folder)) {
          folder = default_folder_;
          std::error_code ignored;  // a failure shows as SYMBOLS.DAT that can't be opened
          std::filesystem::create_directories(folder, ignored);
        } else if (folder.front() != '/') {
          // The service runs in a folder of its own, not the client's.
          sd_bus_reply_method_errorf(m, kErrorInvalidArgs,
                                     "Iniciar needs an absolute folder, not '%s'", folder.c_str());
          break;
        }
      }
      const Status st = o.cls->Iniciar(folder);
      if (st.ok()) {
        sd_bus_reply_method_return(m, "");
      } else {
        sd_bus_reply_method_errorf(m, bas_->ended() ? kErrorEnded : kErrorFailed, "%s",
                                   st.message().c_str());
      }
      break;
    }
    case Kind::kAddSimbolos:
      sd_bus_reply_method_return(m, "i", o.cls->AddSimbolos(call.arg));
      break;
    case Kind::kGetData: {
      // Its FeederReady goes out inside the call, so the client has it before the answer.
      const int32_t r = o.cls->GetData(call.arg);
      sd_bus_reply_method_return(m, "i", r);
      break;
    }
    case Kind::kShowMe: {
      const Status st = o.cls->ShowMe();
      if (st.ok()) {
        sd_bus_reply_method_return(m, "");
      } else {
        sd_bus_reply_method_errorf(m, bas_->ended() ? kErrorEnded : kErrorNotStarted, "%s",
                                   st.message().c_str());
      }
      break;
    }
    case Kind::kRelease: {
      o.cls->Release();
      NoteRelease(o);
      const Status& st = o.cls->save_status();
      if (st.ok()) {
        sd_bus_reply_method_return(m, "");
      } else {
        sd_bus_reply_method_errorf(m, kErrorFailed, "SYMBOLS.DAT not saved: %s",
                                   st.message().c_str());
      }
      break;
    }
    case Kind::kOwnerGone:
      break;
  }
  o.busy = false;
}

void FeederService::NoteRelease(const Object& o) {
  if (!o.cls->save_status().ok() && save_status_.ok()) save_status_ = o.cls->save_status();
}

void FeederService::EndFeeder() {
  if (bas_->ended()) return;
  if (objects_.empty()) {
    bas_->End();
    return;
  }
  Object& o = *objects_.begin()->second;
  o.cls->Release();
  NoteRelease(o);
}

int FeederService::OnNameOwnerChanged(sd_bus_message* m, void* userdata, sd_bus_error*) {
  auto* self = static_cast<FeederService*>(userdata);
  const char *name = nullptr, *old_owner = nullptr, *new_owner = nullptr;
  if (sd_bus_message_read(m, "sss", &name, &old_owner, &new_owner) < 0) return 0;
  if (new_owner == nullptr || *new_owner != '\0' || name == nullptr || name[0] != ':') return 0;
  // A client that crashed or closed without Release: its objects are released, which ends
  // the feeder as a Release would, so nothing is left running for nobody.
  for (auto& [id, o] : self->objects_) {
    if (o->owner == name) self->queue_.push_back(Call{id, Kind::kOwnerGone, {}, nullptr});
  }
  return 0;
}

int FeederService::OnGetProperty(sd_bus*, const char*, const char*, const char* property,
                                 sd_bus_message* reply, void* userdata, sd_bus_error* error) {
  auto* o = static_cast<Object*>(userdata);
  FeederService* self = o->service;
  if (int r = self->Check(*o, sd_bus_get_current_message(self->bus_->bus()), error); r < 0) {
    return r;
  }
  const QUOTLINKCls& c = *o->cls;
  const std::string_view name = property;
  if (const FloatProperty* f = FindFloat(name)) {
    // A 32-bit float is exactly a double: the client reads the very value.
    return sd_bus_message_append(reply, "d", double{(c.*f->get)()});
  }
  if (name == "Flag") return sd_bus_message_append(reply, "n", c.Flag());
  if (name == "Simbolo") return sd_bus_message_append(reply, "s", c.Simbolo().c_str());
  // ComunicationOK reads the console's flag, which the object has only once it is started.
  int16_t ok = 0;
  if (const Status st = c.GetComunicationOK(&ok); !st.ok()) {
    return sd_bus_error_set(error, self->bas_->ended() ? kErrorEnded : kErrorNotStarted,
                            st.message().c_str());
  }
  return sd_bus_message_append(reply, "n", ok);
}

int FeederService::OnSetProperty(sd_bus*, const char*, const char*, const char* property,
                                 sd_bus_message* value, void* userdata, sd_bus_error* error) {
  auto* o = static_cast<Object*>(userdata);
  FeederService* self = o->service;
  if (int r = self->Check(*o, sd_bus_get_current_message(self->bus_->bus()), error); r < 0) {
    return r;
  }
  QUOTLINKCls& c = *o->cls;
  const std::string_view name = property;
  if (const FloatProperty* f = FindFloat(name)) {
    double d = 0;
    if (int r = sd_bus_message_read(value, "d", &d); r < 0) return r;
    // The property is a 32-bit float: a double beyond its range can't be stored.
    if (std::isfinite(d) && std::fabs(d) > double{FLT_MAX}) {
      return sd_bus_error_setf(error, kErrorInvalidArgs, "%s: %g is beyond a 32-bit float",
                               property, d);
    }
    (c.*f->set)(static_cast<float>(d));
    return 1;
  }
  if (name == "Simbolo") {
    const char* s = nullptr;
    if (int r = sd_bus_message_read(value, "s", &s); r < 0) return r;
    c.SetSimbolo(s);
    return 1;
  }
  int16_t v = 0;
  if (int r = sd_bus_message_read(value, "n", &v); r < 0) return r;
  if (name == "Flag") {
    c.SetFlag(v);
  } else {
    c.SetComunicationOK(v);
  }
  return 1;
}

void FeederService::EmitFeederReady(Object& o) {
  ++o.sequence;
  if (o.sequence - o.acked > kWindow) {
    // The client hasn't read the last kWindow signals: more would only pile up in the bus
    // (and, past its limits, stall every client). Dropped, counted, and told once a second.
    ++o.dropped;
    return;
  }
  const QUOTLINKCls& c = *o.cls;
  Mailbox& b = o.box;
  b.Simbolo = c.Simbolo();
  b.Last = c.Last();
  b.Bid = c.Bid();
  b.Ask = c.Ask();
  b.LastS = c.LastS();
  b.Change = c.Change();
  b.BidS = c.BidS();
  b.AskS = c.AskS();
  b.OpenV = c.OpenV();
  b.High = c.High();
  b.Low = c.Low();
  b.Previous = c.Previous();
  b.OInt = c.OInt();
  b.Vol = c.Vol();
  b.TimeV = c.TimeV();
  // What the ComunicationOK get would read at this moment (0 before Iniciar).
  int16_t ok = 0;
  b.ComunicationOK = c.GetComunicationOK(&ok).ok() ? ok : 0;
  b.Flag = c.Flag();
  sd_bus* bus = bus_->bus();
  sd_bus_message* m = nullptr;
  if (sd_bus_message_new_signal(bus, &m, o.path.c_str(), kObjectInterface, "FeederReady") >= 0 &&
      sd_bus_message_set_destination(m, o.owner.c_str()) >= 0 &&
      AppendFeederReady(m, b, o.sequence) >= 0) {
    sd_bus_send(bus, m, nullptr);
  }
  sd_bus_message_unref(m);
  if (!o.ping_pending && o.sequence - o.acked >= kPingEvery) SendPing(o);
  bus_->AfterSend();
}

void FeederService::SendPing(Object& o) {
  sd_bus_slot_unref(o.ping_slot);
  o.ping_slot = nullptr;
  const int r = sd_bus_call_method_async(bus_->bus(), &o.ping_slot, o.owner.c_str(), "/",
                                         "org.freedesktop.DBus.Peer", "Ping",
                                         &FeederService::OnPingReply, &o, "");
  if (r < 0) return;
  o.ping_pending = true;
  o.ping_sequence = o.sequence;
  bus_->AfterCall();
}

int FeederService::OnPingReply(sd_bus_message* m, void* userdata, sd_bus_error*) {
  auto* o = static_cast<Object*>(userdata);
  o->ping_pending = false;
  // A ping that failed (no answer in time) tells nothing: the next signal sends another.
  if (sd_bus_message_is_method_error(m, nullptr)) return 0;
  o->acked = o->ping_sequence;
  if (o->sequence - o->acked >= kPingEvery) o->service->SendPing(*o);
  return 0;
}

void FeederService::ReportDrops() {
  for (auto& [id, o] : objects_) {
    if (o->dropped == o->dropped_reported) continue;
    std::fprintf(report_,
                 "quotlink: %llu quotes dropped for %s (client %s reads slower than the feed; "
                 "%llu in all)\n",
                 static_cast<unsigned long long>(o->dropped - o->dropped_reported), o->path.c_str(),
                 o->owner.c_str(), static_cast<unsigned long long>(o->dropped));
    std::fflush(report_);
    o->dropped_reported = o->dropped;
  }
}

void FeederService::Finish() {
  for (Call& c : queue_) {
    if (c.message != nullptr) {
      sd_bus_reply_method_errorf(c.message, kErrorEnded, "the feeder has shut down");
    }
    sd_bus_message_unref(c.message);
  }
  queue_.clear();
  ReportDrops();
  if (!bus_->connected()) return;
  // Give the name up first: a client's next call then starts a new service instead of
  // reaching this one as it goes.
  if (name_owned_) sd_bus_release_name(bus_->bus(), kBusName);
  name_owned_ = false;
  sd_bus_flush(bus_->bus());
}

}  // namespace quotlink
