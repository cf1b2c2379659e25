// The operator's hand on a whole feeder: what the form's load, each button and the close box do
// to the console, the feed, the sockets and the settings file.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "client/console_log.h"
#include "client/settings.h"
#include "tests/support/feeder_fixture.h"
#include "tests/support/memory_file.h"
#include "tests/support/quote_frames.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

// A whole feeder with its files in the test's folder and its console log, and the notes, in memory.
struct Feeder {
  TempDir dir;
  FeederFixture f;
  MemoryFile log;
  ConsoleLog view{log.file()};
  ConsoleOperator& op = f.frm;
  std::string closed;  // the settings file when a socket first closed since the last note

  Feeder() {
    f.frm.SetView(&view);
    f.bas.settings().DataFolder = dir.path();
    f.AnswerFeed(0);
    for (FakeSocket* s : {&f.tcp, &f.udp})
      s->on_call = [this](const std::string& call) {
        if (call == "Close" && closed.empty()) closed = Flat(kSettingsFileName);
      };
  }
  // A file's text on one line, "|" for each line end; "none" when it doesn't exist.
  std::string Flat(std::string_view name) const {
    if (!TempDir::Exists(dir.File(name))) return "none";
    std::string text = dir.Read(name);
    for (size_t p; (p = text.find("\r\n")) != std::string::npos;)
      text.replace(p, 2, "|");
    return text;
  }
  // One line: requests sent, the file at the first socket close since the last note, the form,
  // the boxes, the settings, the sockets (remote:port/local) and the file.
  void Note() {
    std::ostringstream o;
    o << "sent";
    for (int code : f.tcp.RequestCodes())
      o << ' ' << code;
    const Settings& s = f.bas.settings();
    o << "; closed on " << (closed.empty() ? "-" : closed) << "; "
      << (f.frm.visible() ? "shown" : "hidden") << (f.bas.ended() ? " ended" : "")
      << (op.Ended() ? " stopped" : "") << " session " << f.bas.Link().session_generation()
      << "; boxes " << f.frm.DTNIPT.Caption() << ',' << f.frm.DTNPORTT.Caption() << ','
      << f.frm.LOCALPORTT.Caption() << "; settings " << s.FeedAddress << ' ' << s.FeedPort << ' '
      << s.LocalPort;
    for (FakeSocket* k : {&f.tcp, &f.udp})
      o << (k == &f.tcp ? "; tcp " : " udp ") << k->RemoteHost() << ':' << k->RemotePort() << '/'
        << k->LocalPort();
    std::fprintf(log.file(), "%s; file %s\n", o.str().c_str(), Flat(kSettingsFileName).c_str());
    f.tcp.sent.clear();
    closed.clear();
  }
  // Runs `script`: steps split by blanks, each one of `actions` or BOX=TEXT ('_' for a blank).
  void Run(const std::string& script) {
    const std::map<std::string, std::function<void()>> actions = {
        {"load",
         [&] { f.frm.Load(), std::fprintf(log.file(), "ini %s\n", Flat("DTN.ini").c_str()); }},
        {"loaded",
         [&] { f.frm.Load(), log.Take(), f.tcp.sent.clear(), closed.clear(); }},  // unseen
        {"show", [&] { f.frm.ShowForm(); }},  // as the client's ShowMe does
        {"hide", [&] { op.PressHide(); }},
        {"restart", [&] { op.PressRestart(); }},
        {"close", [&] { op.CloseWindow(); }},
        {"remove", [&] { std::filesystem::remove(dir.File(kSettingsFileName)); }},
        {"note", [&] { Note(); }}};
    const std::map<std::string, ConsoleItem> boxes = {{"ip", ConsoleItem::kDTNIPT},
                                                      {"port", ConsoleItem::kDTNPORTT},
                                                      {"local", ConsoleItem::kLOCALPORTT},
                                                      {"mensagem", ConsoleItem::kMensagem}};
    std::istringstream steps(script);
    for (std::string w; steps >> w;) {
      std::replace(w.begin(), w.end(), '_', ' ');
      const size_t eq = w.find('=');
      eq == std::string::npos ? actions.at(w)()
                              : op.EditBox(boxes.at(w.substr(0, eq)), w.substr(eq + 1));
    }
  }
};

TEST(ConsoleFormTest, LoadButtonsAndCloseBox) {
  // The settings and sockets as the first load leaves them, and the file it writes.
  const std::string kept =
      "; settings 127.0.0.1 21560 20547; tcp 127.0.0.1:21560/0 udp 127.0.0.1:21560/20547; file ";
  const std::string first = kept + "127.0.0.1|21560|20547|\n";
  const std::string refused =
      " must be a whole number from -2147483648 to 2147483647; nothing "
      "changed.\nsent; closed on -; shown session 1; boxes 10.0.0.9,";
  const struct {
    const char* script;
    std::string journal;
  } cases[] = {
      {"load note",
       "Mensagem: Packets TCP/UDP = 0 , 0\nInfo1: Reseting Watch List.\nInfo1: Reading databases "
       "information.\nini [DATABASE]|INFORMATION=&H09030001|\nsent 14 28 5; closed on "
       "127.0.0.1|21560|20547|; shown session 1; boxes 127.0.0.1,21560,20547" +
           first},
      {"ip=10.0.0.9 port=6001 local=6002 restart note",
       "sent; closed on -; hidden session 0; boxes 10.0.0.9,6001,6002; settings  0 0; tcp :0/0 "
       "udp :0/0; file none\n"},
      {"loaded hide note show note",
       "sent; closed on -; hidden session 1; boxes 127.0.0.1,21560,20547" + first +
           "sent; closed on -; shown session 1; boxes 127.0.0.1,21560,20547" + first},
      {"loaded ip=10.0.0.9 port=6001 local=_6002 mensagem=typed note restart note",
       "sent; closed on -; shown session 1; boxes 10.0.0.9,6001, 6002" + first +
           "Mensagem: Packets TCP/UDP = 1 , 0\nInfo1: Reseting Watch List.\nInfo1: Reading "
           "databases information.\nsent 14 28 5; closed on 10.0.0.9| 6001 | 6002 |; shown session "
           "2; boxes 10.0.0.9,6001, 6002; settings 10.0.0.9 6001 6002; tcp 10.0.0.9:6001/0 udp "
           "10.0.0.9:6001/6002; file 10.0.0.9| 6001 | 6002 |\n"},
      {"loaded ip=10.0.0.9 port=abc restart note",
       "message: DTN PORT" + refused + "abc,20547" + first},
      {"loaded ip=10.0.0.9 local=12x restart note",
       "message: LOCAL PORT" + refused + "21560,12x" + first},
      {"loaded remove close note remove hide port=7000 restart close note",
       "sent; closed on -; shown ended stopped session 1; boxes 127.0.0.1,21560,20547" + kept +
           "127.0.0.1| 21560 | 20547 |\nsent; closed on -; shown ended stopped session 1; boxes "
           "127.0.0.1,21560,20547" +
           kept + "none\n"},
  };
  for (const auto& c : cases) {
    Feeder t;
    t.Run(c.script);
    EXPECT_EQ(t.log.Take(), c.journal) << c.script;
  }
}

// The feeder's own database refuses an image cut short, says why, and keeps it pending.
TEST(ConsoleFormTest, TheDatabaseRefusesACutImageAndSaysWhy) {
  Feeder t;
  FeedLink& link = t.f.bas.Link();
  t.f.tcp.RaiseConnect();
  link.FeedVerified = 1;
  link.VersionValue = 151191553;
  link.MarkImagePending();
  const ByteString image = WriteImage(TestImageLayout());
  for (const auto& fr : CutImageIntoFrames(image.substr(0, image.size() - 30), 100))
    link.ProcessPacketTCP(fr);
  const std::string log = t.log.Take();
  EXPECT_EQ(log.substr(log.find("DATABASE 2 of 2")),
            "DATABASE 2 of 2\nMensagem: Database image refused - image ends inside the fields of a "
            "database at offset 1310\nInfo1: Database OK.\n");
  EXPECT_EQ(link.DatabasePending, 1);
  EXPECT_EQ(t.f.bas.Database().DatabaseCount(), 0);
}

}  // namespace
}  // namespace quotlink
