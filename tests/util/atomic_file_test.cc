#include "util/atomic_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

TEST(AtomicFileTest, ReplacesContentAndLeavesNoTemporaryFile) {
  TempDir dir;
  const std::string path = dir.File("SYMBOLS.DAT");
  ASSERT_TRUE(ReplaceFileContent(path, "first").ok());
  ASSERT_TRUE(ReplaceFileContent(path, "sec\0nd"s).ok());
  ByteString got;
  ASSERT_EQ(ReadWholeFile(path, &got, nullptr), FileRead::kRead);
  EXPECT_EQ(got, "sec\0nd"s);
  EXPECT_FALSE(TempDir::Exists(path + ".tmp"));
}

TEST(AtomicFileTest, FailureBeforeRenameLeavesOldFileIntact) {
  TempDir dir;
  const std::string path = dir.File("SYMBOLS.DAT");
  TempDir::Put(path, "old content");
  // Something that isn't a file stands where the new content would be written.
  std::filesystem::create_directory(path + ".tmp");
  EXPECT_FALSE(ReplaceFileContent(path, "new content").ok());
  EXPECT_EQ(TempDir::Get(path), "old content");

  EXPECT_FALSE(ReplaceFileContent(dir.File("no/such/folder/f"), "x").ok());
}

}  // namespace
}  // namespace quotlink
