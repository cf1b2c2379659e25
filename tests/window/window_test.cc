// The console window on a virtual X server that this test process starts itself: its layout in
// process, and the program as an operator uses it. Each test skips when Xvfb or xdotool is
// missing.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <thread>

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "tests/support/fake_socket.h"
#include "tests/support/program_session.h"
#include "window/fltk_console.h"
#include "window/fltk_loop.h"

// The toolkit's and Xlib's headers last: Xlib defines Status, None and Bool as macros.
#include <FL/Fl.H>
#include <FL/Fl_Box.H>
#include <FL/Fl_Button.H>
#include <FL/Fl_Input.H>
#include <FL/Fl_Window.H>
#include <FL/x.H>

namespace quotlink {
namespace {

bool Sh(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}
bool Xdotool(const std::string& args) {
  return Sh("xdotool " + args);
}

// Starts the server once per process (it picks a free display number) and points $DISPLAY at
// it; stopped when the process ends. Empty when it runs, else why not.
const std::string& StartXvfb() {
  static struct Server {
    pid_t pid = -1;
    std::string failure;
    Server() {
      if (!Sh("command -v xdotool")) failure = "xdotool is not installed (apt-get install xdotool)";
      if (!Sh("command -v Xvfb")) failure = "Xvfb is not installed (apt-get install xvfb)";
      int fds[2];
      if (!failure.empty() || pipe(fds) != 0) return;
      pid = fork();
      if (pid == 0) {
        // A test that dies without its destructors must not leave the server running.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(fds[0]);
        execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(fds[1]).c_str(), "-screen", "0",
               "1024x768x24", "-nolisten", "tcp", static_cast<char*>(nullptr));
        _exit(127);
      }
      close(fds[1]);
      char number[16] = "";
      FILE* in = fdopen(fds[0], "r");  // the number, or the end when the server fails
      if (std::fgets(number, sizeof number, in) != nullptr && number[0] != '\n') {
        setenv("DISPLAY", (":" + std::string(number, std::strcspn(number, "\n"))).c_str(), 1);
      } else {
        failure = "Xvfb did not start";
      }
      std::fclose(in);
    }
    ~Server() {
      if (pid > 0 && kill(pid, SIGTERM) == 0) waitpid(pid, nullptr, 0);
    }
  } server;
  return server.failure;
}

bool Eventually(const std::function<bool()>& done, int seconds = 15) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!done() && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return done();
}

TEST(ConsoleLayoutTest, ItemsStandAtTheirPlacesInTabOrderWithTheSettingsInTheBoxes) {
  if (const std::string& why = StartXvfb(); !why.empty()) GTEST_SKIP() << why;
  TempDir dir;
  FakeClock clock{46349.5, 2};
  FakeSocketFactory sockets;
  FltkLoop loop(&clock);
  FltkConsole console(&loop);
  QUOTLINKBAS bas(&loop, &sockets, &console);
  bas.settings().DataFolder = dir.path();
  auto* tcp = static_cast<FakeSocket*>(bas.Link().TCP.get());
  tcp->loop = &loop;
  tcp->connect_delay_ms = 5;
  const auto pump_until = [&](const std::function<bool()>& done) {
    return Eventually(
        [&] {
          loop.RunOnce(10);
          return done();
        },
        5);
  };
  bas.Form().ShowForm();  // loads the form: the session starts and ends on the fake clock
  Fl_Window* win = console.window();
  ASSERT_TRUE(pump_until([&] { return win->visible() != 0; }));
  EXPECT_STREQ(win->label(), "DTN Control");
  EXPECT_EQ(win->w(), 210);
  EXPECT_EQ(win->h(), 174);

  // In tab order; pixels are the form's twips over 15, rounded.
  const struct {
    const char* caption;
    int x, y, w, h;
    Fl_Font font;
    Fl_Boxtype box;
  } items[] = {
      {nullptr, 84, 146, 15, 15, FL_HELVETICA, FL_DOWN_BOX},        // Picture1
      {nullptr, 7, 2, 197, 35, FL_HELVETICA, FL_BORDER_BOX},        // Mensagem
      {"Hide", 10, 146, 65, 24, FL_HELVETICA_BOLD, FL_UP_BOX},      // Command1
      {nullptr, 7, 41, 197, 16, FL_HELVETICA, FL_BORDER_BOX},       // Info
      {nullptr, 7, 60, 197, 16, FL_HELVETICA, FL_BORDER_BOX},       // Info1
      {nullptr, 103, 79, 102, 19, FL_HELVETICA, FL_DOWN_BOX},       // DTNIPT
      {"DTN IP", 10, 82, 63, 18, FL_HELVETICA, FL_NO_BOX},          // Label1
      {nullptr, 103, 101, 102, 19, FL_HELVETICA, FL_DOWN_BOX},      // DTNPORTT
      {"DTN PORT", 10, 103, 90, 18, FL_HELVETICA, FL_NO_BOX},       // Label2
      {nullptr, 103, 122, 102, 19, FL_HELVETICA, FL_DOWN_BOX},      // LOCALPORTT
      {"LOCAL PORT", 10, 125, 87, 18, FL_HELVETICA, FL_NO_BOX},     // Label3
      {"Restart", 139, 146, 65, 24, FL_HELVETICA_BOLD, FL_UP_BOX},  // Command2
  };
  ASSERT_EQ(win->children(), static_cast<int>(std::size(items)));
  for (int i = 0; i < win->children(); ++i) {
    SCOPED_TRACE(i);
    const auto& want = items[i];
    Fl_Widget* got = win->child(i);
    EXPECT_EQ(got->x(), want.x);
    EXPECT_EQ(got->y(), want.y);
    EXPECT_EQ(got->w(), want.w);
    EXPECT_EQ(got->h(), want.h);
    EXPECT_EQ(got->box(), want.box);
    if (want.caption != nullptr) {
      EXPECT_STREQ(got->label(), want.caption);
    }
    auto* in = dynamic_cast<Fl_Input*>(got);
    EXPECT_EQ(in != nullptr ? in->textfont() : got->labelfont(), want.font);
    EXPECT_EQ(in != nullptr ? in->textsize() : got->labelsize(), 10);
    // The status labels are centred, not left-aligned.
    if (want.box == FL_BORDER_BOX) {
      EXPECT_EQ(got->align() & (FL_ALIGN_LEFT | FL_ALIGN_RIGHT), 0);
    }
  }
  EXPECT_EQ(console.lamp()->color(), FL_BACKGROUND_COLOR);

  // A first-run settings file: the defaults, ports in bare digits.
  const auto box = [&](ConsoleItem item) { return static_cast<Fl_Input*>(console.widget(item)); };
  EXPECT_STREQ(box(ConsoleItem::kDTNIPT)->value(), "127.0.0.1");
  EXPECT_STREQ(box(ConsoleItem::kDTNPORTT)->value(), "21560");
  EXPECT_STREQ(box(ConsoleItem::kLOCALPORTT)->value(), "20547");

  // Tab, a real key through the X server, walks the controls that take the focus in order.
  Fl::focus(console.hide_button());
  const Fl_Widget* order[] = {box(ConsoleItem::kDTNIPT), box(ConsoleItem::kDTNPORTT),
                              box(ConsoleItem::kLOCALPORTT), console.restart_button()};
  for (const Fl_Widget* next : order) {
    XSync(fl_display, False);
    ASSERT_TRUE(Xdotool("mousemove --window " + std::to_string(fl_xid(win)) + " 1 1 key Tab"));
    EXPECT_TRUE(pump_until([&] { return Fl::focus() == next; }));
  }
  // Off the shared server now: nothing flushes this connection once the test is over.
  console.HideWindow();
  XSync(fl_display, False);
}

// The program's console window while it is on the screen, else 0.
Window ShownConsole() {
  FILE* out = popen("xdotool search --onlyvisible --name '^DTN Control$' 2>/dev/null", "r");
  unsigned long id = 0;
  if (out == nullptr || std::fscanf(out, "%lu", &id) != 1) id = 0;
  if (out != nullptr) pclose(out);
  return id;
}

TEST(WindowProgramTest, TheWindowComesUpAgainstTheSimulatorAndItsButtonsWork) {
  if (const std::string& why = StartXvfb(); !why.empty()) GTEST_SKIP() << why;
  Display* display = XOpenDisplay(nullptr);
  ASSERT_NE(display, nullptr);
  // The window may go away between a look-up and a question about it (a hidden window is
  // destroyed and made anew when shown): Xlib's default answer would end the test.
  XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
  Session s({"--rate", "100"});
  s.Watch({"ES", "NQ"}, "");  // no --console: a display answers, so the window
  Window win = 0;
  ASSERT_TRUE(Eventually([&] { return (win = ShownConsole()) != 0; })) << "no window";
  ASSERT_TRUE(s.UntilLine(20, "\"Flag\":0", 3)) << s.out();
  const auto click = [&](int x, int y) {  // in the window's pixels
    return Xdotool("mousemove --window " + std::to_string(win) + " " + std::to_string(x) + " " +
                   std::to_string(y) + " click 1");
  };

  // The lamp (Picture1, 84,146 15x15) lights with the frames that come in.
  const int width = 210, height = 174;
  std::vector<uint8_t> rgb;
  const auto lamp = [&] {
    rgb.clear();
    XImage* image = XGetImage(display, win, 0, 0, width, height, AllPlanes, ZPixmap);
    for (int i = 0; image != nullptr && i < width * height; ++i) {
      const unsigned long p = XGetPixel(image, i % width, i / width);
      rgb.insert(rgb.end(), {static_cast<uint8_t>((p & image->red_mask) >> 16),
                             static_cast<uint8_t>((p & image->green_mask) >> 8),
                             static_cast<uint8_t>(p & image->blue_mask)});
    }
    if (image != nullptr) XDestroyImage(image);
    const uint8_t* p = rgb.empty() ? nullptr : rgb.data() + (153 * width + 91) * 3;
    return p == nullptr ? 0 : (p[0] << 16) | (p[1] << 8) | p[2];
  };
  EXPECT_TRUE(Eventually([&] { return lamp() == 0x00FFFF || lamp() == 0xFF0000; }))
      << std::hex << lamp();
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = width;
  png.height = height;
  png.format = PNG_FORMAT_RGB;
  const char* shot = std::getenv("QUOTLINK_SCREENSHOT");
  const std::string path = shot != nullptr && *shot != '\0' ? shot : s.dir().File("console.png");
  EXPECT_TRUE(png_image_write_to_file(&png, path.c_str(), 0, rgb.data(), 0, nullptr)) << path;

  // "Restart" (139,146 65x24) saves the boxes and starts a new session; the quotes go on.
  const std::string settings = s.Folder() + "/DTN/QUOTLINKINFO.DAT";
  ASSERT_TRUE(std::filesystem::remove(settings));
  ASSERT_TRUE(click(171, 158));
  EXPECT_TRUE(Eventually([&] { return std::filesystem::exists(settings); }));
  EXPECT_NE(TempDir::Get(settings).find("127.0.0.1\r\n"), std::string::npos);
  const size_t restarted = Count(s.out(), "\"Flag\":0");
  EXPECT_TRUE(s.UntilLine(20, "\"Flag\":0", restarted + 3)) << s.out();

  // "Hide" (10,146 65x24) takes the window off the screen; the feeder runs on and "show"
  // brings it back.
  ASSERT_TRUE(click(42, 158));
  EXPECT_TRUE(Eventually([&] { return ShownConsole() == 0; }));
  const size_t hidden = Count(s.out(), "\"Flag\":0");
  EXPECT_TRUE(s.UntilLine(20, "\"Flag\":0", hidden + 3)) << s.out();
  s.feeder().Send("show\n");
  EXPECT_TRUE(Eventually([&] { return ShownConsole() != 0; }));
  EXPECT_EQ(s.Quit(), 0) << s.Log();
  XCloseDisplay(display);
}

}  // namespace
}  // namespace quotlink
