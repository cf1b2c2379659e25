// A whole feeder on a fake clock and fake sockets, showing nothing.
#ifndef QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_
#define QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_

#include "client/console_surface.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "platform/poll_loop.h"
#include "tests/support/fake_socket.h"
#include "tools/imagegen/frame_writer.h"

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

  // The feed connects `connect_delay_ms` after each Connect (on the loop's clock) and answers
  // the watch list reset at once, so that a session start ends without waiting out its limits.
  void AnswerFeed(int connect_delay_ms) {
    tcp.loop = &loop;
    tcp.connect_delay_ms = connect_delay_ms;
    tcp.on_sent = [this](ByteView r) {
      if (static_cast<uint8_t>(r[1]) == 28) tcp.Arrive(StatusPacket(12));
    };
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_
