// The input as the content of the feeder's three files, read through their own readers.
//
// Input: a 2-byte length (most significant first) and that many bytes of SYMBOLS.DAT; a 2-byte
// length and that many bytes of QUOTLINKINFO.DAT; three length bytes and the section, key and
// value to set in the profile file; the rest is the profile file DTN.ini.
// Checked: no reader fails on any content; records read, written and read again encode to the
// same bytes; settings read, written and read again hold the same values; a value set in the
// profile file reads back (blanks round it dropped), and a set that the writer refuses leaves the
// file as it was.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "client/settings.h"
#include "client/symbols_file.h"
#include "fuzz/fuzz_support.h"
#include "util/profile_file.h"

namespace quotlink::fuzz {
namespace {

// One folder for the whole run, emptied at exit.
const std::string& Folder() {
  // Never destroyed: the exit handler below still needs it.
  static const std::string& folder = *[] {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/quotlink_fuzz_XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) Fail("mkdtemp");
    std::filesystem::create_directory(pattern + "/a");
    std::filesystem::create_directory(pattern + "/b");
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(Folder(), ignored);
    });
    return new std::string(pattern + "/");
  }();
  return folder;
}

void Put(const std::string& file, ByteView bytes) {
  std::ofstream(file, std::ios::binary | std::ios::trunc).write(bytes.data(), std::ssize(bytes));
}
std::string Get(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void SymbolsRoundTrip(ByteView content) {
  constexpr double kNow = 46349.5;
  const std::string first = Folder() + "a/SYMBOLS.DAT", second = Folder() + "b/SYMBOLS.DAT";
  Put(first, content);
  std::filesystem::remove(second);
  std::vector<SimboloRec> read;
  if (!ReadSymbolsFile(first, kNow, &read).ok()) Fail("SYMBOLS.DAT: reading failed");
  SimboloTable table;
  table.ReplaceAll(read);
  if (!WriteSymbolsFile(second, table).ok()) Fail("SYMBOLS.DAT: writing failed");
  std::vector<SimboloRec> again;
  if (!ReadSymbolsFile(second, kNow, &again).ok()) Fail("SYMBOLS.DAT: reading back failed");
  ByteString a, b;
  for (const SimboloRec& r : read)
    EncodeSymbolRecord(r, &a);
  for (const SimboloRec& r : again)
    EncodeSymbolRecord(r, &b);
  if (a != b) Fail("SYMBOLS.DAT: records changed through writing and reading back");
}

void SettingsRoundTrip(ByteView content) {
  Put(Folder() + "a/" + std::string(kSettingsFileName), content);
  Settings read;
  if (!ReadSettings(Folder() + "a/", &read).ok()) Fail("settings: reading failed");
  if (!WriteSettings(Folder() + "b/", read).ok()) Fail("settings: writing failed");
  Settings again;
  if (!ReadSettings(Folder() + "b/", &again).ok()) Fail("settings: reading back failed");
  if (again.FeedAddress != read.FeedAddress || again.FeedPort != read.FeedPort ||
      again.LocalPort != read.LocalPort)
    Fail("settings: values changed through writing and reading back: \"" + read.FeedAddress +
         "\" " + std::to_string(read.FeedPort) + " " + std::to_string(read.LocalPort) +
         " became \"" + again.FeedAddress + "\" " + std::to_string(again.FeedPort) + " " +
         std::to_string(again.LocalPort));
}

std::string_view TrimBlanks(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
    s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
    s.remove_suffix(1);
  return s;
}

void ProfileSetAndGet(std::string_view section, std::string_view key, std::string_view value,
                      ByteView content) {
  const std::string path = Folder() + "a/DTN.ini";
  Put(path, content);
  (void)ReadProfileString(path, section, key, "-");
  const auto has_line_end = [](std::string_view s) {
    return s.find_first_of("\r\n") != std::string_view::npos;
  };
  // Blanks round a name are not part of it, so a name of blanks alone is empty.
  const bool allowed =
      !TrimBlanks(section).empty() && !TrimBlanks(key).empty() && TrimBlanks(section) == section &&
      TrimBlanks(key) == key && key.front() != ';' && key.front() != '[' &&
      !has_line_end(section) && !has_line_end(key) && !has_line_end(value) &&
      section.find(']') == std::string_view::npos && key.find('=') == std::string_view::npos;
  const Status written = WriteProfileString(path, section, key, value);
  if (!allowed) {
    if (written.ok()) Fail("profile: a set against the writer's terms was written");
    if (Get(path) != content) Fail("profile: a refused set changed the file");
    return;
  }
  if (!written.ok()) Fail("profile: writing failed");
  // A default that no value read back can equal: it is longer than the buffer allows.
  const std::string none(value.size() + 3, '\x01');
  const std::string got = ReadProfileString(path, section, key, none, value.size() + 2);
  if (got != TrimBlanks(value))
    Fail("profile: set \"" + std::string(value) + "\", read back \"" + got + "\"");
}

void Run(const uint8_t* data, size_t size) {
  Input in(data, size);
  SymbolsRoundTrip(in.Take(in.Be16()));
  SettingsRoundTrip(in.Take(in.Be16()));
  const size_t section = in.Byte() % 32, key = in.Byte() % 32, value = in.Byte();
  // Callers hand the profile texts over as C strings: each ends at its first NUL.
  const auto text = [&in](size_t n) {
    const ByteView t = in.Take(n);
    return t.substr(0, t.find('\0'));
  };
  const ByteView s = text(section), k = text(key), v = text(value);
  ProfileSetAndGet(s, k, v, in.Rest());
}

}  // namespace
}  // namespace quotlink::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quotlink::fuzz::Run(data, size);
  return 0;
}
