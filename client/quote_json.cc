#include "client/quote_json.h"

#include <charconv>
#include <cmath>

namespace quotlink {

void AppendJsonString(std::string* out, std::string_view s) {
  static constexpr char kHex[] = "0123456789abcdef";
  out->push_back('"');
  for (const char ch : s) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out->push_back('\\');
      out->push_back(ch);
    } else if (c < 0x20 || c >= 0x7F) {
      out->append("\\u00");
      out->push_back(kHex[c >> 4]);
      out->push_back(kHex[c & 0xF]);
    } else {
      out->push_back(ch);
    }
  }
  out->push_back('"');
}

void AppendJsonFloat(std::string* out, float v) {
  if (!std::isfinite(v)) {
    out->append("null");
    return;
  }
  char buf[32];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  out->append(buf, r.ptr);
}

void AppendQuoteMembers(std::string* out, std::string_view simbolo,
                        const std::array<float, 14>& floats, int16_t flag,
                        int16_t comunication_ok) {
  char buf[8];
  out->append("{\"Simbolo\":");
  AppendJsonString(out, simbolo);
  for (size_t i = 0; i < floats.size(); ++i) {
    out->append(",\"").append(kQuoteFloatKeys[i]).append("\":");
    AppendJsonFloat(out, floats[i]);
  }
  out->append(",\"Flag\":");
  out->append(buf, std::to_chars(buf, buf + sizeof buf, flag).ptr);
  out->append(",\"ComunicationOK\":");
  out->append(buf, std::to_chars(buf, buf + sizeof buf, comunication_ok).ptr);
}

}  // namespace quotlink
