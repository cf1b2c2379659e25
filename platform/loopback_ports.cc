#include "platform/loopback_ports.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

namespace quotlink {
sockaddr_in LoopbackAddress(int port) {
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  sa.sin_port = htons(static_cast<uint16_t>(port));
  return sa;
}

int FreeLoopbackPort(int type) {
  const int fd = socket(AF_INET, type, 0);
  if (fd < 0) return 0;
  sockaddr_in sa = LoopbackAddress(0);
  socklen_t len = sizeof sa;
  int port = 0;
  if (bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0 &&
      getsockname(fd, reinterpret_cast<sockaddr*>(&sa), &len) == 0) {
    port = ntohs(sa.sin_port);
  }
  close(fd);
  return port;
}

bool LoopbackListening(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd < 0) return false;
  const sockaddr_in sa = LoopbackAddress(port);
  const bool ok = connect(fd, reinterpret_cast<const sockaddr*>(&sa), sizeof sa) == 0;
  close(fd);
  return ok;
}

}  // namespace quotlink
