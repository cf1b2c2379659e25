// A FILE* whose contents the test reads back: for a writer of text lines, such as the console
// log, whose whole output the test compares.
#ifndef QUOTLINK_TESTS_SUPPORT_MEMORY_FILE_H_
#define QUOTLINK_TESTS_SUPPORT_MEMORY_FILE_H_

#include <cstdio>
#include <cstdlib>
#include <string>

namespace quotlink {

class MemoryFile {
 public:
  MemoryFile() : file_(open_memstream(&data_, &size_)) {}
  ~MemoryFile() {
    std::fclose(file_);
    std::free(data_);
  }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  std::FILE* file() const { return file_; }
  // What was written since the last Take.
  std::string Take() {
    std::fflush(file_);
    std::string text(data_ + taken_, size_ - taken_);
    taken_ = size_;
    return text;
  }

 private:
  char* data_ = nullptr;
  size_t size_ = 0;
  size_t taken_ = 0;
  std::FILE* file_;
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_MEMORY_FILE_H_
