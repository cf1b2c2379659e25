#include "client/settings.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

TEST(DataFolderTest, IsDtnBelowTheParent) {
  const struct {
    const char* parent;
    const char* folder;
  } cases[] = {{"/home/u", "/home/u/DTN/"},
               {"/home/u/", "/home/u/DTN/"},
               {"", "DTN/"},
               {"rel", "rel/DTN/"},
               {"/", "/DTN/"}};
  for (const auto& c : cases)
    EXPECT_EQ(DataFolderFrom(c.parent), c.folder) << c.parent;
}

TEST(DataFolderTest, CreatesOnlyTheLastLevelAndIgnoresFailure) {
  TempDir dir;
  const std::string folder = DataFolderFrom(dir.path());
  CreateDataFolder(folder);
  CreateDataFolder(folder);  // already there: the normal case
  EXPECT_TRUE(TempDir::Exists(folder));
  const std::string deep = DataFolderFrom(dir.File("a/b"));
  CreateDataFolder(deep);
  EXPECT_FALSE(TempDir::Exists(deep));
}

class SettingsTest : public ::testing::Test {
 protected:
  TempDir dir_;
  const std::string file_ = dir_.File("QUOTLINKINFO.DAT");
};

TEST_F(SettingsTest, FirstRunWritesDefaultsAndUsesThem) {
  Settings s;
  ASSERT_TRUE(ReadSettings(dir_.path(), &s).ok());
  EXPECT_EQ(s.FeedAddress, "127.0.0.1");
  EXPECT_EQ(s.FeedPort, 21560);
  EXPECT_EQ(s.LocalPort, 20547);
  EXPECT_EQ(TempDir::Get(file_), "127.0.0.1\r\n21560\r\n20547\r\n");
}

TEST_F(SettingsTest, FolderThatCantHoldTheFileGivesErrorAndKeepsValues) {
  Settings s{"old", 1, 2, ""};
  EXPECT_FALSE(ReadSettings(dir_.File("missing/"), &s).ok());
  EXPECT_EQ(s.FeedAddress, "old");
  EXPECT_EQ(s.FeedPort, 1);
  EXPECT_EQ(s.LocalPort, 2);
}

TEST_F(SettingsTest, WrittenSettingsReadBack) {
  const Settings cases[] = {{"10.0.0.5", 21560, 20547, ""}, {"feed.example", -5, 0, ""}};
  const char* files[] = {"10.0.0.5\r\n 21560 \r\n 20547 \r\n", "feed.example\r\n-5 \r\n 0 \r\n"};
  for (size_t i = 0; i < std::size(cases); ++i) {
    ASSERT_TRUE(WriteSettings(dir_.path(), cases[i]).ok());
    EXPECT_EQ(TempDir::Get(file_), files[i]);
    Settings s;
    ASSERT_TRUE(ReadSettings(dir_.path(), &s).ok());
    EXPECT_EQ(s.FeedAddress, cases[i].FeedAddress);
    EXPECT_EQ(s.FeedPort, cases[i].FeedPort);
    EXPECT_EQ(s.LocalPort, cases[i].LocalPort);
  }
}

TEST_F(SettingsTest, ReaderTakesEveryFormOfTheLines) {
  const struct {
    const char* content;
    const char* address;
    int32_t feed, local;
  } cases[] = {
      {"1.2.3.4\r\n21560\r\n20547\r\n", "1.2.3.4", 21560, 20547},      // default writer
      {"1.2.3.4\r\n 21560 \r\n 20547 \r\n", "1.2.3.4", 21560, 20547},  // settings writer
      {"  1.2.3.4\n21560\n20547", "1.2.3.4", 21560, 20547},            // LF, no last line end
      {"1.2.3.4,21560,20547\r\n", "1.2.3.4", 21560, 20547},            // commas end values too
      {"feed host\r\n21560 \r\n", "feed host", 21560, 2},              // short file
      {"1.2.3.4\r\n", "1.2.3.4", 1, 2},
      {"", "old", 1, 2},
      {"1.2.3.4\r\nabc\r\n\r\n", "1.2.3.4", 0, 0},              // no number reads 0
      {"1.2.3.4\r\n-7 \r\n99999999999\r\n", "1.2.3.4", -7, 2},  // too wide: kept
  };
  for (const auto& c : cases) {
    TempDir::Put(file_, c.content);
    Settings s{"old", 1, 2, ""};
    ASSERT_TRUE(ReadSettings(dir_.path(), &s).ok());
    EXPECT_EQ(s.FeedAddress, c.address) << c.content;
    EXPECT_EQ(s.FeedPort, c.feed) << c.content;
    EXPECT_EQ(s.LocalPort, c.local) << c.content;
  }
}

TEST(ParsePortTextTest, AcceptsOnlyAWhole32BitNumber) {
  const struct {
    const char* text;
    bool ok;
    int32_t port;
  } cases[] = {
      {"21560", true, 21560},
      {"  21560  ", true, 21560},
      {"+80", true, 80},
      {"2147483647", true, INT32_MAX},
      {"-2147483648", true, INT32_MIN},
      {"2147483648", false, 0},
      {"", false, 0},
      {"21 560", false, 0},
      {"21560x", false, 0},
      {"0x10", false, 0},
      {"+-5", false, 0},
      {"1.5", false, 0},
  };
  for (const auto& c : cases) {
    int32_t port = 4242;
    EXPECT_EQ(ParsePortText(c.text, &port), c.ok) << c.text;
    EXPECT_EQ(port, c.ok ? c.port : 4242) << c.text;
  }
}

}  // namespace
}  // namespace quotlink
