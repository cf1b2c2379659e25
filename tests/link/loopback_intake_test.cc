// Frames over real sockets on loopback, through the feeder's own sockets and loop.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <random>

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "platform/poll_loop.h"
#include "platform/posix_socket.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

sockaddr_in Loopback(int port) {
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sa.sin_port = htons(static_cast<uint16_t>(port));
  return sa;
}

TEST(LoopbackIntakeTest, EveryFrameReachesItsProcessorOnceInOrder) {
  SystemClock clock;
  PollLoop loop(&clock);
  PosixSocketFactory factory(&loop);
  QUOTLINKBAS bas(&loop, &factory, nullptr);
  QUOTLINKFRM& frm = bas.Form();
  std::vector<ByteString> tcp_frames, udp_frames;
  bas.Link().frame_tap = [&](FeedPath p, ByteView f) {
    (p == FeedPath::kTcp ? tcp_frames : udp_frames).emplace_back(f);
  };

  // The feed's side: a listener for the TCP connection.
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in sa = Loopback(0);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&sa), sizeof sa), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  socklen_t len = sizeof sa;
  getsockname(listener, reinterpret_cast<sockaddr*>(&sa), &len);

  bas.Link().UDP->SetLocalPort(0);
  ASSERT_TRUE(bas.Link().UDP->Bind().ok());
  const int udp_port = static_cast<PosixSocket*>(bas.Link().UDP.get())->BoundPort();
  bas.Link().TCP->SetRemoteHost("127.0.0.1");
  bas.Link().TCP->SetRemotePort(ntohs(sa.sin_port));
  ASSERT_TRUE(bas.Link().TCP->Connect().ok());
  ASSERT_TRUE(WaitPumping(loop, 5.0, [&] { return bas.Link().TcpConnected == 1; }));
  const int peer = accept(listener, nullptr, nullptr);
  ASSERT_GE(peer, 0);

  std::mt19937 rng(7);
  std::vector<ByteString> sent_tcp, sent_udp;
  ByteString tcp_stream, udp_stream;
  for (int i = 0; i < 400; ++i) {
    ByteString body(1 + rng() % 300, '\0');
    for (auto& c : body)
      c = static_cast<char>(rng());
    body[0] = static_cast<char>(i);
    const ByteString frame = BuildFrame(static_cast<uint8_t>(20 + i % 3), body);
    if (body.size() == 1) continue;  // a 1-byte body is a stall, not a frame
    (i % 2 ? sent_tcp : sent_udp).push_back(frame);
    (i % 2 ? tcp_stream : udp_stream) += frame;
  }

  // TCP in odd-sized pieces, UDP in datagrams that hold several frames or split them.
  const int udp_out = socket(AF_INET, SOCK_DGRAM, 0);
  const sockaddr_in to = Loopback(udp_port);
  size_t tpos = 0, upos = 0;
  while (tpos < tcp_stream.size() || upos < udp_stream.size()) {
    if (tpos < tcp_stream.size()) {
      const size_t n = std::min<size_t>(1 + rng() % 997, tcp_stream.size() - tpos);
      ASSERT_EQ(send(peer, tcp_stream.data() + tpos, n, 0), static_cast<ssize_t>(n));
      tpos += n;
    }
    if (upos < udp_stream.size()) {
      const size_t n = std::min<size_t>(1 + rng() % 1400, udp_stream.size() - upos);
      sendto(udp_out, udp_stream.data() + upos, n, 0, reinterpret_cast<const sockaddr*>(&to),
             sizeof to);
      upos += n;
      loop.PumpOnce();  // keep the datagrams from piling up past the socket's buffer
    }
  }
  EXPECT_TRUE(WaitPumping(loop, 10.0, [&] {
    return tcp_frames.size() >= sent_tcp.size() && udp_frames.size() >= sent_udp.size();
  }));
  EXPECT_EQ(tcp_frames, sent_tcp);
  EXPECT_EQ(udp_frames, sent_udp);
  close(udp_out);
  close(peer);
  close(listener);
}

}  // namespace
}  // namespace quotlink
