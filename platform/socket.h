// The feeder's two sockets, TCP and UDP, as the link sees them. The interface uses nothing but
// the standard library, so the link can be tested with a fake; the POSIX implementation is in
// posix_socket.h.
//
// Events come through the event loop. `on_data_arrival` keeps coming while data waits unread: a
// handler that returns without reading is called again at a later pump. `on_connect` comes once
// when an asynchronous Connect has succeeded; a failed Connect raises nothing.
#ifndef QUOTLINK_PLATFORM_SOCKET_H_
#define QUOTLINK_PLATFORM_SOCKET_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "util/bytes.h"
#include "util/status.h"

namespace quotlink {

enum class Protocol { kTcp, kUdp };

class Socket {
 public:
  virtual ~Socket() = default;

  // Properties, applied by the next Bind or Connect.
  void SetRemoteHost(std::string host) { remote_host_ = std::move(host); }
  void SetRemotePort(int32_t port) { remote_port_ = port; }
  void SetLocalPort(int32_t port) { local_port_ = port; }
  // UDP: the hosts whose datagrams are taken, resolved by the next Bind; empty takes any. A
  // datagram from another host is read and dropped by GetData, and counted: anyone can send
  // to the port, and a stray frame would otherwise reach the feed's decoding.
  void SetAcceptedSources(std::vector<std::string> hosts) { accepted_sources_ = std::move(hosts); }
  const std::vector<std::string>& AcceptedSources() const { return accepted_sources_; }
  const std::string& RemoteHost() const { return remote_host_; }
  int32_t RemotePort() const { return remote_port_; }
  int32_t LocalPort() const { return local_port_; }

  // UDP: binds LocalPort on every local address and starts receiving.
  virtual Status Bind() = 0;
  // TCP: starts connecting to RemoteHost:RemotePort and returns at once.
  virtual Status Connect() = 0;
  // Closes whatever is open; closing a closed socket is an error the callers ignore.
  virtual Status Close() = 0;
  // TCP: queues `data` whole, in order; what the kernel doesn't take at once goes out when the
  // socket is writable. Fails with the error's text when not connected, and drops `data`
  // whole (failing, and counting it) when the bytes waiting would pass kMaxUnsent.
  virtual Status SendData(ByteView data) = 0;
  // Replaces `*out` by what is queued: on TCP everything readable now (in pieces of at most
  // kMaxTcpRead, the rest comes with the next event), on UDP one datagram from an accepted
  // host (empty when only others were waiting).
  virtual void GetData(ByteString* out) = 0;
  // UDP: the datagrams dropped for their source since the socket was made.
  virtual uint64_t RefusedDatagrams() const { return 0; }
  // TCP: the sends dropped since the socket was made because too much waited unsent.
  virtual uint64_t DroppedSends() const { return 0; }
  // UDP: the size of the kernel's receive buffer that the last Bind got; 0 when unknown.
  virtual size_t ReceiveBuffer() const { return 0; }
  // What Bind asks of the kernel for that: a burst of quotes while the feeder is busy (a
  // session start's waits, a client's handler) must wait there, not be lost.
  static constexpr size_t kWantedReceiveBuffer = 4 << 20;

  std::function<void()> on_data_arrival;
  std::function<void()> on_connect;

  // One TCP read takes at most this much. The intake drops its whole buffer when one read would
  // carry it over its limit, so a read must stay well under that limit: a fast but healthy
  // stream is then never mistaken for an overflow.
  static constexpr size_t kMaxTcpRead = 65536;
  // TCP: the most bytes that wait unsent. Requests are a few bytes each; a server that stops
  // reading must not take the feeder's memory with the requests it doesn't read.
  static constexpr size_t kMaxUnsent = 1 << 20;

 private:
  std::vector<std::string> accepted_sources_;
  std::string remote_host_;
  int32_t remote_port_ = 0;
  int32_t local_port_ = 0;
};

class SocketFactory {
 public:
  virtual ~SocketFactory() = default;
  virtual std::unique_ptr<Socket> Create(Protocol protocol) = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_SOCKET_H_
