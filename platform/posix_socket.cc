#include "platform/posix_socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace quotlink {
namespace {

Status Errno(const char* what) {
  return Status::Error(std::string(what) + ": " + strerror(errno));
}

// Datagram events delivered for one readiness of the descriptor, before the loop polls again.
constexpr int kMaxArrivalsPerReady = 64;

bool PortInRange(int32_t port) {
  return port >= 0 && port <= 65535;
}

}  // namespace

bool ResolveIpv4(const std::string& host, uint32_t* addr) {
  in_addr a{};
  if (inet_pton(AF_INET, host.c_str(), &a) == 1) {
    *addr = a.s_addr;
    return true;
  }
  addrinfo hints{};
  hints.ai_family = AF_INET;
  addrinfo* res = nullptr;
  if (host.empty() || getaddrinfo(host.c_str(), nullptr, &hints, &res) != 0 || res == nullptr) {
    return false;
  }
  *addr = reinterpret_cast<sockaddr_in*>(res->ai_addr)->sin_addr.s_addr;
  freeaddrinfo(res);
  return true;
}

PosixSocket::~PosixSocket() {
  (void)Close();
}

Status PosixSocket::Bind() {
  if (protocol_ != Protocol::kUdp) return Status::Error("Bind: not a datagram socket");
  if (state_ != State::kClosed) return Status::Error("Bind: socket is already open");
  if (!PortInRange(LocalPort())) return Status::Error("Bind: local port out of range");
  fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd_ < 0) return Errno("Bind");
  int one = 1;
  setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  // A large receive buffer: datagrams that come while the feeder decodes wait in the kernel.
  // The kernel caps what an unprivileged process may ask for (net.core.rmem_max); a privileged
  // one may pass the cap. What was given is kept, so that a short buffer can be told.
  int rcvbuf = static_cast<int>(kWantedReceiveBuffer);
  if (setsockopt(fd_, SOL_SOCKET, SO_RCVBUFFORCE, &rcvbuf, sizeof rcvbuf) != 0) {
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &rcvbuf, sizeof rcvbuf);
  }
  int given = 0;
  socklen_t given_len = sizeof given;
  // The kernel reports twice what it counts for data (the rest is its bookkeeping).
  if (getsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &given, &given_len) == 0) {
    receive_buffer_ = static_cast<size_t>(given) / 2;
  }
  // A host that doesn't resolve adds no address: its datagrams, and only those, are refused.
  any_source_ = AcceptedSources().empty();
  accepted_.clear();
  for (const std::string& host : AcceptedSources()) {
    uint32_t addr = 0;
    if (ResolveIpv4(host, &addr)) accepted_.push_back(addr);
  }
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_ANY);
  sa.sin_port = htons(static_cast<uint16_t>(LocalPort()));
  if (bind(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
    Status st = Errno("Bind");
    close(fd_);
    fd_ = -1;
    return st;
  }
  state_ = State::kBound;
  reg_ = loop_->AddFd(fd_, true, false, [this](int ready) { OnReady(ready); });
  return Status::Ok();
}

Status PosixSocket::Connect() {
  if (protocol_ != Protocol::kTcp) return Status::Error("Connect: not a stream socket");
  if (state_ != State::kClosed) return Status::Error("Connect: socket is already open");
  if (!PortInRange(RemotePort())) return Status::Error("Connect: remote port out of range");
  uint32_t addr = 0;
  if (!ResolveIpv4(RemoteHost(), &addr)) {
    return Status::Error("Connect: cannot resolve '" + RemoteHost() + "'");
  }
  fd_ = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd_ < 0) return Errno("Connect");
  int one = 1;
  // Requests are 8 bytes each and go out back to back; don't hold them for coalescing.
  setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = addr;
  sa.sin_port = htons(static_cast<uint16_t>(RemotePort()));
  if (connect(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0 && errno != EINPROGRESS) {
    Status st = Errno("Connect");
    close(fd_);
    fd_ = -1;
    return st;
  }
  state_ = State::kConnecting;
  peer_closed_ = false;
  reg_ = loop_->AddFd(fd_, false, true, [this](int ready) { OnReady(ready); });
  return Status::Ok();
}

Status PosixSocket::Close() {
  if (state_ == State::kClosed) return Status::Error("Close: socket is not open");
  loop_->RemoveFd(reg_);
  reg_ = 0;
  close(fd_);
  fd_ = -1;
  state_ = State::kClosed;
  batch_.Release();         // datagrams of a closed socket are gone with it
  ByteString().swap(out_);  // what a server that stopped reading left is given back
  out_start_ = 0;
  return Status::Ok();
}

Status PosixSocket::SendData(ByteView data) {
  if (protocol_ != Protocol::kTcp || state_ != State::kConnected || peer_closed_) {
    return Status::Error("Wrong protocol or connection state for the requested transaction");
  }
  // Whole or not at all: a request cut short would garble every request behind it.
  if (out_.size() - out_start_ + data.size() > kMaxUnsent) {
    ++dropped_sends_;
    return Status::Error("the server reads nothing; over 1 MiB waits unsent");
  }
  // What went out already is let go before the queue grows, so it never holds more than
  // about twice what waits.
  if (out_start_ > 0 && out_start_ >= out_.size() / 2) {
    out_.erase(0, out_start_);
    out_start_ = 0;
  }
  if (out_start_ == out_.size()) {
    // Nothing waits: try to send directly, and keep only what the kernel refused.
    while (!data.empty()) {
      const ssize_t n = send(fd_, data.data(), data.size(), MSG_NOSIGNAL);
      if (n > 0) {
        data.remove_prefix(static_cast<size_t>(n));
      } else if (n < 0 && errno == EINTR) {
        continue;
      } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        break;
      } else {
        return Errno("Send");
      }
    }
    out_.clear();
    out_start_ = 0;
  }
  out_.append(data);
  UpdateInterest();
  return Status::Ok();
}

void PosixSocket::FlushOutput() {
  while (out_start_ < out_.size()) {
    const ssize_t n = send(fd_, out_.data() + out_start_, out_.size() - out_start_, MSG_NOSIGNAL);
    if (n > 0) {
      out_start_ += static_cast<size_t>(n);
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      return;
    } else {
      // The connection is gone; what waited can't go out. The next SendData reports it.
      peer_closed_ = true;
      out_.clear();
      out_start_ = 0;
      return;
    }
  }
  out_.clear();
  out_start_ = 0;
}

void PosixSocket::UpdateInterest() {
  if (reg_ == 0) return;
  const bool want_write =
      state_ == State::kConnecting || (state_ == State::kConnected && out_start_ < out_.size());
  const bool want_read = state_ == State::kBound || (state_ == State::kConnected && !peer_closed_);
  loop_->SetFdInterest(reg_, want_read, want_write);
}

void PosixSocket::OnReady(int ready) {
  if (state_ == State::kConnecting) {
    int err = 0;
    socklen_t len = sizeof err;
    getsockopt(fd_, SOL_SOCKET, SO_ERROR, &err, &len);
    if (err != 0 || (ready & EventLoop::kError)) {
      // A refused connection raises no event: the session sees only that none came. The socket
      // is closed at once, since the kernel clears the error once it has been read and a later
      // readiness would look like success.
      loop_->RemoveFd(reg_);
      reg_ = 0;
      close(fd_);
      fd_ = -1;
      state_ = State::kClosed;
      return;
    }
    state_ = State::kConnected;
    UpdateInterest();
    if (on_connect) on_connect();
    return;
  }
  if ((ready & EventLoop::kWritable) && state_ == State::kConnected) {
    FlushOutput();
    UpdateInterest();
  }
  if (state_ == State::kClosed) return;
  if ((ready & (EventLoop::kReadable | EventLoop::kError)) && on_data_arrival) {
    if (protocol_ == Protocol::kUdp) {
      DeliverDatagrams();
    } else {
      on_data_arrival();
    }
  }
}

// One arrival event per datagram, for each datagram of a batch: the batch was read with one
// system call, and nothing but this socket's handler would tell the loop that it holds more.
void PosixSocket::DeliverDatagrams() {
  const int reg = reg_;
  for (int i = 0; i < kMaxArrivalsPerReady; ++i) {
    if (batch_.empty() && batch_.Fill(fd_) == 0) return;
    const size_t waiting = batch_.waiting();
    on_data_arrival();
    // The handler may have closed (and bound again) the socket: the batch is another's now.
    if (reg_ != reg || fd_ < 0) return;
    // A handler that read nothing is inside a pass of its own; the datagrams wait for the next
    // readiness of the descriptor, or for that pass to end and this loop to go on.
    if (batch_.waiting() == waiting) return;
  }
}

void PosixSocket::GetData(ByteString* out) {
  out->clear();
  if (fd_ < 0) return;
  if (protocol_ == Protocol::kUdp) {
    // Refused datagrams are passed over, with at most one read of the kernel per call: a flood
    // of them must not hold the loop; the event comes again for the rest.
    bool read_kernel = false;
    for (;;) {
      if (batch_.empty()) {
        if (read_kernel || batch_.Fill(fd_) == 0) return;
        read_kernel = true;
      }
      uint32_t from = 0;
      const ByteView datagram = batch_.Take(&from);
      if (Accepted(from)) {
        out->assign(datagram);
        return;
      }
      ++refused_;
    }
  }
  char chunk[65536];
  while (out->size() < kMaxTcpRead) {
    const size_t want = std::min(sizeof chunk, kMaxTcpRead - out->size());
    const ssize_t n = recv(fd_, chunk, want, 0);
    if (n > 0) {
      out->append(chunk, static_cast<size_t>(n));
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK)) {
      // The peer closed or the connection broke. Nothing handles a lost connection: stop
      // listening for reads (a closed stream is always readable), and let sends fail.
      peer_closed_ = true;
      UpdateInterest();
    }
    return;
  }
}

bool PosixSocket::Accepted(uint32_t addr) const {
  return any_source_ || std::find(accepted_.begin(), accepted_.end(), addr) != accepted_.end();
}

int PosixSocket::BoundPort() const {
  if (fd_ < 0) return 0;
  sockaddr_in sa{};
  socklen_t len = sizeof sa;
  if (getsockname(fd_, reinterpret_cast<sockaddr*>(&sa), &len) != 0) return 0;
  return ntohs(sa.sin_port);
}

}  // namespace quotlink
