// The whole feeder around its link: the form's settings file, boxes and buttons, and the
// feeder's database behind the link's image transfer.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "client/console_log.h"
#include "tests/support/feeder_fixture.h"
#include "tests/support/link_fixture.h"
#include "tests/support/quote_feeder.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

// A whole feeder with its files in a folder of the test's own and its console log in memory.
struct Feeder {
  TempDir dir;
  FeederFixture f;
  MemoryFile log;
  ConsoleLog view{log.file()};
  Feeder() {
    f.frm.SetView(&view);
    f.bas.settings().DataFolder = dir.path();
  }
};

// The form's settings file, boxes and buttons drive the link.
TEST(FormTest, SettingsFileBoxesAndButtons) {
  Feeder feeder;
  auto& [dir, f, log, view] = feeder;
  f.tcp.loop = &f.loop;
  f.tcp.connect_delay_ms = 0;
  f.frm.Load();  // the first run: default settings and version are written, shown and used
  EXPECT_EQ(dir.Read("QUOTLINKINFO.DAT"), "127.0.0.1\r\n21560\r\n20547\r\n");
  EXPECT_EQ(dir.Read("DTN.ini"), "[DATABASE]\r\nINFORMATION=&H09030001\r\n");
  EXPECT_EQ(
      std::tuple(f.frm.DTNIPT.Caption(), f.frm.DTNPORTT.Caption(), f.frm.LOCALPORTT.Caption(),
                 f.udp.RemoteHost(), f.udp.RemotePort(), f.udp.LocalPort(), f.tcp.LocalPort()),
      std::tuple("127.0.0.1"s, "21560"s, "20547"s, "127.0.0.1"s, 21560, 20547, 0));
  EXPECT_TRUE(f.frm.visible());
  EXPECT_EQ(f.tcp.sent.back(), "D\x05\x09\x03\0\x01\0\0"s);
  EXPECT_NE(log.Take().find("Mensagem: Packets TCP/UDP = 0 , 0\n"), std::string::npos);  // Timer1

  // Restart with a port that isn't a whole 32-bit number changes nothing.
  f.frm.DTNPORTT.SetCaption("abc");
  f.frm.Command2_Click();
  EXPECT_EQ(log.Take(),
            "message: DTN PORT must be a whole number from -2147483648 to 2147483647; nothing "
            "changed.\n");
  EXPECT_EQ(f.tcp.sent.size(), 3u);
  EXPECT_EQ(dir.Read("QUOTLINKINFO.DAT"), "127.0.0.1\r\n21560\r\n20547\r\n");

  // Restart saves the boxes before any socket closes, then starts over on them.
  f.frm.DTNIPT.SetCaption("127.0.0.2");
  f.frm.DTNPORTT.SetCaption(" 7000 ");
  f.frm.LOCALPORTT.SetCaption("7001 ");
  std::string file_at_first_close = "none";
  for (FakeSocket* s : {&f.tcp, &f.udp}) {
    s->on_call = [&](const std::string& call) {
      if (call == "Close" && file_at_first_close == "none") {
        file_at_first_close = dir.Read("QUOTLINKINFO.DAT");
      }
    };
  }
  f.frm.Command2_Click();
  EXPECT_EQ(file_at_first_close, "127.0.0.2\r\n 7000 \r\n 7001 \r\n");
  EXPECT_EQ(std::tuple(f.tcp.RemoteHost(), f.tcp.RemotePort(), f.udp.LocalPort()),
            std::tuple("127.0.0.2"s, 7000, 7001));
  EXPECT_EQ(f.tcp.sent.size(), 6u);

  dir.Write("QUOTLINKINFO.DAT", "");
  f.frm.Unload();
  EXPECT_TRUE(f.bas.ended());
  EXPECT_TRUE(f.bas.Link().stopped());
  EXPECT_EQ(dir.Read("QUOTLINKINFO.DAT"), "127.0.0.2\r\n 7000 \r\n 7001 \r\n");
}

// The feeder's own database behind the link: it takes the image or refuses it, and says why.
TEST(FeederImageTest, TheDatabaseTakesOrRefusesTheImage) {
  const ByteString image = WriteImage(TestImageLayout());
  const struct {
    double version;
    size_t cut;
    int16_t pending;
    int databases;
    std::string shown;
  } cases[] = {
      {151191553, 0, 0, 2, "Mensagem: END SEC TYPES \n"},
      {151191554, 0, 1, 0, "message: diferente database\n"},
      {151191553, 30, 1, 0, "Mensagem: Database image refused - "},
  };
  for (const auto& c : cases) {
    Feeder feeder;
    auto& [dir, f, log, view] = feeder;
    f.bas.Link().FeedVerified = 1;
    f.bas.Link().VersionValue = c.version;
    f.bas.Link().MarkImagePending();
    for (const auto& fr : CutImageIntoFrames(image.substr(0, image.size() - c.cut), 100))
      f.bas.Link().ProcessPacketTCP(fr);
    EXPECT_EQ(f.bas.Link().DatabasePending, c.pending);
    EXPECT_EQ(f.bas.Database().DatabaseCount(), c.databases);
    EXPECT_NE(log.Take().find(c.shown), std::string::npos);
  }
}

}  // namespace
}  // namespace quotlink
