#include "publish/subject.h"

namespace quotlink {
namespace {

constexpr char kEscape = '_';
constexpr char kHex[] = "0123456789ABCDEF";

bool StandsForItself(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
         c == '/' || c == '=';
}

// Upper-case digits only: a lower-case spelling would give a second token for one symbol.
int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

void AppendSymbolToken(std::string_view symbol, std::string* out) {
  // NATS has no empty token; a lone escape character is no escape of any byte.
  if (symbol.empty()) {
    out->push_back(kEscape);
    return;
  }
  for (const char ch : symbol) {
    const auto c = static_cast<unsigned char>(ch);
    if (StandsForItself(c)) {
      out->push_back(ch);
    } else {
      out->push_back(kEscape);
      out->push_back(kHex[c >> 4]);
      out->push_back(kHex[c & 0xF]);
    }
  }
}

std::string SymbolToken(std::string_view symbol) {
  std::string token;
  AppendSymbolToken(symbol, &token);
  return token;
}

bool SymbolOfToken(std::string_view token, std::string* symbol) {
  symbol->clear();
  if (token.size() == 1 && token[0] == kEscape) return true;
  if (token.empty()) return false;
  for (size_t i = 0; i < token.size(); ++i) {
    const auto c = static_cast<unsigned char>(token[i]);
    if (StandsForItself(c)) {
      symbol->push_back(token[i]);
      continue;
    }
    if (c != kEscape || token.size() - i < 3) return false;
    const int high = HexValue(token[i + 1]);
    const int low = HexValue(token[i + 2]);
    if (high < 0 || low < 0) return false;
    const auto byte = static_cast<unsigned char>(high * 16 + low);
    if (StandsForItself(byte)) return false;
    symbol->push_back(static_cast<char>(byte));
    i += 2;
  }
  return true;
}

}  // namespace quotlink
