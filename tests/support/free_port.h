// A loopback port that was free a moment ago, for tests that start servers and programs.
#ifndef QUOTLINK_TESTS_SUPPORT_FREE_PORT_H_
#define QUOTLINK_TESTS_SUPPORT_FREE_PORT_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quotlink {

// `type` is SOCK_STREAM or SOCK_DGRAM. Another process may take the port before the caller binds
// it; on a test machine that is rare enough.
inline int FreePort(int type) {
  const int fd = socket(AF_INET, type, 0);
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa);
  socklen_t len = sizeof sa;
  getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len);
  close(fd);
  return ntohs(sa.sin_port);
}

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_FREE_PORT_H_
