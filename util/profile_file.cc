#include "util/profile_file.h"

#include <cstdint>
#include <vector>

#include "util/atomic_file.h"
#include "util/bytes.h"

namespace quotlink {
namespace {

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view Trim(std::string_view s) {
  while (!s.empty() && IsBlank(s.front()))
    s.remove_prefix(1);
  while (!s.empty() && IsBlank(s.back()))
    s.remove_suffix(1);
  return s;
}

char AsciiLower(char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (AsciiLower(a[i]) != AsciiLower(b[i])) return false;
  }
  return true;
}

// One line of the file: its text without the line end, and where it stands.
struct Line {
  size_t start = 0;     // offset of the first character
  size_t text_end = 0;  // offset behind the text, where the line end (if any) begins
  size_t end = 0;       // offset behind the line end
};

std::vector<Line> SplitLines(std::string_view content) {
  std::vector<Line> lines;
  size_t pos = 0;
  while (pos < content.size()) {
    Line line;
    line.start = pos;
    const size_t lf = content.find('\n', pos);
    if (lf == std::string_view::npos) {
      line.text_end = line.end = content.size();
    } else {
      line.text_end = (lf > pos && content[lf - 1] == '\r') ? lf - 1 : lf;
      line.end = lf + 1;
    }
    lines.push_back(line);
    pos = line.end;
  }
  return lines;
}

std::string_view TextOf(std::string_view content, const Line& line) {
  return content.substr(line.start, line.text_end - line.start);
}

// The name of a "[NAME]" line, or false for any other line.
bool SectionName(std::string_view text, std::string_view* name) {
  const std::string_view t = Trim(text);
  if (t.empty() || t.front() != '[') return false;
  const size_t close = t.find(']');
  if (close == std::string_view::npos) return false;
  *name = Trim(t.substr(1, close - 1));
  return true;
}

// Splits a "key=value" line; false for comments and lines without '='.
bool KeyLine(std::string_view text, std::string_view* name, size_t* equals) {
  const std::string_view t = Trim(text);
  if (t.empty() || t.front() == ';') return false;
  const size_t eq = text.find('=');
  if (eq == std::string_view::npos) return false;
  *name = Trim(text.substr(0, eq));
  *equals = eq;
  return true;
}

// Where `key` of `section` stands in the file. Only the first block of a section that appears
// twice counts, for reading and writing alike.
struct Place {
  bool section_found = false;
  size_t section_line = 0;  // the header line
  size_t last_content = 0;  // the last line of the block that isn't blank
  bool key_found = false;
  size_t key_line = 0;
  size_t equals = 0;  // offset of '=' within the key line's text
};

Place Locate(std::string_view content, const std::vector<Line>& lines, std::string_view section,
             std::string_view key) {
  Place place;
  bool inside = false;
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::string_view text = TextOf(content, lines[i]);
    std::string_view name;
    if (SectionName(text, &name)) {
      if (inside) break;  // end of the first block of the section
      if (EqualsIgnoreCase(name, section)) {
        inside = true;
        place.section_found = true;
        place.section_line = place.last_content = i;
      }
      continue;
    }
    if (!inside) continue;
    if (!Trim(text).empty()) place.last_content = i;
    size_t eq = 0;
    if (KeyLine(text, &name, &eq) && EqualsIgnoreCase(name, key)) {
      place.key_found = true;
      place.key_line = i;
      place.equals = eq;
      break;
    }
  }
  return place;
}

std::string_view LineEndOf(std::string_view content) {
  const size_t lf = content.find('\n');
  if (lf != std::string_view::npos && (lf == 0 || content[lf - 1] != '\r')) return "\n";
  return "\r\n";
}

bool HasLineEnd(std::string_view s) {
  return s.find_first_of("\r\n") != std::string_view::npos;
}

}  // namespace

std::string ReadProfileString(const std::string& path, std::string_view section,
                              std::string_view key, std::string_view default_value, size_t buffer) {
  std::string_view result = default_value;
  ByteString content;
  std::vector<Line> lines;
  if (ReadWholeFile(path, &content, nullptr) == FileRead::kRead) {
    lines = SplitLines(content);
    const Place place = Locate(content, lines, section, key);
    if (place.key_found) {
      const std::string_view text = TextOf(content, lines[place.key_line]);
      result = Trim(text.substr(place.equals + 1));
    }
  }
  if (buffer == 0) return std::string();
  return std::string(result.substr(0, buffer - 1));
}

Status WriteProfileString(const std::string& path, std::string_view section, std::string_view key,
                          std::string_view value) {
  // A name the reader could never find again would only add a line at every set: blanks round
  // it (they are not part of a name), or a key that makes its line a comment or a section.
  if (Trim(section).empty() || Trim(key).empty() || Trim(section) != section || Trim(key) != key ||
      key.front() == ';' || key.front() == '[' || HasLineEnd(section) || HasLineEnd(key) ||
      HasLineEnd(value) || section.find(']') != std::string_view::npos ||
      key.find('=') != std::string_view::npos) {
    return Status::Error("profile: unusable section, key or value for " + path);
  }
  ByteString content;
  std::string error;
  // A file that exists but can't be read must not be replaced by one that holds only this key.
  if (ReadWholeFile(path, &content, &error) == FileRead::kFailed) return Status::Error(error);

  const std::vector<Line> lines = SplitLines(content);
  const Place place = Locate(content, lines, section, key);
  const std::string_view eol = LineEndOf(content);
  ByteString updated;
  updated.reserve(content.size() + section.size() + key.size() + value.size() + 8);
  if (place.key_found) {
    const Line& line = lines[place.key_line];
    updated.append(content, 0, line.start + place.equals + 1);
    updated.append(value);
    updated.append(content, line.text_end);
  } else if (place.section_found) {
    const Line& after = lines[place.last_content];
    updated.append(content, 0, after.end);
    if (after.end == after.text_end) updated.append(eol);  // the last line had no line end
    updated.append(key).append("=").append(value).append(eol);
    updated.append(content, after.end);
  } else {
    updated = content;
    if (!updated.empty() && updated.back() != '\n') updated.append(eol);
    updated.append("[").append(section).append("]").append(eol);
    updated.append(key).append("=").append(value).append(eol);
  }
  return ReplaceFileContent(path, updated);
}

double VersionValueOf(std::string_view text) {
  size_t i = 0;
  while (i < text.size() && text[i] == ' ')
    ++i;
  double value = 0;
  if (i + 1 < text.size() && text[i] == '&' && (text[i + 1] == 'H' || text[i + 1] == 'h')) {
    for (i += 2; i < text.size(); ++i) {
      const char c = AsciiLower(text[i]);
      int digit = 0;
      if (c >= '0' && c <= '9') {
        digit = c - '0';
      } else if (c >= 'a' && c <= 'f') {
        digit = c - 'a' + 10;
      } else {
        break;
      }
      value = value * 16 + digit;
    }
    return value;
  }
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) {
    negative = text[i] == '-';
    ++i;
  }
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
    value = value * 10 + (text[i] - '0');
  return negative ? -value : value;
}

}  // namespace quotlink
