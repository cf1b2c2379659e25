// The console window on a virtual X server: its layout, the buttons and boxes as an operator
// uses them (real clicks and keys through the X server), the modal box on a running loop, and
// the pace of drawing.
#include "window/fltk_console.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "client/settings.h"
#include "tests/support/fake_socket.h"
#include "tests/support/temp_dir.h"
#include "tests/window/png_writer.h"
#include "tests/window/xvfb.h"
#include "window/fltk_loop.h"

// The toolkit's headers last: Xlib defines Status as a macro.
#include <FL/Fl.H>
#include <FL/Fl_Box.H>
#include <FL/Fl_Button.H>
#include <FL/Fl_Input.H>
#include <FL/Fl_Window.H>
#include <FL/fl_draw.H>
#include <FL/x.H>

namespace quotlink {
namespace {

using Steady = std::chrono::steady_clock;

long MsSince(Steady::time_point t) {
  return static_cast<long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Steady::now() - t).count());
}

class ConsoleWindowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const std::string& why = StartXvfb(); !why.empty()) GTEST_SKIP() << why;
    if (!Xdotool("version")) GTEST_SKIP() << "xdotool is not installed (apt-get install xdotool)";
    loop = std::make_unique<FltkLoop>(&clock);
    console = std::make_unique<FltkConsole>(loop.get());
    bas = std::make_unique<QUOTLINKBAS>(loop.get(), &sockets, console.get());
    console->Attach(&bas->Form());
    bas->DataFolder = dir.path();
    frm = &bas->Form();
    tcp = static_cast<FakeSocket*>(frm->TCP.get());
    tcp->loop = loop.get();
    tcp->connect_delay_ms = 5;
  }
  void TearDown() override {
    if (console) console->Attach(nullptr);
    bas.reset();
    console.reset();
    loop.reset();
  }

  // Loads the form (the session starts and ends on the fake clock) and waits for the window.
  void Load() {
    frm->ShowForm();
    Settle();
  }
  // Lets the server catch up with what we asked of it, and us with its answers.
  void Settle() {
    XSync(fl_display, False);
    PumpFor(60);
  }
  void PumpFor(long ms) {
    const auto start = Steady::now();
    while (MsSince(start) < ms)
      loop->RunOnce(10);
  }
  bool PumpUntil(const std::function<bool()>& done, long ms = 5000) {
    const auto start = Steady::now();
    while (!done() && MsSince(start) < ms)
      loop->RunOnce(10);
    return done();
  }
  // A real click in the middle of `w`, through the X server.
  static bool Click(Fl_Widget* w) {
    XSync(fl_display, False);
    return Xdotool("mousemove --window " + std::to_string(fl_xid(w->window())) + " " +
                   std::to_string(w->x() + w->w() / 2) + " " + std::to_string(w->y() + w->h() / 2) +
                   " click 1");
  }
  // Replaces the text of a settings box as the operator would: click, select all, type.
  bool Type(Fl_Input* in, const std::string& text) {
    return Click(in) && Xdotool("key ctrl+a BackSpace type '" + text + "'") &&
           PumpUntil([&] { return std::string(in->value()) == text; });
  }
  Fl_Input* Box(ConsoleItem item) const { return static_cast<Fl_Input*>(console->widget(item)); }
  std::string Shown(ConsoleItem item) const {
    console->ApplyCaptions();
    const char* l = console->widget(item)->label();
    return l != nullptr ? l : "";
  }
  Settings SavedSettings() const {
    Settings s;
    EXPECT_TRUE(ReadSettings(dir.path(), &s).ok());
    return s;
  }

  TempDir dir;
  FakeClock clock{46349.5, 2};
  FakeSocketFactory sockets;
  std::unique_ptr<FltkLoop> loop;
  std::unique_ptr<FltkConsole> console;
  std::unique_ptr<QUOTLINKBAS> bas;
  QUOTLINKFRM* frm = nullptr;
  FakeSocket* tcp = nullptr;
};

TEST_F(ConsoleWindowTest, ItemsStandAtTheirPlacesInTabOrderWithTheSettingsInTheBoxes) {
  Load();
  Fl_Window* win = console->window();
  EXPECT_STREQ(win->label(), "DTN Control");
  EXPECT_EQ(win->w(), 210);
  EXPECT_EQ(win->h(), 174);
  ASSERT_TRUE(win->shown());

  // In tab order; pixels are the form's twips over 15, rounded.
  struct Item {
    const char* caption;
    int x, y, w, h;
    Fl_Font font;
    Fl_Boxtype box;
  };
  const Fl_Boxtype kInput = FL_DOWN_BOX;
  const Item items[] = {
      {nullptr, 84, 146, 15, 15, FL_HELVETICA, FL_DOWN_BOX},        // Picture1
      {nullptr, 7, 2, 197, 35, FL_HELVETICA, FL_BORDER_BOX},        // Mensagem
      {"Hide", 10, 146, 65, 24, FL_HELVETICA_BOLD, FL_UP_BOX},      // Command1
      {nullptr, 7, 41, 197, 16, FL_HELVETICA, FL_BORDER_BOX},       // Info
      {nullptr, 7, 60, 197, 16, FL_HELVETICA, FL_BORDER_BOX},       // Info1
      {nullptr, 103, 79, 102, 19, FL_HELVETICA, kInput},            // DTNIPT
      {"DTN IP", 10, 82, 63, 18, FL_HELVETICA, FL_NO_BOX},          // Label1
      {nullptr, 103, 101, 102, 19, FL_HELVETICA, kInput},           // DTNPORTT
      {"DTN PORT", 10, 103, 90, 18, FL_HELVETICA, FL_NO_BOX},       // Label2
      {nullptr, 103, 122, 102, 19, FL_HELVETICA, kInput},           // LOCALPORTT
      {"LOCAL PORT", 10, 125, 87, 18, FL_HELVETICA, FL_NO_BOX},     // Label3
      {"Restart", 139, 146, 65, 24, FL_HELVETICA_BOLD, FL_UP_BOX},  // Command2
  };
  ASSERT_EQ(win->children(), static_cast<int>(std::size(items)));
  for (int i = 0; i < win->children(); ++i) {
    SCOPED_TRACE(i);
    const Item& want = items[i];
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
    if (want.box == FL_BORDER_BOX) {  // the status labels: centred, not left-aligned
      EXPECT_EQ(got->align() & (FL_ALIGN_LEFT | FL_ALIGN_RIGHT), 0);
    }
  }
  EXPECT_EQ(console->lamp()->color(), FL_BACKGROUND_COLOR);

  // A first-run settings file: the defaults, ports in bare digits.
  EXPECT_STREQ(Box(ConsoleItem::kDTNIPT)->value(), "127.0.0.1");
  EXPECT_STREQ(Box(ConsoleItem::kDTNPORTT)->value(), "21560");
  EXPECT_STREQ(Box(ConsoleItem::kLOCALPORTT)->value(), "20547");

  // Tab walks the controls that take the focus, in the form's order.
  Fl::focus(console->hide_button());
  const Fl_Widget* order[] = {Box(ConsoleItem::kDTNIPT), Box(ConsoleItem::kDTNPORTT),
                              Box(ConsoleItem::kLOCALPORTT), console->restart_button()};
  for (const Fl_Widget* next : order) {
    ASSERT_TRUE(Xdotool("mousemove --window " + std::to_string(fl_xid(win)) + " 1 1 key Tab"));
    EXPECT_TRUE(PumpUntil([&] { return Fl::focus() == next; }));
  }
}

TEST_F(ConsoleWindowTest, HideHidesTheWindowWhileTheCountersRunOnAndShowMeBringsItBack) {
  Load();
  ASSERT_TRUE(Click(console->hide_button()));
  EXPECT_TRUE(PumpUntil([&] { return !console->window()->shown(); }));
  EXPECT_FALSE(frm->visible());
  EXPECT_FALSE(bas->ended());

  bas->UdpPacketCount = 7;
  clock.Advance(QUOTLINKFRM::kTimer1IntervalMs);
  EXPECT_TRUE(
      PumpUntil([&] { return Shown(ConsoleItem::kMensagem) == "Packets TCP/UDP = 0 , 7"; }));

  // What the client's ShowMe does.
  frm->ShowForm();
  frm->SetNormal();
  frm->BringToFront();
  Settle();
  EXPECT_TRUE(console->window()->shown());
  EXPECT_TRUE(console->window()->visible());
}

TEST_F(ConsoleWindowTest, RestartSavesTheEditedBoxesAndRunsOneSessionAtATime) {
  Load();
  const std::string before = dir.Read(kSettingsFileName);
  ASSERT_TRUE(Type(Box(ConsoleItem::kDTNIPT), "10.0.0.9"));
  ASSERT_TRUE(Type(Box(ConsoleItem::kDTNPORTT), "6001"));
  ASSERT_TRUE(Type(Box(ConsoleItem::kLOCALPORTT), " 6002"));
  EXPECT_EQ(frm->DTNPORTT.Caption(), "6001");
  // Edits alone change nothing, neither in the feeder nor in the file.
  PumpFor(50);
  EXPECT_EQ(bas->FeedPort, kDefaultFeedPort);
  EXPECT_EQ(dir.Read(kSettingsFileName), before);

  // A second click on Restart while the first one's session start waits is refused.
  const uint64_t generation = bas->session_generation;
  bool second_click = false;
  int timer = 0;
  timer = loop->AddTimer(300, [&] {
    loop->RemoveTimer(timer);
    second_click = Click(console->restart_button());
  });
  ASSERT_TRUE(Click(console->restart_button()));
  EXPECT_TRUE(PumpUntil([&] { return bas->session_generation > generation; }));
  EXPECT_TRUE(PumpUntil([&] { return second_click && bas->TcpConnected != 0; }));
  PumpFor(200);
  EXPECT_EQ(bas->session_generation, generation + 1);

  const Settings saved = SavedSettings();
  EXPECT_EQ(saved.FeedAddress, "10.0.0.9");
  EXPECT_EQ(saved.FeedPort, 6001);
  EXPECT_EQ(saved.LocalPort, 6002);
  EXPECT_EQ(bas->FeedAddress, "10.0.0.9");
  EXPECT_EQ(tcp->RemoteHost(), "10.0.0.9");
  EXPECT_EQ(tcp->RemotePort(), 6001);
  EXPECT_EQ(frm->UDP->LocalPort(), 6002);
}

TEST_F(ConsoleWindowTest, AModalMessageKeepsTimersAndDescriptorsFlowing) {
  Load();
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  bool piped = false;
  const int reg = loop->AddFd(fds[0], true, false, [&](int) {
    char c;
    piped = read(fds[0], &c, 1) == 1;
  });
  int ticks = 0;
  std::string shown;
  const int timer = loop->AddTimer(100, [&] {
    ++ticks;
    Fl_Window* box = console->modal();
    if (box == nullptr) return;
    if (ticks == 1) {
      EXPECT_EQ(write(fds[1], "x", 1), 1);
    }
    if (ticks == 3) {
      shown = box->child(0)->label();
      EXPECT_TRUE(Click(box->child(1)));  // OK
    }
  });
  console->ModalMessage("CANNOT CONNECT WITH TCP ADDRESS");
  EXPECT_GE(ticks, 3);
  EXPECT_TRUE(piped);
  EXPECT_EQ(shown, "CANNOT CONNECT WITH TCP ADDRESS");
  EXPECT_EQ(console->modal(), nullptr);
  loop->RemoveTimer(timer);
  loop->RemoveFd(reg);
  close(fds[0]);
  close(fds[1]);
}

TEST_F(ConsoleWindowTest, APortBoxWithLettersIsRefusedAndTheFeederRunsOn) {
  Load();
  const std::string before = dir.Read(kSettingsFileName);
  const uint64_t generation = bas->session_generation;
  ASSERT_TRUE(Type(Box(ConsoleItem::kDTNPORTT), "abc"));

  std::string message;
  bool counters_ran = false;
  const int timer = loop->AddTimer(100, [&] {
    Fl_Window* box = console->modal();
    if (box == nullptr || !message.empty()) return;
    message = box->child(0)->label();
    // Timer1 still writes the status line while the operator reads.
    bas->UdpPacketCount = 3;
    clock.Advance(QUOTLINKFRM::kTimer1IntervalMs);
    loop->RunOnce(0);
    counters_ran = Shown(ConsoleItem::kMensagem) == "Packets TCP/UDP = 0 , 3";
    EXPECT_TRUE(Click(box->child(1)));
  });
  ASSERT_TRUE(Click(console->restart_button()));
  EXPECT_TRUE(PumpUntil([&] { return !message.empty() && console->modal() == nullptr; }));
  loop->RemoveTimer(timer);

  EXPECT_NE(message.find("DTN PORT"), std::string::npos) << message;
  EXPECT_TRUE(counters_ran);
  EXPECT_EQ(dir.Read(kSettingsFileName), before);
  EXPECT_EQ(bas->FeedPort, kDefaultFeedPort);
  EXPECT_EQ(bas->session_generation, generation);
  EXPECT_FALSE(bas->ended());
  EXPECT_TRUE(console->window()->shown());
}

TEST_F(ConsoleWindowTest, EscapeIsIgnoredAndClosingSavesTheSettingsAndEndsTheFeeder) {
  Load();
  ASSERT_TRUE(Click(console->window()->child(0)));  // the lamp: the pointer in the window
  ASSERT_TRUE(Xdotool("key Escape"));
  PumpFor(150);
  EXPECT_FALSE(bas->ended());
  EXPECT_TRUE(console->window()->shown());

  std::remove(dir.File(kSettingsFileName).c_str());
  bas->FeedAddress = "10.1.1.1";
  Fl::handle(FL_CLOSE, console->window());  // what the window manager's close box sends
  EXPECT_TRUE(bas->ended());
  EXPECT_FALSE(console->window()->shown());
  EXPECT_EQ(SavedSettings().FeedAddress, "10.1.1.1");
}

TEST_F(ConsoleWindowTest, CaptionsAreDrawnAtTheDisplaysPaceNotPerFrame) {
  Load();
  const long turns = loop->display_turns();
  const auto start = Steady::now();
  std::string caption;
  for (int i = 0; i < 20000; ++i) {
    caption = "Packets TCP/UDP = 0 , " + std::to_string(i);
    frm->Mensagem.SetCaption(caption);
    frm->Mensagem.Refresh();
    loop->PumpOnce();
  }
  const long elapsed = MsSince(start);
  EXPECT_LE(loop->display_turns() - turns, elapsed / FltkLoop::kFramePeriodMs + 2)
      << "in " << elapsed << " ms";
  EXPECT_EQ(Shown(ConsoleItem::kMensagem), caption);

  // A caption that comes between drawings reaches its widget with the next one, unasked.
  frm->Info.SetCaption("between frames");
  PumpFor(3 * FltkLoop::kFramePeriodMs);
  EXPECT_STREQ(console->widget(ConsoleItem::kInfo)->label(), "between frames");

  // "@" is plain text in a caption, not the start of a symbol.
  frm->Mensagem.SetCaption("ADD @ES 1");
  EXPECT_EQ(Shown(ConsoleItem::kMensagem), "ADD @@ES 1");
}

TEST_F(ConsoleWindowTest, ScreenshotShowsTheLampAndIsSaved) {
  Load();
  frm->Mensagem.SetCaption("Packets TCP/UDP = 1042 , 58377");
  frm->Info.SetCaption("ESH6 1");
  frm->Info1.SetCaption("Database OK.");
  frm->Picture1.SetColor(LampColor::kLightCyan);
  PumpFor(2 * FltkLoop::kFramePeriodMs + 20);
  Fl::flush();
  XSync(fl_display, False);

  Fl_Window* win = console->window();
  win->make_current();
  std::unique_ptr<uchar[]> rgb(fl_read_image(nullptr, 0, 0, win->w(), win->h()));
  ASSERT_NE(rgb, nullptr);
  auto pixel = [&](int x, int y) {
    const uchar* p = rgb.get() + (y * win->w() + x) * 3;
    return (p[0] << 16) | (p[1] << 8) | p[2];
  };
  const Fl_Box* lamp = console->lamp();
  EXPECT_EQ(pixel(lamp->x() + lamp->w() / 2, lamp->y() + lamp->h() / 2), 0x00FFFF);
  frm->Picture1.SetColor(LampColor::kLightRed);
  EXPECT_EQ(lamp->color(), fl_rgb_color(255, 0, 0));

  const std::string path = dir.File("console.png");
  EXPECT_TRUE(WritePng(path, win->w(), win->h(), rgb.get())) << path;
  EXPECT_EQ(TempDir::Get(path).rfind("\x89PNG\r\n\x1a\n", 0), 0u);
}

TEST_F(ConsoleWindowTest, AWindowIsAvailableOnlyWhereAServerAnswers) {
  const std::string display = std::getenv("DISPLAY");
  const struct {
    const char* value;  // null: unset
    bool available;
  } cases[] = {{nullptr, false}, {"", false}, {":4093", false}, {display.c_str(), true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value != nullptr ? c.value : "(unset)");
    if (c.value == nullptr) {
      unsetenv("DISPLAY");
    } else {
      setenv("DISPLAY", c.value, 1);
    }
    EXPECT_EQ(WindowAvailable(), c.available);
  }
  setenv("DISPLAY", display.c_str(), 1);
}

}  // namespace
}  // namespace quotlink
