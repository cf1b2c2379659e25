#include "client/settings.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

TEST(DataFolderTest, IsDtnBelowTheParent) {
  EXPECT_EQ(DataFolderFrom("/home/u"), "/home/u/DTN/");
  EXPECT_EQ(DataFolderFrom(""), "DTN/");
}

class SettingsTest : public ::testing::Test {
 protected:
  TempDir dir_;
  const std::string file_ = dir_.File("QUOTLINKINFO.DAT");
};

TEST_F(SettingsTest, WriterLaysDownItsFormWholeOrNotAtAll) {
  const std::string written = "feed.example\r\n-5 \r\n 0 \r\n";
  ASSERT_TRUE(WriteSettings(dir_.path(), {"feed.example", -5, 0, ""}).ok());
  EXPECT_EQ(TempDir::Get(file_), written);
  // The new content can't be laid down beside the file: the old one stays whole.
  std::filesystem::create_directory(file_ + ".tmp");
  EXPECT_FALSE(WriteSettings(dir_.path(), {"10.9.9.9", 1, 1, ""}).ok());
  EXPECT_EQ(TempDir::Get(file_), written);
}

TEST_F(SettingsTest, ReaderTakesEveryFormOfTheLines) {
  const struct {
    const char* content;
    const char* address;
    int32_t feed, local;
  } cases[] = {
      {"1.2.3.4\r\n 21560 \r\n 20547 \r\n", "1.2.3.4", 21560, 20547},  // settings writer
      {"  1.2.3.4\n21560\n20547", "1.2.3.4", 21560, 20547},            // LF, no last line end
      {"1.2.3.4,21560,20547\r\n", "1.2.3.4", 21560, 20547},            // commas end values too
      {"feed host\r\n21560 \r\n", "feed host", 21560, 2},              // short file
      {"", "old", 1, 2},
      {"1.2.3.4\r\nabc\r\n\r\n", "1.2.3.4", 0, 0},              // no number reads 0
      {"1.2.3.4\r\n-7 \r\n99999999999\r\n", "1.2.3.4", -7, 2},  // too wide: kept
      {"h\r\n+2147483647\r\n-2147483648\r\n", "h", INT32_MAX, INT32_MIN},
      {"h\r\n2147483648\r\n-2147483649\r\n", "h", 1, 2},
  };
  for (const auto& c : cases) {
    TempDir::Put(file_, c.content);
    Settings s{"old", 1, 2, ""};
    ASSERT_TRUE(ReadSettings(dir_.path(), &s).ok());
    EXPECT_EQ(std::tie(s.FeedAddress, s.FeedPort, s.LocalPort),
              std::make_tuple(c.address, c.feed, c.local))
        << c.content;
  }
  // A missing file is replaced by the defaults (see the form's load); where it can't be, it fails.
  Settings s;
  EXPECT_FALSE(ReadSettings(dir_.File("missing/"), &s).ok());
}

TEST(ParsePortTextTest, AcceptsOnlyAWhole32BitNumber) {
  const struct {
    const char* text;
    bool ok;
    int32_t port;
  } cases[] = {{"  21560  ", true, 21560}, {"+80", true, 80}, {"-2147483648", true, INT32_MIN},
               {"2147483648", false, 0},   {"", false, 0},    {"21 560", false, 0},
               {"21560x", false, 0},       {"+-5", false, 0}, {"+", false, 0}};
  for (const auto& c : cases) {
    int32_t port = 4242;
    EXPECT_EQ(ParsePortText(c.text, &port), c.ok) << c.text;
    EXPECT_EQ(port, c.ok ? c.port : 4242) << c.text;
  }
}

}  // namespace
}  // namespace quotlink
