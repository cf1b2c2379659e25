// A fresh folder for a test's files, removed with everything in it when the test ends.
#ifndef QUOTLINK_TESTS_SUPPORT_TEMP_DIR_H_
#define QUOTLINK_TESTS_SUPPORT_TEMP_DIR_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace quotlink {

class TempDir {
 public:
  TempDir() {
    std::string pattern = ::testing::TempDir() + "quotlink_XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) ADD_FAILURE() << "mkdtemp failed";
    path_ = pattern + "/";
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The folder, with its closing "/".
  const std::string& path() const { return path_; }
  std::string File(std::string_view name) const { return path_ + std::string(name); }

  // Whole-file helpers for checking what a writer left and planting what a reader meets.
  static void Put(const std::string& file, std::string_view bytes) {
    std::ofstream(file, std::ios::binary).write(bytes.data(), std::ssize(bytes));
  }
  static std::string Get(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  static bool Exists(const std::string& file) { return std::filesystem::exists(file); }
  // The same for a file of this folder.
  std::string Read(std::string_view name) const { return Get(File(name)); }
  void Write(std::string_view name, std::string_view bytes) const { Put(File(name), bytes); }

 private:
  std::string path_;
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_TEMP_DIR_H_
