#include "tests/support/scripted_feed.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quotlink {

int RequestCode(ByteView request) {
  if (request.size() != 8 || ByteAt(request, 0) != 0x44) return -1;
  return ByteAt(request, 1);
}

ScriptedFeed::ScriptedFeed(EventLoop* loop) : loop_(loop) {
  listener_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  int one = 1;
  setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(listener_, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
  listen(listener_, 4);
  socklen_t len = sizeof sa;
  getsockname(listener_, reinterpret_cast<sockaddr*>(&sa), &len);
  port_ = ntohs(sa.sin_port);
  listener_reg_ = loop_->AddFd(listener_, true, false, [this](int) { OnAccept(); });
  udp_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

ScriptedFeed::~ScriptedFeed() {
  DropClient();
  loop_->RemoveFd(listener_reg_);
  close(listener_);
  close(udp_);
}

void ScriptedFeed::DropClient() {
  if (client_ < 0) return;
  loop_->RemoveFd(client_reg_);
  close(client_);
  client_ = -1;
  pending_.clear();
}

void ScriptedFeed::OnAccept() {
  const int fd = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return;
  DropClient();  // one client at a time: a new connection replaces the old one
  client_ = fd;
  ++accepted;
  client_reg_ = loop_->AddFd(client_, true, false, [this](int) { OnClient(); });
}

void ScriptedFeed::OnClient() {
  char buf[4096];
  const ssize_t n = recv(client_, buf, sizeof buf, 0);
  if (n <= 0) {
    DropClient();
    return;
  }
  pending_.append(buf, static_cast<size_t>(n));
  while (pending_.size() >= 8) {
    const ByteString request = pending_.substr(0, 8);
    pending_.erase(0, 8);
    requests.push_back(request);
    if (on_request) on_request(*this, request);
  }
}

void ScriptedFeed::SendTcp(ByteView bytes) {
  while (client_ >= 0 && !bytes.empty()) {
    const ssize_t n = send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n <= 0) return;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
}

void ScriptedFeed::SendUdp(int port, ByteView bytes) {
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sa.sin_port = htons(static_cast<uint16_t>(port));
  sendto(udp_, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
}

}  // namespace quotlink
