#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "client/console_log.h"
#include "client/settings.h"
#include "database/parse_feed_database.h"
#include "tests/support/feeder_fixture.h"
#include "tests/support/memory_file.h"
#include "tests/support/quote_frames.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

TEST(TextSignalTest, SubscribersMayChangeSubscriptionsAndRingAgainFromInside) {
  TextSignal data;
  std::vector<std::string> order;
  int second = 0;
  // Ids start above 0: the client class takes 0 for "not subscribed".
  const int first = data.Subscribe([&] {
    order.push_back("first:" + data.Text());
    if (data.Text() == "one") {
      data.Unsubscribe(second);
      data.Subscribe([&] { order.push_back("added:" + data.Text()); });
      data.SetText("two");  // a publication inside a publication
    }
  });
  second = data.Subscribe([&] { order.push_back("second:" + data.Text()); });
  data.SetText("one");
  data.SetText("two");  // the same text again rings nothing
  EXPECT_EQ(order, (std::vector<std::string>{"first:one", "first:two", "added:two", "added:two"}));
  EXPECT_GT(first, 0);
}

TEST(WatchListTest, FindsExactlyAndKeepsFindingAsItGrows) {
  WatchList list;
  list.Add("ES");
  for (int i = 0; i < 5000; ++i)  // growing must not move the texts that the index looks at
    list.Add("S" + std::to_string(i));
  EXPECT_EQ(list.Find("ES"), 1);
  EXPECT_EQ(list.Find("es"), 0);  // case included
  EXPECT_EQ(list.at(1) + list.at(5001), "ESS4999");
}

struct ConsoleFormTest : ::testing::Test {
  TempDir dir;
  FeederFixture f;
  MemoryFile log;
  ConsoleLog view{log.file()};
  ConsoleOperator& op = f.frm;

  ConsoleFormTest() {
    f.frm.SetView(&view);
    f.bas.settings().DataFolder = dir.path();
    f.AnswerFeed(0);
  }
  std::string Boxes() const {
    return f.frm.DTNIPT.Caption() + ',' + f.frm.DTNPORTT.Caption() + ',' +
           f.frm.LOCALPORTT.Caption();
  }
  std::tuple<std::string, int32_t, int32_t> Sockets() const {
    return {f.tcp.RemoteHost(), f.tcp.RemotePort(), f.udp.LocalPort()};
  }
};

TEST_F(ConsoleFormTest, LoadButtonsAndTheCloseBoxThenNothingOnceEnded) {
  // Control characters can't break the log's one line per event.
  f.frm.Info.SetCaption(std::string("ES\n  3\x7F", 7));
  EXPECT_EQ(log.Take(), "Info: ES?  3?\n");
  op.PressRestart();  // nothing to restart with before the load
  EXPECT_EQ(f.bas.Link().session_generation(), 0);
  f.frm.Load();
  EXPECT_EQ(dir.Read(kSettingsFileName), "127.0.0.1\r\n21560\r\n20547\r\n");
  EXPECT_EQ(Boxes(), "127.0.0.1,21560,20547");
  EXPECT_EQ(Sockets(), std::make_tuple("127.0.0.1", 21560, 20547));
  op.PressHide();
  EXPECT_FALSE(f.frm.visible());
  f.frm.ShowForm();
  EXPECT_TRUE(f.frm.visible());
  // A port that isn't a whole 32-bit number: nothing changes.
  log.Take();
  op.EditBox(ConsoleItem::kDTNIPT, "10.0.0.9");
  op.EditBox(ConsoleItem::kDTNPORTT, "abc");
  op.PressRestart();
  EXPECT_EQ(log.Take().rfind("message: DTN PORT must", 0), 0u);
  op.EditBox(ConsoleItem::kDTNPORTT, "6001");
  op.EditBox(ConsoleItem::kLOCALPORTT, "12x");
  op.PressRestart();
  EXPECT_EQ(log.Take().rfind("message: LOCAL PORT must", 0), 0u);
  EXPECT_EQ(f.bas.Link().session_generation(), 1);
  op.EditBox(ConsoleItem::kLOCALPORTT, " 6002");
  op.PressRestart();
  EXPECT_EQ(dir.Read(kSettingsFileName), "10.0.0.9\r\n 6001 \r\n 6002 \r\n");
  EXPECT_EQ(Sockets(), std::make_tuple("10.0.0.9", 6001, 6002));
  EXPECT_EQ(f.bas.Link().session_generation(), 2);

  std::filesystem::remove(dir.File(kSettingsFileName));
  op.CloseWindow();
  EXPECT_TRUE(f.bas.ended());
  EXPECT_EQ(dir.Read(kSettingsFileName), "10.0.0.9\r\n 6001 \r\n 6002 \r\n");
  std::filesystem::remove(dir.File(kSettingsFileName));
  op.PressHide();
  op.EditBox(ConsoleItem::kDTNPORTT, "7000");
  op.PressRestart();
  op.CloseWindow();
  EXPECT_TRUE(f.frm.visible());
  EXPECT_EQ(Boxes(), "10.0.0.9,6001, 6002");
  EXPECT_FALSE(TempDir::Exists(dir.File(kSettingsFileName)));
}

TEST_F(ConsoleFormTest, ACutDatabaseImageIsRefusedWholeWithItsReason) {
  const ByteString image = WriteImage(TestImageLayout());
  EXPECT_FALSE(ParseFeedDatabase(&f.bas.Database(), &f.frm, image.substr(0, image.size() - 30),
                                 kTestImageVersion));
  EXPECT_EQ(f.frm.Mensagem.Caption(),
            "Database image refused - image ends inside the fields of a database at offset 1310");
  EXPECT_EQ(f.bas.Database().DatabaseCount(), 0);
}

}  // namespace
}  // namespace quotlink
