#include "client/settings.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <optional>

#include "util/atomic_file.h"
#include "util/bytes.h"

namespace quotlink {
namespace {

// Reads the values of the settings file one after another, as they stand, not line by line: a
// comma ends a value as a line end does.
class ValueReader {
 public:
  explicit ValueReader(std::string_view text) : text_(text) {}

  // The next value, or nothing when the file has no more. A value ends at a comma or a line end,
  // and at a blank too when `blank_ends` is set; that delimiter is consumed with it, and after a
  // blank any further blanks up to a comma or line end as well.
  std::optional<std::string_view> Next(bool blank_ends) {
    SkipBlanks();
    if (pos_ >= text_.size()) return std::nullopt;
    const size_t start = pos_;
    while (pos_ < text_.size() && !IsEnd(text_[pos_]) && !(blank_ends && text_[pos_] == ' '))
      ++pos_;
    const std::string_view value = text_.substr(start, pos_ - start);
    if (blank_ends) SkipBlanks();
    if (pos_ < text_.size() && text_[pos_] == ',') {
      ++pos_;
    } else {
      if (pos_ < text_.size() && text_[pos_] == '\r') ++pos_;
      if (pos_ < text_.size() && text_[pos_] == '\n') ++pos_;
    }
    return value;
  }

 private:
  static bool IsEnd(char c) { return c == ',' || c == '\r' || c == '\n'; }
  void SkipBlanks() {
    while (pos_ < text_.size() && text_[pos_] == ' ')
      ++pos_;
  }

  std::string_view text_;
  size_t pos_ = 0;
};

// A port value: an optional sign and the digits that follow it; no digits read as 0. False when
// the number doesn't fit 32 bits.
bool PortValue(std::string_view text, int32_t* port) {
  size_t i = 0;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  int64_t v = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    v = v * 10 + (text[i] - '0');
    if (v > int64_t{INT32_MAX} + 1) return false;
  }
  if (negative) v = -v;
  if (v > INT32_MAX || v < INT32_MIN) return false;
  *port = static_cast<int32_t>(v);
  return true;
}

void AppendPortLine(std::string* out, int32_t port) {
  char digits[16];
  const std::to_chars_result r = std::to_chars(digits, digits + sizeof digits, port);
  if (port >= 0) out->push_back(' ');  // a negative number has its sign here
  out->append(digits, r.ptr);
  out->append(" \r\n");
}

}  // namespace

std::string DataFolderFrom(std::string_view parent) {
  std::string folder(parent);
  if (!folder.empty() && folder.back() != '/') folder.push_back('/');
  folder.append("DTN/");
  return folder;
}

Status CreateDataFolder(const std::string& folder) {
  // Only the last level is made.
  if (::mkdir(folder.c_str(), 0755) == 0) return Status::Ok();
  const int error = errno;
  struct stat st {};
  if (error == EEXIST && ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
    return Status::Ok();
  }
  return Status::Error("cannot create the folder " + folder + ": " +
                       (error == EEXIST ? "a file stands in its place" : std::strerror(error)));
}

Status ReadSettings(const std::string& folder, Settings* settings) {
  const std::string path = folder + std::string(kSettingsFileName);
  ByteString text;
  std::string error;
  if (ReadWholeFile(path, &text, &error) != FileRead::kRead) {
    // A missing or unreadable file is replaced by the defaults without a word; whether that
    // worked shows in the second opening.
    std::string defaults(kDefaultFeedAddress);
    defaults.append("\r\n" + std::to_string(kDefaultFeedPort) + "\r\n" +
                    std::to_string(kDefaultLocalPort) + "\r\n");
    (void)ReplaceFileContent(path, defaults);
    if (ReadWholeFile(path, &text, &error) != FileRead::kRead) {
      return Status::Error(error.empty() ? "cannot create " + path : error);
    }
  }

  ValueReader reader(text);
  if (const std::optional<std::string_view> address = reader.Next(false)) {
    settings->FeedAddress.assign(*address);
  }
  for (int32_t* port : {&settings->FeedPort, &settings->LocalPort}) {
    const std::optional<std::string_view> value = reader.Next(true);
    if (value) (void)PortValue(*value, port);
  }
  return Status::Ok();
}

Status WriteSettings(const std::string& folder, const Settings& settings) {
  std::string text = settings.FeedAddress;
  text.append("\r\n");
  AppendPortLine(&text, settings.FeedPort);
  AppendPortLine(&text, settings.LocalPort);
  return ReplaceFileContent(folder + std::string(kSettingsFileName), text);
}

void ReadUdpFrom(const std::string& folder, Settings* settings) {
  ByteString text;
  std::string error;
  settings->UdpFrom.clear();
  if (ReadWholeFile(folder + std::string(kUdpFromFileName), &text, &error) != FileRead::kRead) {
    return;
  }
  std::string_view line(text);
  line = line.substr(0, line.find_first_of("\r\n"));
  const size_t first = line.find_first_not_of(" \t");
  if (first == std::string_view::npos) return;
  line = line.substr(first, line.find_last_not_of(" \t") - first + 1);
  settings->UdpFrom.assign(line);
}

Status WriteUdpFrom(const std::string& folder, std::string_view udp_from) {
  std::string text(udp_from);
  text.append("\r\n");
  return ReplaceFileContent(folder + std::string(kUdpFromFileName), text);
}

bool ParsePortText(std::string_view text, int32_t* port) {
  while (!text.empty() && text.front() == ' ')
    text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ')
    text.remove_suffix(1);
  // from_chars takes a minus sign but no plus sign; after a plus only digits may follow.
  if (!text.empty() && text.front() == '+') {
    text.remove_prefix(1);
    if (text.empty() || text.front() < '0' || text.front() > '9') return false;
  }
  int32_t value = 0;
  const std::from_chars_result r = std::from_chars(text.data(), text.data() + text.size(), value);
  if (r.ec != std::errc() || r.ptr != text.data() + text.size()) return false;
  *port = value;
  return true;
}

}  // namespace quotlink
