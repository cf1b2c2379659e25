// The command-line client with its console window, against the feed simulator, on the test's
// X server: what an operator sees and clicks.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/program_session.h"
#include "tests/support/temp_dir.h"
#include "tests/window/png_writer.h"
#include "tests/window/xvfb.h"

// Last: Xlib's macros (None, Bool, Status) would break what comes after them.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace quotlink {
namespace {

using Steady = std::chrono::steady_clock;

// The test's own connection to the X server, to find and look at the program's window.
class Screen {
 public:
  Screen() : display_(XOpenDisplay(nullptr)) {
    // The program's window may go away between a look-up and a question about it (a hidden
    // window is destroyed and made anew when shown): Xlib's default answer would end the test.
    XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
  }
  ~Screen() {
    if (display_ != nullptr) XCloseDisplay(display_);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  bool open() const { return display_ != nullptr; }

  // The top-level window captioned `name`, or 0. There is no window manager on the test server,
  // so top-level windows are the root's children.
  Window Find(const std::string& name) {
    Window root = 0, parent = 0, *children = nullptr;
    unsigned count = 0;
    if (!XQueryTree(display_, DefaultRootWindow(display_), &root, &parent, &children, &count))
      return 0;
    Window found = 0;
    for (unsigned i = 0; i < count && found == 0; ++i) {
      char* title = nullptr;
      if (XFetchName(display_, children[i], &title) && title != nullptr) {
        if (name == title) found = children[i];
        XFree(title);
      }
    }
    if (children != nullptr) XFree(children);
    return found;
  }

  // All zero (unmapped, no size) for a window that is gone.
  XWindowAttributes Attributes(Window w) {
    XWindowAttributes a{};
    if (!XGetWindowAttributes(display_, w, &a)) a = XWindowAttributes{};
    return a;
  }
  bool Viewable(Window w) { return Attributes(w).map_state == IsViewable; }

  // The window's pixels, 3 bytes each (red, green, blue), rows from the top.
  std::vector<uint8_t> Pixels(Window w, int width, int height) {
    std::vector<uint8_t> rgb;
    XImage* image = XGetImage(display_, w, 0, 0, static_cast<unsigned>(width),
                              static_cast<unsigned>(height), AllPlanes, ZPixmap);
    if (image == nullptr) return rgb;
    rgb.reserve(static_cast<size_t>(width) * static_cast<size_t>(height) * 3);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const unsigned long p = XGetPixel(image, x, y);
        rgb.push_back(static_cast<uint8_t>((p & image->red_mask) >> 16));
        rgb.push_back(static_cast<uint8_t>((p & image->green_mask) >> 8));
        rgb.push_back(static_cast<uint8_t>(p & image->blue_mask));
      }
    }
    XDestroyImage(image);
    return rgb;
  }

 private:
  Display* display_;
};

bool Eventually(const std::function<bool()>& done, int ms = 15000) {
  const auto end = Steady::now() + std::chrono::milliseconds(ms);
  while (!done()) {
    if (Steady::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

// A click at (x, y) of the window, in its pixels.
bool ClickAt(Window w, int x, int y) {
  return Xdotool("mousemove --window " + std::to_string(w) + " " + std::to_string(x) + " " +
                 std::to_string(y) + " click 1");
}

TEST(WindowProgramTest, TheWindowComesUpAgainstTheSimulatorAndItsButtonsWork) {
  const std::string& why = StartXvfb();
  if (!why.empty()) GTEST_SKIP() << why;
  if (!Xdotool("version")) GTEST_SKIP() << "xdotool is not installed (apt-get install xdotool)";
  Screen screen;
  ASSERT_TRUE(screen.open());

  Session s({"--rate", "100"});
  s.Watch({"ES", "NQ"}, "");  // no --console: a display answers, so the window
  Window win = 0;
  ASSERT_TRUE(Eventually([&] { return (win = screen.Find("DTN Control")) != 0; }))
      << "no window \"DTN Control\"";
  ASSERT_TRUE(Eventually([&] { return screen.Viewable(win); }));
  const XWindowAttributes at = screen.Attributes(win);
  EXPECT_EQ(at.width, 210);
  EXPECT_EQ(at.height, 174);
  ASSERT_TRUE(s.UntilLine(20, "\"Flag\":0", 3)) << s.out();

  // The lamp (Picture1, 84,146 15x15) lights with the frames that come in.
  std::vector<uint8_t> rgb;
  auto lamp = [&] {
    rgb = screen.Pixels(win, at.width, at.height);
    if (rgb.empty()) return 0;
    const uint8_t* p = rgb.data() + (153 * at.width + 91) * 3;
    return (p[0] << 16) | (p[1] << 8) | p[2];
  };
  EXPECT_TRUE(Eventually([&] { return lamp() == 0x00FFFF || lamp() == 0xFF0000; }))
      << std::hex << lamp();
  const char* out = std::getenv("QUOTLINK_SCREENSHOT");
  const std::string shot = out != nullptr && *out != '\0' ? out : s.dir().File("console.png");
  EXPECT_TRUE(WritePng(shot, at.width, at.height, rgb.data())) << shot;

  // "Restart" (139,146 65x24) saves the boxes and starts a new session; the quotes go on.
  const std::string settings = s.Folder() + "/DTN/QUOTLINKINFO.DAT";
  ASSERT_TRUE(std::filesystem::remove(settings));
  ASSERT_TRUE(ClickAt(win, 171, 158));
  EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(settings); }));
  EXPECT_NE(TempDir::Get(settings).find("127.0.0.1\r\n"), std::string::npos);
  const size_t before = Count(s.out(), "\"Flag\":0");
  EXPECT_TRUE(s.UntilLine(20, "\"Flag\":0", before + 3)) << s.out();

  // "Hide" (10,146 65x24) takes the window off the screen; the feeder runs on and "show"
  // brings it back.
  ASSERT_TRUE(ClickAt(win, 42, 158));
  EXPECT_TRUE(Eventually([&] {
    const Window now = screen.Find("DTN Control");
    return now == 0 || !screen.Viewable(now);
  }));
  const size_t hidden = Count(s.out(), "\"Flag\":0");
  EXPECT_TRUE(s.UntilLine(20, "\"Flag\":0", hidden + 3)) << s.out();
  s.feeder().Send("show\n");
  EXPECT_TRUE(Eventually([&] {
    win = screen.Find("DTN Control");
    return win != 0 && screen.Viewable(win);
  }));
  EXPECT_EQ(s.Quit(), 0) << s.Log();
}

TEST(WindowProgramTest, WithoutADisplayTheProgramSaysSoAndRunsHeadless) {
  const std::string& why = StartXvfb();
  if (!why.empty()) GTEST_SKIP() << why;
  const std::string display = std::getenv("DISPLAY");
  setenv("DISPLAY", ":4093", 1);  // no server there
  Session s({"--rate", "100"});
  s.Watch({"ES"}, "--console=window");
  setenv("DISPLAY", display.c_str(), 1);
  EXPECT_TRUE(s.UntilLine(20, "\"Flag\":0", 3)) << s.out();
  EXPECT_EQ(s.Quit(), 0);
  EXPECT_NE(s.Log().find("no display to open a window on"), std::string::npos) << s.Log();
}

}  // namespace
}  // namespace quotlink
