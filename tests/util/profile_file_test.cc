#include "util/profile_file.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

class ProfileFileTest : public ::testing::Test {
 protected:
  std::string Read(std::string_view content, std::string_view section, std::string_view key,
                   size_t buffer = 256) {
    TempDir::Put(path_, content);
    return ReadProfileString(path_, section, key, "<none>", buffer);
  }
  std::string Write(std::string_view content, std::string_view section, std::string_view key,
                    std::string_view value) {
    TempDir::Put(path_, content);
    EXPECT_TRUE(WriteProfileString(path_, section, key, value).ok());
    return TempDir::Get(path_);
  }

  TempDir dir_;
  const std::string path_ = dir_.File("DTN.ini");
};

TEST_F(ProfileFileTest, ReadsValueOfKeyInSection) {
  const struct {
    std::string content;
    std::string section, key, want;
  } cases[] = {
      {"[DATABASE]\r\nINFORMATION=&H09030002\r\n", "DATABASE", "INFORMATION", "&H09030002"},
      {"[database]\ninformation =  x y \n", "DATABASE", "INFORMATION", "x y"},  // case, blanks
      {"[ DATABASE ]\nINFORMATION=v", "DATABASE", "INFORMATION", "v"},          // no last line end
      {"[DATABASE]\nINFORMATION=\n", "DATABASE", "INFORMATION", ""},            // empty is a value
      {"[OTHER]\nINFORMATION=o\n[DATABASE]\nX=1\n", "DATABASE", "INFORMATION", "<none>"},
      {"[DATABASE]\n;INFORMATION=c\n", "DATABASE", "INFORMATION", "<none>"},
      {"INFORMATION=top\n[DATABASE]\n", "DATABASE", "INFORMATION", "<none>"},
      {"[DATABASE]\nINFORMATION=a=b\n", "DATABASE", "INFORMATION", "a=b"},
      {"[DATABASE]\nINFORMATION=1\nINFORMATION=2\n", "DATABASE", "INFORMATION", "1"},
      {"", "DATABASE", "INFORMATION", "<none>"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Read(c.content, c.section, c.key), c.want) << c.content;
}

TEST_F(ProfileFileTest, ReadPassesThroughBuffer) {
  const std::string long_value(300, 'v');
  EXPECT_EQ(Read("[S]\nK=" + long_value + "\n", "S", "K"), std::string(255, 'v'));
  EXPECT_EQ(Read("[S]\nK=abc\n", "S", "K", 3), "ab");
  EXPECT_EQ(ReadProfileString(dir_.File("missing.ini"), "S", "K", "&H09030001"), "&H09030001");
  EXPECT_EQ(ReadProfileString(dir_.File("missing.ini"), "S", "K", "&H09030001", 4), "&H0");
}

TEST_F(ProfileFileTest, WriteChangesOnlyTheValueOfAKeyThatIsThere) {
  const std::string before =
      "; version of the image\n[OTHER]\nINFORMATION=keep\n\n[Database]\r\n  information = old  "
      "\r\nNEXT=1\n";
  const std::string after =
      "; version of the image\n[OTHER]\nINFORMATION=keep\n\n[Database]\r\n  information =new"
      "\r\nNEXT=1\n";
  EXPECT_EQ(Write(before, "DATABASE", "INFORMATION", "new"), after);
  EXPECT_EQ(ReadProfileString(path_, "DATABASE", "INFORMATION", ""), "new");
  EXPECT_EQ(ReadProfileString(path_, "OTHER", "INFORMATION", ""), "keep");
}

TEST_F(ProfileFileTest, WriteAddsKeyToSectionOrSectionToFile) {
  // Into the section, behind its last line, before the blank line that ends it.
  EXPECT_EQ(Write("[DATABASE]\nA=1\n\n[B]\nC=2\n", "DATABASE", "INFORMATION", "v"),
            "[DATABASE]\nA=1\nINFORMATION=v\n\n[B]\nC=2\n");
  // Behind a last line that lacks its line end.
  EXPECT_EQ(Write("[DATABASE]\r\nA=1", "DATABASE", "INFORMATION", "v"),
            "[DATABASE]\r\nA=1\r\nINFORMATION=v\r\n");
  EXPECT_EQ(Write("; c\n[B]\nC=2", "DATABASE", "INFORMATION", "v"),
            "; c\n[B]\nC=2\n[DATABASE]\nINFORMATION=v\n");

  const std::string fresh = dir_.File("new.ini");
  ASSERT_TRUE(WriteProfileString(fresh, "DATABASE", "INFORMATION", "&H09030001").ok());
  EXPECT_EQ(TempDir::Get(fresh), "[DATABASE]\r\nINFORMATION=&H09030001\r\n");
}

TEST_F(ProfileFileTest, WriteRefusesTextsThatWouldBreakTheFile) {
  const std::string before = "[S]\nK=1\n";
  TempDir::Put(path_, before);
  EXPECT_FALSE(WriteProfileString(path_, "S", "K", "a\r\nB=2").ok());
  EXPECT_FALSE(WriteProfileString(path_, "S", "K=", "v").ok());
  EXPECT_FALSE(WriteProfileString(path_, "S]", "K", "v").ok());
  EXPECT_FALSE(WriteProfileString(path_, "", "K", "v").ok());
  EXPECT_FALSE(WriteProfileString(path_, "S", " ", "v").ok());
  EXPECT_EQ(TempDir::Get(path_), before);
}

TEST(VersionValueOfTest, ReadsHexAfterPrefixElseDecimal) {
  const struct {
    const char* text;
    double value;
  } cases[] = {
      {"&H09030001", 151191553},
      {"&h0a", 10},
      {"  &HFF", 255},
      {"&HFFFFFFFF", 4294967295.0},
      {"&H1G", 1},
      {"&Hxyz", 0},
      {"12.9", 12},
      {" -5", -5},
      {"abc", 0},
      {"& H1", 0},
  };
  for (const auto& c : cases)
    EXPECT_EQ(VersionValueOf(c.text), c.value) << c.text;
}

}  // namespace
}  // namespace quotlink
