#include "util/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace quotlink {
namespace {

std::string ErrnoText(const char* what, const std::string& path) {
  return std::string(what) + " " + path + ": " + std::strerror(errno);
}

// Writes all of `data`, going on after short writes and interruptions.
bool WriteAll(int fd, ByteView data) {
  size_t done = 0;
  while (done < data.size()) {
    const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(n);
  }
  return true;
}

std::string FolderOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

}  // namespace

FileRead ReadWholeFile(const std::string& path, ByteString* out, std::string* error) {
  out->clear();
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (errno == ENOENT) return FileRead::kMissing;
    if (error != nullptr) *error = ErrnoText("cannot open", path);
    return FileRead::kFailed;
  }
  char chunk[8192];
  for (;;) {
    const ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      if (error != nullptr) *error = ErrnoText("cannot read", path);
      ::close(fd);
      out->clear();
      return FileRead::kFailed;
    }
    out->append(chunk, static_cast<size_t>(n));
  }
  ::close(fd);
  return FileRead::kRead;
}

Status ReplaceFileContent(const std::string& path, ByteView content) {
  const std::string temp = path + ".tmp";
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return Status::Error(ErrnoText("cannot create", temp));
  if (!WriteAll(fd, content) || ::fsync(fd) != 0) {
    Status failed = Status::Error(ErrnoText("cannot write", temp));
    ::close(fd);
    ::unlink(temp.c_str());
    return failed;
  }
  if (::close(fd) != 0) {
    Status failed = Status::Error(ErrnoText("cannot close", temp));
    ::unlink(temp.c_str());
    return failed;
  }
  if (::rename(temp.c_str(), path.c_str()) != 0) {
    Status failed = Status::Error(ErrnoText("cannot rename over", path));
    ::unlink(temp.c_str());
    return failed;
  }
  // The rename itself lives in the folder: until the folder is flushed, a crash may bring back
  // the old name's old content (never a mix of both).
  const std::string folder = FolderOf(path);
  const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir < 0) return Status::Error(ErrnoText("written, but cannot open folder", folder));
  const bool synced = ::fsync(dir) == 0;
  Status result =
      synced ? Status::Ok() : Status::Error(ErrnoText("written, but cannot flush", folder));
  ::close(dir);
  return result;
}

}  // namespace quotlink
