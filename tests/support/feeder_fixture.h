// A whole feeder on a fake clock and fake sockets, showing nothing.
#ifndef QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_
#define QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_

#include "client/console_surface.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "platform/poll_loop.h"
#include "tests/support/fake_socket.h"

namespace quotlink {

struct FeederFixture {
  FakeClock clock;
  PollLoop loop{&clock};
  FakeSocketFactory sockets;
  ConsoleView view;  // a test that reads the console sets its own view on `frm`
  QUOTLINKBAS bas{&loop, &sockets, &view};
  QUOTLINKFRM& frm = bas.Form();
  FakeSocket& tcp = *static_cast<FakeSocket*>(bas.Link().TCP.get());
  FakeSocket& udp = *static_cast<FakeSocket*>(bas.Link().UDP.get());
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_
