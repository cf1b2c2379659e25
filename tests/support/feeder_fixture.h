// A whole feeder on a fake clock, fake sockets and a recording console view.
#ifndef QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_
#define QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_

#include <string>
#include <vector>

#include "client/console_surface.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "platform/poll_loop.h"
#include "tests/support/fake_socket.h"

namespace quotlink {

// Records what the console showed, one line per event, as the console log writes them.
class RecordingView : public ConsoleView {
 public:
  void CaptionChanged(ConsoleItem item, std::string_view text) override {
    lines.push_back(std::string(ConsoleItemName(item)) + ": " + std::string(text));
  }
  void LampChanged(LampColor c) override {
    lines.push_back(c == LampColor::kLightCyan ? "Picture1: cyan" : "Picture1: red");
  }
  void ModalMessage(std::string_view text) override {
    lines.push_back("message: " + std::string(text));
  }
  void Beep() override { lines.push_back("beep"); }
  void RepaintItem(ConsoleItem) override { ++repaints; }
  void RepaintForm() override { ++repaints; }
  int Count(const std::string& line) const {
    int n = 0;
    for (const auto& l : lines)
      n += l == line;
    return n;
  }
  std::vector<std::string> lines;
  int repaints = 0;
};

struct FeederFixture {
  FakeClock clock;
  PollLoop loop{&clock};
  FakeSocketFactory sockets;
  RecordingView view;
  QUOTLINKBAS bas{&loop, &sockets, &view};
  QUOTLINKFRM& frm = bas.Form();
  FakeSocket& tcp = *static_cast<FakeSocket*>(bas.Link().TCP.get());
  FakeSocket& udp = *static_cast<FakeSocket*>(bas.Link().UDP.get());
  std::vector<std::pair<FeedPath, ByteString>> frames;

  FeederFixture() {
    bas.Link().frame_tap = [this](FeedPath p, ByteView f) {
      frames.emplace_back(p, ByteString(f));
    };
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_FEEDER_FIXTURE_H_
