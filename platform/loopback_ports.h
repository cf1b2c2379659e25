// Small questions about loopback ports, for programs that start a server of their own and the
// tests that start programs.
#ifndef QUOTLINK_PLATFORM_LOOPBACK_PORTS_H_
#define QUOTLINK_PLATFORM_LOOPBACK_PORTS_H_

#include <netinet/in.h>

namespace quotlink {

// The IPv4 loopback address with `port` (0: any), ready for bind, connect or sendto.
sockaddr_in LoopbackAddress(int port);

// A loopback port that the kernel considers free now, for `type` SOCK_STREAM or SOCK_DGRAM; 0
// when none could be had. Another process may take it before the caller binds it.
int FreeLoopbackPort(int type);

// True when something accepts TCP connections on loopback `port` now. The probe connects and
// closes at once, so a listener sees one short connection.
bool LoopbackListening(int port);

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_LOOPBACK_PORTS_H_
