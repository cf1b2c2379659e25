// A reader and writer of profile files: "[SECTION]" headers, "key=value" lines, comment lines that
// begin with ';'. DTN.ini, which holds the version of the database image, is such a file.
//
// Section and key names are compared without regard to case, and blanks round names and values
// are not part of them. Lines of any other kind are kept as they are but mean nothing.
#ifndef QUOTLINK_UTIL_PROFILE_FILE_H_
#define QUOTLINK_UTIL_PROFILE_FILE_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "util/status.h"

namespace quotlink {

// The value of `key` in `section` of the profile file at `path`, or `default_value` when the
// file, the section or the key is missing or the file can't be read. An empty value is a value:
// the caller tells it from a missing key by passing a default that can't be a value. The result
// passes through a buffer of `buffer` characters with room for a closing NUL, so it holds at most
// `buffer` - 1 characters (none when `buffer` is 0); the default is cut the same way.
std::string ReadProfileString(const std::string& path, std::string_view section,
                              std::string_view key, std::string_view default_value,
                              size_t buffer = 256);

// Sets `key` in `section` of the profile file at `path` to `value`, creating the file, the
// section or the key when missing. Every other section, key, comment, blank line and line end of
// the file stays as it was, byte for byte; a key that is already there keeps its line and the
// spelling of its name. New lines take the file's line end (CR LF in a new file). The file is
// replaced whole or not at all (util/atomic_file.h).
// REQUIRES (else an error and no write): `section` and `key` not empty and without blanks round
// them, `key` not starting with ';' or '[', no line end in any of the three texts, no ']' in
// `section`, no '=' in `key`.
Status WriteProfileString(const std::string& path, std::string_view section, std::string_view key,
                          std::string_view value);

// The number a version text stands for. After leading blanks, a text that begins with "&H" (in
// either case) is read as hexadecimal digits as far as they go, without sign: "&H09030001" is
// 151191553. Any other text is read as a decimal number with an optional sign, as far as digits
// go. A text without digits gives 0. Very long digit runs lose precision, never fail.
double VersionValueOf(std::string_view text);

}  // namespace quotlink

#endif  // QUOTLINK_UTIL_PROFILE_FILE_H_
