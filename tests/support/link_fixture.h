// A FeedLink on its own: a fake clock and loop, fake sockets, the settings, a console that
// writes the console log into memory, and decoders that log what reaches them into the same
// memory. So a test compares all that the link showed and handed up as one text.
#ifndef QUOTLINK_TESTS_SUPPORT_LINK_FIXTURE_H_
#define QUOTLINK_TESTS_SUPPORT_LINK_FIXTURE_H_

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/console_log.h"
#include "client/console_surface.h"
#include "client/settings.h"
#include "link/feed_link.h"
#include "platform/poll_loop.h"
#include "tests/support/fake_socket.h"
#include "tests/support/memory_file.h"
#include "tests/support/temp_dir.h"

namespace quotlink {

// Logs each call as a line ("parse N bytes", "quotes N bytes", "record/W N bytes") and keeps
// the images with their versions; accepts an image unless told otherwise.
class LogDecoders : public FeedDecoders {
 public:
  explicit LogDecoders(std::FILE* log) : log_(log) {}
  bool ParseFeedDatabase(ByteView image, ByteView version) override {
    images.emplace_back(image);
    versions.emplace_back(version);
    std::fprintf(log_, "parse %zu bytes\n", image.size());
    return accept;
  }
  void DecodeQuotePacket(ByteView frame) override {
    std::fprintf(log_, "quotes %zu bytes\n", frame.size());
  }
  void DecodeRecordPacket(ByteView frame, int code_width) override {
    std::fprintf(log_, "record/%d %zu bytes\n", code_width, frame.size());
  }
  bool accept = true;
  std::vector<ByteString> images;
  std::vector<ByteString> versions;

 private:
  std::FILE* const log_;
};

// The settings' data folder is a fresh folder of the test's own.
struct LinkFixture {
  TempDir dir;
  FakeClock clock;
  PollLoop loop{&clock};
  FakeSocketFactory sockets;
  MemoryFile log;
  ConsoleLog view{log.file()};
  ConsoleSurface console{&view};
  Settings settings;
  FeedLink link{&loop, &sockets, &console, &settings};
  LogDecoders decoders{log.file()};
  FakeSocket& tcp = *static_cast<FakeSocket*>(link.TCP.get());
  FakeSocket& udp = *static_cast<FakeSocket*>(link.UDP.get());

  LinkFixture() {
    settings.DataFolder = dir.path();
    link.SetDecoders(&decoders);
  }

  // Runs `action` once, `ms` from now on the loop's clock (in a pump or a wait).
  void At(int ms, std::function<void()> action) {
    auto id = std::make_shared<int>();
    *id = loop.AddTimer(ms, [this, id, action = std::move(action)] {
      const auto run = action;  // removing the timer destroys this handler
      loop.RemoveTimer(*id);
      run();
    });
  }
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_LINK_FIXTURE_H_
