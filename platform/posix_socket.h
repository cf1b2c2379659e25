// Socket on POSIX non-blocking sockets, driven by an EventLoop.
#ifndef QUOTLINK_PLATFORM_POSIX_SOCKET_H_
#define QUOTLINK_PLATFORM_POSIX_SOCKET_H_

#include "platform/datagram_batch.h"
#include "platform/event_loop.h"
#include "platform/socket.h"

namespace quotlink {

class PosixSocket : public Socket {
 public:
  // `loop` must outlive the socket.
  PosixSocket(EventLoop* loop, Protocol protocol) : loop_(loop), protocol_(protocol) {}
  ~PosixSocket() override;
  PosixSocket(const PosixSocket&) = delete;
  PosixSocket& operator=(const PosixSocket&) = delete;

  Status Bind() override;
  Status Connect() override;
  Status Close() override;
  Status SendData(ByteView data) override;
  void GetData(ByteString* out) override;
  uint64_t RefusedDatagrams() const override { return refused_; }
  uint64_t DroppedSends() const override { return dropped_sends_; }
  size_t ReceiveBuffer() const override { return receive_buffer_; }

  // The port the kernel gave a socket bound to port 0 (tests use it), or 0.
  int BoundPort() const;

 private:
  enum class State { kClosed, kBound, kConnecting, kConnected };

  void OnReady(int ready);
  void DeliverDatagrams();
  // Whether a datagram from `addr` (network order) is taken.
  bool Accepted(uint32_t addr) const;
  void FlushOutput();
  void UpdateInterest();

  EventLoop* const loop_;
  const Protocol protocol_;
  State state_ = State::kClosed;
  int fd_ = -1;
  int reg_ = 0;
  bool peer_closed_ = false;
  std::vector<uint32_t> accepted_;  // the accepted sources, resolved at Bind
  bool any_source_ = true;
  uint64_t refused_ = 0;
  uint64_t dropped_sends_ = 0;
  size_t receive_buffer_ = 0;  // UDP: what the kernel gave of kWantedReceiveBuffer
  DatagramBatch batch_;        // UDP: datagrams read and not yet taken
  ByteString out_;             // TCP bytes the kernel hasn't taken yet
  size_t out_start_ = 0;       // sent prefix of out_
};

class PosixSocketFactory : public SocketFactory {
 public:
  explicit PosixSocketFactory(EventLoop* loop) : loop_(loop) {}
  std::unique_ptr<Socket> Create(Protocol protocol) override {
    return std::make_unique<PosixSocket>(loop_, protocol);
  }

 private:
  EventLoop* const loop_;
};

// Resolves a host text (dotted IPv4 or a name) into an IPv4 address; false when it can't.
bool ResolveIpv4(const std::string& host, uint32_t* addr_network_order);

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_POSIX_SOCKET_H_
