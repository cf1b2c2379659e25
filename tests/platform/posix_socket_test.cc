#include "platform/posix_socket.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/loopback_ports.h"
#include "platform/poll_loop.h"

namespace quotlink {
namespace {

// A listening TCP socket on loopback at a free port.
struct Listener {
  int fd = -1;
  int port = 0;
  Listener() {
    fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in sa = LoopbackAddress(0);
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa), 0);
    EXPECT_EQ(listen(fd, 4), 0);
    socklen_t len = sizeof sa;
    getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len);
    port = ntohs(sa.sin_port);
  }
  ~Listener() { close(fd); }
};

TEST(PosixSocketTest, RefusedConnectIsSilentThenConnectsSendsInOrderAndReceives) {
  SystemClock clock;
  PollLoop loop(&clock);
  PosixSocket tcp(&loop, Protocol::kTcp);
  tcp.SetRemoteHost("127.0.0.1");
  bool connected = false;
  tcp.on_connect = [&] { connected = true; };
  {
    Listener gone;
    tcp.SetRemotePort(gone.port);
  }
  // A refused connection raises no event and leaves the socket closed, ready to try again.
  ASSERT_TRUE(tcp.Connect().ok());
  EXPECT_FALSE(WaitPumping(loop, 0.3, [&] { return connected; }));
  Listener server;
  tcp.SetRemotePort(server.port);
  ASSERT_TRUE(tcp.Connect().ok());
  EXPECT_TRUE(WaitPumping(loop, 5.0, [&] { return connected; }));
  const int peer = accept(server.fd, nullptr, nullptr);
  ASSERT_GE(peer, 0);

  // A peer that doesn't read: what the kernel doesn't take waits, up to the bound; past it a
  // send is dropped whole. What was taken follows in order as the peer reads.
  ByteString accepted;
  ByteString chunk(100'000, '\0');
  for (int i = 0; i < 400; ++i) {
    for (size_t k = 0; k < chunk.size(); ++k)
      chunk[k] = static_cast<char>((i * 7 + k) % 251);
    if (!tcp.SendData(chunk).ok()) break;
    accepted += chunk;
  }
  EXPECT_EQ(tcp.DroppedSends(), 1u);
  ByteString got;
  char buf[65536];
  while (got.size() < accepted.size()) {
    loop.PumpOnce();
    const ssize_t n = recv(peer, buf, sizeof buf, MSG_DONTWAIT);
    if (n > 0) got.append(buf, static_cast<size_t>(n));
  }
  EXPECT_TRUE(got == accepted) << got.size() << " bytes of " << accepted.size();

  ByteString received;
  tcp.on_data_arrival = [&] {
    ByteString piece;
    tcp.GetData(&piece);
    received += piece;
  };
  ASSERT_EQ(send(peer, "\"\0abc", 5, 0), 5);
  EXPECT_TRUE(WaitPumping(loop, 5.0, [&] { return received.size() == 5; }));
  EXPECT_EQ(received, ByteString("\"\0abc", 5));

  // A closed peer stops the arrival events instead of spinning, and later sends fail.
  close(peer);
  WaitPumping(loop, 0.2, nullptr);
  const size_t before = received.size();
  WaitPumping(loop, 0.1, nullptr);
  EXPECT_EQ(received.size(), before);
  EXPECT_FALSE(tcp.SendData("x").ok());
}

// One datagram per read, from the accepted hosts only: here first a host that isn't this one,
// so loopback's datagrams are refused and counted, then loopback by its name.
TEST(PosixSocketTest, UdpGivesOneDatagramPerReadFromTheAcceptedHosts) {
  SystemClock clock;
  PollLoop loop(&clock);
  PosixSocket udp(&loop, Protocol::kUdp);
  udp.SetLocalPort(0);
  udp.SetAcceptedSources({"192.0.2.1"});
  std::vector<ByteString> datagrams;
  udp.on_data_arrival = [&] {
    ByteString d;
    udp.GetData(&d);
    if (!d.empty()) datagrams.push_back(d);
  };
  const int out = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in sa = LoopbackAddress(0);
  const auto send = [&](ByteView d) {
    sendto(out, d.data(), d.size(), 0, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
  };
  const auto bind_and_send = [&](const char* accepted) {
    udp.SetAcceptedSources({accepted});
    ASSERT_TRUE(udp.Bind().ok());
    EXPECT_FALSE(udp.Bind().ok());
    sa.sin_port = htons(static_cast<uint16_t>(udp.BoundPort()));
    send(ByteView("ab\0", 3));
    send("cd");
  };
  bind_and_send("192.0.2.1");
  EXPECT_TRUE(WaitPumping(loop, 5.0, [&] { return udp.RefusedDatagrams() == 2; }));
  EXPECT_TRUE(udp.Close().ok());
  bind_and_send("localhost");
  EXPECT_TRUE(WaitPumping(loop, 5.0, [&] { return datagrams.size() == 2; }));
  close(out);
  EXPECT_EQ(datagrams, (std::vector<ByteString>{ByteString("ab\0", 3), "cd"}));
  EXPECT_EQ(udp.RefusedDatagrams(), 2u);
  EXPECT_GT(udp.ReceiveBuffer(), 0u);
  EXPECT_TRUE(udp.Close().ok());
  EXPECT_FALSE(udp.Close().ok());
}

// Datagrams are read in batches but handed out one per arrival event, in order, whole (the
// largest and the empty one too), also when a handler pumps the loop and the nested event reads
// nothing, as the intake's busy guard makes it.
TEST(PosixSocketTest, UdpBatchesGiveEveryDatagramWholeInOrderOnePerEvent) {
  SystemClock clock;
  PollLoop loop(&clock);
  PosixSocket udp(&loop, Protocol::kUdp);
  udp.SetLocalPort(0);
  udp.SetAcceptedSources({"127.0.0.1"});
  ASSERT_TRUE(udp.Bind().ok());
  std::vector<ByteString> got;
  bool busy = false;
  udp.on_data_arrival = [&] {
    if (busy) return;  // nested: leaves the datagram where it is
    busy = true;
    ByteString d;
    udp.GetData(&d);
    got.push_back(d);
    loop.PumpOnce();
    busy = false;
  };
  std::vector<ByteString> sent;
  for (int i = 0; i < 150; ++i)
    sent.push_back(ByteString(static_cast<size_t>(i * 7 % 300), static_cast<char>(i)));
  sent[40] = ByteString(65507, 'x');  // the largest IPv4 datagram
  sent[41].clear();
  const int out = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in sa = LoopbackAddress(udp.BoundPort());
  for (const ByteString& d : sent)
    sendto(out, d.data(), d.size(), 0, reinterpret_cast<const sockaddr*>(&sa), sizeof sa);
  close(out);
  EXPECT_TRUE(WaitPumping(loop, 5.0, [&] { return got.size() >= sent.size(); }));
  EXPECT_TRUE(got == sent) << got.size() << " datagrams";
}

}  // namespace
}  // namespace quotlink
