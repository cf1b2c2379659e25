#include "remote/remote_feeder.h"

#include <algorithm>
#include <cstring>

#include "remote/quotlinkcls.h"

namespace quotlink::remote {
namespace {

struct Pending {
  bool done = false;
  sd_bus_message* reply = nullptr;
};

// Runs inside the bus's dispatch: only keeps the answer.
int OnReply(sd_bus_message* m, void* userdata, sd_bus_error*) {
  auto* p = static_cast<Pending*>(userdata);
  p->done = true;
  p->reply = sd_bus_message_ref(m);
  return 0;
}

}  // namespace

RemoteFeeder::RemoteFeeder(EventLoop* loop) : loop_(loop) {
  std::string error;
  connection_ = BusConnection::OpenSession(loop_, &error);
  if (!connection_) {
    status_ = Status::Error(error);
    return;
  }
  connection_->SetAfterDispatch([this] { Deliver(); });
}

RemoteFeeder::~RemoteFeeder() {
  sd_bus_slot_unref(service_watch_);
  if (connection_) connection_->SetAfterDispatch(nullptr);
}

Status RemoteFeeder::Call(sd_bus_message* call, uint64_t timeout_usec, sd_bus_message** reply,
                          std::string* error_name) {
  if (reply != nullptr) *reply = nullptr;
  if (!status_.ok()) return status_;
  if (connection_->dispatching()) {
    // Only our own callbacks run there, and they never call.
    return Status::Error("a call from inside the bus's dispatch");
  }
  Pending pending;
  sd_bus_slot* slot = nullptr;
  const int r =
      sd_bus_call_async(connection_->bus(), &slot, call, &OnReply, &pending, timeout_usec);
  if (r < 0) return Status::Error(std::string("cannot call the feeder: ") + std::strerror(-r));
  connection_->AfterCall();
  while (!pending.done && connection_->connected())
    loop_->RunOnce(100);
  sd_bus_slot_unref(slot);  // cancels the wait when the bus went away first
  if (!pending.done) return Status::Error("the session bus was lost");
  Status st = Status::Ok();
  if (const sd_bus_error* e = sd_bus_message_get_error(pending.reply); e != nullptr) {
    if (error_name != nullptr) *error_name = e->name != nullptr ? e->name : "";
    st = Status::Error(e->message != nullptr ? e->message : e->name);
  }
  if (st.ok() && reply != nullptr) {
    *reply = pending.reply;
  } else {
    sd_bus_message_unref(pending.reply);
  }
  return st;
}

void RemoteFeeder::NoteService(const char* unique_name) {
  if (!service_.empty() || unique_name == nullptr) return;
  service_ = unique_name;
  const std::string rule =
      "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
      "member='NameOwnerChanged',arg0='" +
      service_ + "'";
  sd_bus_add_match_async(connection_->bus(), &service_watch_, rule.c_str(),
                         &RemoteFeeder::OnServiceGone, nullptr, this);
  connection_->AfterCall();
}

int RemoteFeeder::OnServiceGone(sd_bus_message* m, void* userdata, sd_bus_error*) {
  auto* self = static_cast<RemoteFeeder*>(userdata);
  const char *name = nullptr, *old_owner = nullptr, *new_owner = nullptr;
  if (sd_bus_message_read(m, "sss", &name, &old_owner, &new_owner) < 0) return 0;
  if (new_owner != nullptr && *new_owner == '\0') self->service_ended_ = true;
  return 0;
}

void RemoteFeeder::Post(QUOTLINKCls* object, Mailbox box, uint64_t sequence) {
  events_.push_back(Event{object, std::move(box), sequence});
}

void RemoteFeeder::Forget(QUOTLINKCls* object) {
  std::erase_if(events_, [object](const Event& e) { return e.object == object; });
}

void RemoteFeeder::Deliver() {
  // One at a time from the front: a handler that pumps delivers the next ones itself, in order.
  while (!events_.empty()) {
    Event e = std::move(events_.front());
    events_.pop_front();
    e.object->Take(e.box, e.sequence);
  }
}

}  // namespace quotlink::remote
