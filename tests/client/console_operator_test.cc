// The operator's hand on the console as the window and the command line use it, headless: what
// each press does to the feeder, its settings file and its session.
#include "client/console_operator.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "client/settings.h"
#include "tests/support/feeder_fixture.h"
#include "tests/support/temp_dir.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink {
namespace {

struct ConsoleOperatorTest : ::testing::Test {
  TempDir dir;
  FeederFixture f;
  ConsoleOperator& op = f.frm;

  ConsoleOperatorTest() {
    f.bas.settings().DataFolder = dir.path();
    f.tcp.loop = &f.loop;
    f.tcp.connect_delay_ms = 10;
    // The feed answers the watch list reset, so that a session start ends soon.
    f.tcp.on_sent = [this](ByteView r) {
      if (r.size() == 8 && r[1] == 28) f.tcp.Arrive(StatusPacket(12));
    };
  }
  std::string SettingsFile() const { return dir.File(kSettingsFileName); }
};

TEST_F(ConsoleOperatorTest, RestartWaitsForTheLoadAndNothingWorksOnceTheFeederHasEnded) {
  // Boxes that would pass, so that only the missing load holds "Restart" back.
  op.EditBox(ConsoleItem::kDTNIPT, "10.0.0.9");
  op.EditBox(ConsoleItem::kDTNPORTT, "6001");
  op.EditBox(ConsoleItem::kLOCALPORTT, "6002");
  op.PressRestart();
  EXPECT_EQ(f.bas.Link().session_generation(), 0u);
  EXPECT_TRUE(f.tcp.sent.empty());
  EXPECT_TRUE(f.frm.modal_messages().empty());
  EXPECT_FALSE(TempDir::Exists(SettingsFile()));

  f.frm.Load();
  op.CloseWindow();
  ASSERT_TRUE(op.Ended());
  EXPECT_TRUE(TempDir::Exists(SettingsFile()));

  // The host may still deliver a click or a command before it exits: none of them acts.
  std::remove(SettingsFile().c_str());
  const uint64_t generation = f.bas.Link().session_generation();
  op.PressHide();
  op.EditBox(ConsoleItem::kDTNPORTT, "7000");
  op.PressRestart();
  op.CloseWindow();
  EXPECT_TRUE(f.frm.visible());
  EXPECT_EQ(f.frm.DTNPORTT.Caption(), "21560");
  EXPECT_EQ(f.bas.Link().session_generation(), generation);
  EXPECT_FALSE(TempDir::Exists(SettingsFile()));
}

TEST_F(ConsoleOperatorTest, HideTakesTheConsoleAwayAndTheFeederRunsOn) {
  f.frm.Load();
  op.PressHide();
  EXPECT_FALSE(f.frm.visible());
  EXPECT_FALSE(op.Ended());
  f.frm.ShowForm();  // the client's ShowMe brings it back
  EXPECT_TRUE(f.frm.visible());
}

TEST_F(ConsoleOperatorTest, EditsStayInTheBoxesUntilRestartSavesAndAppliesThem) {
  f.frm.Load();
  const std::string before = dir.Read(kSettingsFileName);
  const uint64_t generation = f.bas.Link().session_generation();
  op.EditBox(ConsoleItem::kDTNIPT, "10.0.0.9");
  op.EditBox(ConsoleItem::kDTNPORTT, "6001");
  op.EditBox(ConsoleItem::kLOCALPORTT, " 6002");
  op.EditBox(ConsoleItem::kMensagem, "not the operator's");
  EXPECT_EQ(f.frm.DTNIPT.Caption(), "10.0.0.9");
  EXPECT_NE(f.frm.Mensagem.Caption(), "not the operator's");
  EXPECT_EQ(f.bas.settings().FeedAddress, "127.0.0.1");
  EXPECT_EQ(f.bas.settings().FeedPort, kDefaultFeedPort);
  EXPECT_EQ(dir.Read(kSettingsFileName), before);

  op.PressRestart();
  EXPECT_EQ(f.bas.Link().session_generation(), generation + 1);
  Settings saved;
  ASSERT_TRUE(ReadSettings(dir.path(), &saved).ok());
  EXPECT_EQ(saved.FeedAddress, "10.0.0.9");
  EXPECT_EQ(saved.FeedPort, 6001);
  EXPECT_EQ(saved.LocalPort, 6002);
  EXPECT_EQ(f.tcp.RemoteHost(), "10.0.0.9");
  EXPECT_EQ(f.tcp.RemotePort(), 6001);
  EXPECT_EQ(f.udp.LocalPort(), 6002);
}

TEST_F(ConsoleOperatorTest, RestartWithAPortThatIsNoNumberNamesTheBoxAndChangesNothing) {
  f.frm.Load();
  const std::string before = dir.Read(kSettingsFileName);
  const uint64_t generation = f.bas.Link().session_generation();
  const struct {
    const char* feed_port;
    const char* local_port;
    const char* named;
  } cases[] = {{"abc", "20547", "DTN PORT"}, {"21560", "12x", "LOCAL PORT"}, {"", "", "DTN PORT"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.feed_port) + " / " + c.local_port);
    op.EditBox(ConsoleItem::kDTNIPT, "10.0.0.9");
    op.EditBox(ConsoleItem::kDTNPORTT, c.feed_port);
    op.EditBox(ConsoleItem::kLOCALPORTT, c.local_port);
    f.tcp.sent.clear();
    const size_t messages = f.frm.modal_messages().size();
    op.PressRestart();
    ASSERT_EQ(f.frm.modal_messages().size(), messages + 1);
    const std::string& message = f.frm.modal_messages().back();
    EXPECT_EQ(message.rfind(c.named, 0), 0u) << message;
    EXPECT_NE(message.find("nothing changed"), std::string::npos) << message;
    EXPECT_TRUE(f.tcp.sent.empty());
    EXPECT_EQ(f.bas.settings().FeedAddress, "127.0.0.1");
    EXPECT_EQ(f.bas.settings().FeedPort, kDefaultFeedPort);
    EXPECT_EQ(f.bas.Link().session_generation(), generation);
    EXPECT_EQ(dir.Read(kSettingsFileName), before);
    EXPECT_FALSE(op.Ended());
    EXPECT_TRUE(f.frm.visible());
  }
}

}  // namespace
}  // namespace quotlink
