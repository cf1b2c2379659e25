#include "util/profile_file.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

TEST(ProfileFileTest, ReadsAndWritesTheValueOfAKeyInASection) {
  TempDir dir;
  const std::string path = dir.File("DTN.ini");
  const struct {
    const char* content;
    const char* want;
  } reads[] = {
      {"[ database ]\ninformation =  x y ", "x y"},  // case, blanks, no last line end
      {"[OTHER]\nINFORMATION=o\n[DATABASE]\n;INFORMATION=c\n", "<none>"},
      {"[OTHER]\nXDATABASE]\nINFORMATION=o\n", "<none>"},  // a section line starts with '['

      {"[DATABASE]\nX=1\n[DATABASE]\nINFORMATION=2\n", "<none>"},  // only the first block
  };
  for (const auto& r : reads) {
    TempDir::Put(path, r.content);
    EXPECT_EQ(ReadProfileString(path, "DATABASE", "INFORMATION", "<none>"), r.want) << r.content;
  }
  // The buffer holds a terminating byte too.
  EXPECT_EQ(ReadProfileString(dir.File("missing.ini"), "S", "K", "&H09030001", 4), "&H0");

  const struct {
    const char* before;
    const char* after;
  } writes[] = {
      {"; c\n[OTHER]\nINFORMATION=keep\n\n[Database]\r\n  information = old  \r\nNEXT=1\n",
       "; c\n[OTHER]\nINFORMATION=keep\n\n[Database]\r\n  information =new\r\nNEXT=1\n"},
      {"[DATABASE]\nA=1\n\n[B]\nC=2\n", "[DATABASE]\nA=1\nINFORMATION=new\n\n[B]\nC=2\n"},
      {"[DATABASE]\r\nA=1", "[DATABASE]\r\nA=1\r\nINFORMATION=new\r\n"},
      {"; c\n[B]\nC=2", "; c\n[B]\nC=2\n[DATABASE]\nINFORMATION=new\n"},
      {"", "[DATABASE]\r\nINFORMATION=new\r\n"},
  };
  for (const auto& w : writes) {
    TempDir::Put(path, w.before);
    ASSERT_TRUE(WriteProfileString(path, "DATABASE", "INFORMATION", "new").ok());
    EXPECT_EQ(TempDir::Get(path), w.after) << w.before;
  }
  // Texts that would break the file, or names it could never find again, are refused, and the
  // file stays as it was.
  const char* const refused[][3] = {{"DATABASE", "K", "a\r\nB=2"},
                                    {"DATABASE", "K=", "v"},
                                    {"S]", "K", "v"},
                                    {"", "K", "v"},
                                    {"S", " ", "v"},
                                    {" S", "K", "v"},
                                    {"S", "K ", "v"},
                                    {"S", ";K", "v"},
                                    {"S", "[K", "]"}};
  for (const auto& r : refused)
    EXPECT_FALSE(WriteProfileString(path, r[0], r[1], r[2]).ok()) << r[0] << r[1] << r[2];
  EXPECT_EQ(TempDir::Get(path), writes[4].after);
}

TEST(VersionValueOfTest, ReadsHexAfterPrefixElseDecimal) {
  const struct {
    const char* text;
    double value;
  } cases[] = {{"  &hFf", 255}, {"&H1G", 1}, {" -12.9", -12}, {"+79", 79}, {"& H1", 0}, {"&", 0}};
  for (const auto& c : cases)
    EXPECT_EQ(VersionValueOf(c.text), c.value) << c.text;
}

}  // namespace
}  // namespace quotlink
