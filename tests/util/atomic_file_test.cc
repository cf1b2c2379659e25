#include "util/atomic_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <string>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

TEST(AtomicFileTest, ReplacesTheContentWholeOrLeavesTheOldFileWhole) {
  TempDir dir;
  const std::string path = dir.File("SYMBOLS.DAT");
  const ByteString old = "old\0content"s;
  ASSERT_TRUE(ReplaceFileContent(path, old).ok());
  ByteString got;
  ASSERT_EQ(ReadWholeFile(path, &got, nullptr), FileRead::kRead);
  EXPECT_EQ(got, old);
  EXPECT_EQ(ReadWholeFile(dir.File("missing"), &got, nullptr), FileRead::kMissing);
  EXPECT_EQ(ReadWholeFile(dir.path(), &got, nullptr), FileRead::kFailed);
  EXPECT_FALSE(ReplaceFileContent(dir.File("no/such/folder/f"), "x").ok());

  // The file system takes part of the new content, then refuses the rest.
  rlimit limit;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  const rlimit before = limit;
  limit.rlim_cur = 4096;
  signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const Status cut = ReplaceFileContent(path, ByteString(10000, 'n'));
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, SIG_DFL);
  EXPECT_FALSE(cut.ok());
  EXPECT_EQ(TempDir::Get(path), old);
  EXPECT_FALSE(TempDir::Exists(path + ".tmp"));
}

}  // namespace
}  // namespace quotlink
