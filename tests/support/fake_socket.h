// A Socket for tests: records what is sent, hands out what the test queues, and raises its
// events only when the test says so.
#ifndef QUOTLINK_TESTS_SUPPORT_FAKE_SOCKET_H_
#define QUOTLINK_TESTS_SUPPORT_FAKE_SOCKET_H_

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/event_loop.h"
#include "platform/socket.h"

namespace quotlink {

class FakeSocket : public Socket {
 public:
  explicit FakeSocket(Protocol protocol) : protocol_(protocol) {}

  Status Bind() override;
  Status Connect() override;
  Status Close() override;
  Status SendData(ByteView data) override;
  void GetData(ByteString* out) override;
  uint64_t RefusedDatagrams() const override { return refused_; }
  uint64_t DroppedSends() const override { return dropped_sends; }
  size_t ReceiveBuffer() const override { return receive_buffer; }

  // Test side: queues `bytes` and raises DataArrival once. A datagram comes from `from`, or
  // without it from RemoteHost(), the feed's host.
  void Arrive(ByteView bytes, const char* from = nullptr) {
    Queue(bytes, from);
    if (on_data_arrival) on_data_arrival();
  }
  // Queues `bytes` as Arrive does, without the event: for a caller that runs the handler itself
  // (a benchmark timing the handler alone).
  void Queue(ByteView bytes, const char* from = nullptr) {
    incoming_.push_back({ByteString(bytes), from != nullptr ? from : RemoteHost()});
  }
  void RaiseConnect() {
    connected_ = true;
    if (on_connect) on_connect();
  }

  bool bound() const { return bound_; }
  // The code byte of each request in `sent`, in order.
  std::vector<int> RequestCodes() const {
    std::vector<int> codes;
    for (const ByteString& r : sent)
      codes.push_back(static_cast<uint8_t>(r[1]));
    return codes;
  }
  // Every request that went out, one entry per SendData.
  std::vector<ByteString> sent;
  uint64_t dropped_sends = 0;  // what DroppedSends says
  size_t receive_buffer = 0;   // what ReceiveBuffer says
  // Every call in order: "Bind", "Connect", "Close".
  std::vector<std::string> calls;
  // Called with each request that went out (the test's feed server answers from here).
  std::function<void(ByteView)> on_sent;
  // When set, a Connect raises the Connect event after `connect_delay_ms` on this loop's clock
  // (a timer of the loop); otherwise only RaiseConnect does.
  EventLoop* loop = nullptr;
  int connect_delay_ms = -1;

 private:
  Protocol protocol_;
  bool bound_ = false;
  bool connecting_ = false;
  bool connected_ = false;
  struct Datagram {
    ByteString bytes;
    std::string from;
  };
  std::deque<Datagram> incoming_;
  uint64_t refused_ = 0;
  int connect_timer_ = 0;
};

class FakeSocketFactory : public SocketFactory {
 public:
  std::unique_ptr<Socket> Create(Protocol protocol) override {
    return std::make_unique<FakeSocket>(protocol);
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_FAKE_SOCKET_H_
