#include "util/profile_file.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

class ProfileFileTest : public ::testing::Test {
 protected:
  TempDir dir_;
  const std::string path_ = dir_.File("DTN.ini");
};

TEST_F(ProfileFileTest, ReadsValueOfKeyInSection) {
  const struct {
    std::string content, want;
    size_t buffer = 256;
  } cases[] = {
      {"[DATABASE]\r\nINFORMATION=&H09030002\r\n", "&H09030002"},
      {"[database]\ninformation =  x y \n", "x y"},  // case, blanks
      {"[ DATABASE ]\nINFORMATION=v", "v"},          // no last line end
      {"[OTHER]\nINFORMATION=o\n[DATABASE]\nX=1\n", "<none>"},
      {"[DATABASE]\n;INFORMATION=c\n", "<none>"},
      {"[DATABASE]\nINFORMATION=a=b\n", "a=b"},
      {"[DATABASE]\nINFORMATION=1\nINFORMATION=2\n", "1"},
      {"[DATABASE]\nX=1\n[DATABASE]\nINFORMATION=2\n", "<none>"},  // only the first block
      {"[DATABASE]\nINFORMATION=" + std::string(300, 'v'), std::string(255, 'v')},
      {"[DATABASE]\nINFORMATION=abc\n", "ab", 3},  // the buffer holds a terminating byte too
  };
  for (const auto& c : cases) {
    TempDir::Put(path_, c.content);
    EXPECT_EQ(ReadProfileString(path_, "DATABASE", "INFORMATION", "<none>", c.buffer), c.want)
        << c.content;
  }
  EXPECT_EQ(ReadProfileString(dir_.File("missing.ini"), "S", "K", "&H09030001", 4), "&H0");
}

TEST_F(ProfileFileTest, WriteChangesTheValueOrAddsTheKeyOrTheSection) {
  const struct {
    const char* before;
    const char* after;
  } cases[] = {
      // Only the value of a key that is there changes.
      {"; c\n[OTHER]\nINFORMATION=keep\n\n[Database]\r\n  information = old  \r\nNEXT=1\n",
       "; c\n[OTHER]\nINFORMATION=keep\n\n[Database]\r\n  information =new\r\nNEXT=1\n"},
      // Into the section, behind its last line, before the blank line that ends it.
      {"[DATABASE]\nA=1\n\n[B]\nC=2\n", "[DATABASE]\nA=1\nINFORMATION=new\n\n[B]\nC=2\n"},
      // Behind a last line that lacks its line end.
      {"[DATABASE]\r\nA=1", "[DATABASE]\r\nA=1\r\nINFORMATION=new\r\n"},
      {"; c\n[B]\nC=2", "; c\n[B]\nC=2\n[DATABASE]\nINFORMATION=new\n"},
      {"", "[DATABASE]\r\nINFORMATION=new\r\n"},
  };
  for (const auto& c : cases) {
    TempDir::Put(path_, c.before);
    ASSERT_TRUE(WriteProfileString(path_, "DATABASE", "INFORMATION", "new").ok());
    EXPECT_EQ(TempDir::Get(path_), c.after) << c.before;
  }
  EXPECT_TRUE(WriteProfileString(dir_.File("new.ini"), "S", "K", "v").ok());  // a first write
}

TEST_F(ProfileFileTest, WriteRefusesTextsThatWouldBreakTheFile) {
  const std::string before = "[S]\nK=1\n";
  TempDir::Put(path_, before);
  const char* const refused[][3] = {
      {"S", "K", "a\r\nB=2"}, {"S", "K=", "v"}, {"S]", "K", "v"}, {"", "K", "v"}, {"S", " ", "v"}};
  for (const auto& r : refused)
    EXPECT_FALSE(WriteProfileString(path_, r[0], r[1], r[2]).ok()) << r[0] << r[1] << r[2];
  EXPECT_EQ(TempDir::Get(path_), before);
}

TEST(VersionValueOfTest, ReadsHexAfterPrefixElseDecimal) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"&H09030001", 151191553},
               {"&h0a", 10},
               {"  &HFF", 255},
               {"&HFFFFFFFF", 4294967295.0},
               {"&H1G", 1},
               {"&Hxyz", 0},
               {"12.9", 12},
               {" -590", -590},
               {"abc", 0},
               {"& H1", 0},
               {"&", 0},
               {"+7", 7}};
  for (const auto& c : cases)
    EXPECT_EQ(VersionValueOf(c.text), c.value) << c.text;
}

}  // namespace
}  // namespace quotlink
