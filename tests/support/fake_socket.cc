#include "tests/support/fake_socket.h"

#include <algorithm>

namespace quotlink {

Status FakeSocket::Bind() {
  calls.push_back("Bind");
  if (bound_) return Status::Error("Bind: already bound");
  bound_ = true;
  return Status::Ok();
}

Status FakeSocket::Connect() {
  calls.push_back("Connect");
  connecting_ = true;
  if (loop != nullptr && connect_delay_ms >= 0) {
    connect_timer_ = loop->AddTimer(connect_delay_ms, [this] {
      loop->RemoveTimer(connect_timer_);
      connect_timer_ = 0;
      if (connecting_) RaiseConnect();
    });
  }
  return Status::Ok();
}

Status FakeSocket::Close() {
  calls.push_back("Close");
  const bool was_open = bound_ || connecting_ || connected_;
  bound_ = connecting_ = connected_ = false;
  if (connect_timer_ != 0 && loop != nullptr) loop->RemoveTimer(connect_timer_);
  connect_timer_ = 0;
  return was_open ? Status::Ok() : Status::Error("Close: not open");
}

Status FakeSocket::SendData(ByteView data) {
  if (!connected_) {
    return Status::Error("Wrong protocol or connection state for the requested transaction");
  }
  sent.emplace_back(data);
  if (on_sent) on_sent(data);
  return Status::Ok();
}

void FakeSocket::GetData(ByteString* out) {
  out->clear();
  if (incoming_.empty()) return;
  if (protocol_ == Protocol::kUdp) {
    const std::vector<std::string>& ok = AcceptedSources();
    while (!incoming_.empty()) {
      Datagram d = std::move(incoming_.front());
      incoming_.pop_front();
      if (ok.empty() || std::find(ok.begin(), ok.end(), d.from) != ok.end()) {
        *out = std::move(d.bytes);
        return;
      }
      ++refused_;
    }
    return;
  }
  while (!incoming_.empty()) {
    out->append(incoming_.front().bytes);
    incoming_.pop_front();
  }
}

}  // namespace quotlink
