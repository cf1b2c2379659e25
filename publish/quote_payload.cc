#include "publish/quote_payload.h"

#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "client/quote_json.h"

namespace quotlink {

bool QuoteRecord::SetSymbol(std::string_view s) {
  if (s.size() > kMaxSymbol) return false;
  std::memcpy(Simbolo, s.data(), s.size());
  Simbolo[s.size()] = '\0';
  simbolo_size = static_cast<uint8_t>(s.size());
  return true;
}

namespace {

template <typename T>
void AppendInteger(std::string* out, T v) {
  char buf[24];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  out->append(buf, r.ptr);
}

// The float fields in the order of the --json object.
template <typename Quote>
auto FloatFields(Quote& q) {
  struct Field {
    std::string_view name;
    decltype(&q.Last) value;
  };
  // The members in the order of the keys of the --json object.
  return std::array<Field, 14>{{{kQuoteFloatKeys[0], &q.Last},
                                {kQuoteFloatKeys[1], &q.LastS},
                                {kQuoteFloatKeys[2], &q.Bid},
                                {kQuoteFloatKeys[3], &q.BidS},
                                {kQuoteFloatKeys[4], &q.Ask},
                                {kQuoteFloatKeys[5], &q.AskS},
                                {kQuoteFloatKeys[6], &q.Change},
                                {kQuoteFloatKeys[7], &q.OpenV},
                                {kQuoteFloatKeys[8], &q.High},
                                {kQuoteFloatKeys[9], &q.Low},
                                {kQuoteFloatKeys[10], &q.Previous},
                                {kQuoteFloatKeys[11], &q.OInt},
                                {kQuoteFloatKeys[12], &q.Vol},
                                {kQuoteFloatKeys[13], &q.TimeV}}};
}

// A reader over the payload's bytes that never looks past their end.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  void SkipBlanks() {
    while (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t' ||
                                   text_[pos_] == '\n' || text_[pos_] == '\r'))
      ++pos_;
  }
  bool Take(char c) {
    SkipBlanks();
    if (pos_ >= text_.size() || text_[pos_] != c) return false;
    ++pos_;
    return true;
  }
  bool AtEnd() {
    SkipBlanks();
    return pos_ == text_.size();
  }
  char Peek() {
    SkipBlanks();
    return pos_ < text_.size() ? text_[pos_] : '\0';
  }

  bool String(std::string* out) {
    out->clear();
    if (!Take('"')) return false;
    while (pos_ < text_.size()) {
      // The plain run up to the next quote or backslash goes in at once.
      size_t run = pos_;
      while (run < text_.size() && text_[run] != '"' && text_[run] != '\\' &&
             static_cast<unsigned char>(text_[run]) >= 0x20)
        ++run;
      out->append(text_.data() + pos_, run - pos_);
      pos_ = run;
      if (pos_ >= text_.size()) return false;
      const char c = text_[pos_++];
      if (c == '"') return true;
      if (static_cast<unsigned char>(c) < 0x20) return false;
      if (c != '\\') {
        out->push_back(c);
        continue;
      }
      if (pos_ >= text_.size()) return false;
      const char e = text_[pos_++];
      switch (e) {
        case '"':
        case '\\':
        case '/':
          out->push_back(e);
          break;
        case 'b':
          out->push_back('\b');
          break;
        case 'f':
          out->push_back('\f');
          break;
        case 'n':
          out->push_back('\n');
          break;
        case 'r':
          out->push_back('\r');
          break;
        case 't':
          out->push_back('\t');
          break;
        case 'u': {
          if (text_.size() - pos_ < 4) return false;
          unsigned v = 0;
          const auto r = std::from_chars(text_.data() + pos_, text_.data() + pos_ + 4, v, 16);
          if (r.ptr != text_.data() + pos_ + 4) return false;
          pos_ += 4;
          // The feeder writes \u00XX for one byte; what other writers put above that is kept
          // as UTF-8.
          if (v <= 0xFF) {
            out->push_back(static_cast<char>(v));
          } else if (v <= 0x7FF) {
            out->push_back(static_cast<char>(0xC0 | (v >> 6)));
            out->push_back(static_cast<char>(0x80 | (v & 0x3F)));
          } else {
            out->push_back(static_cast<char>(0xE0 | (v >> 12)));
            out->push_back(static_cast<char>(0x80 | ((v >> 6) & 0x3F)));
            out->push_back(static_cast<char>(0x80 | (v & 0x3F)));
          }
          break;
        }
        default:
          return false;
      }
    }
    return false;
  }

  // The text of a number, null, true or false, checked by whoever reads it.
  std::string_view Scalar() {
    SkipBlanks();
    const size_t start = pos_;
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-' && c != '.') break;
      ++pos_;
    }
    return text_.substr(start, pos_ - start);
  }

  // Passes over one value of any kind but an object or array, which a payload never holds.
  bool SkipValue() {
    if (Peek() == '"') {
      std::string ignored;
      return String(&ignored);
    }
    return !Scalar().empty();
  }

 private:
  std::string_view text_;
  size_t pos_ = 0;
};

bool ReadFloat(std::string_view s, float* v) {
  if (s == "null") {
    *v = std::numeric_limits<float>::quiet_NaN();
    return true;
  }
  const auto r = std::from_chars(s.data(), s.data() + s.size(), *v);
  return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

template <typename T>
bool ReadInteger(std::string_view s, T* v) {
  const auto r = std::from_chars(s.data(), s.data() + s.size(), *v);
  return r.ec == std::errc() && r.ptr == s.data() + s.size();
}

}  // namespace

void AppendQuotePayload(const QuoteRecord& q, std::string_view feeder, std::string* out) {
  std::array<float, kQuoteFloatKeys.size()> floats;
  const auto fields = FloatFields(q);
  for (size_t i = 0; i < floats.size(); ++i)
    floats[i] = *fields[i].value;
  AppendQuoteMembers(out, q.symbol(), floats, q.Flag, q.ComunicationOK);
  out->append(",\"seq\":");
  AppendInteger(out, q.seq);
  out->append(",\"symbol_seq\":");
  AppendInteger(out, q.symbol_seq);
  out->append(",\"time_us\":");
  AppendInteger(out, q.time_us);
  out->append(",\"feeder\":");
  AppendJsonString(out, feeder);
  out->push_back('}');
}

bool ParseQuotePayload(std::string_view text, ParsedQuote* q) {
  // Field by field, so that a reader that parses into the same object keeps its strings'
  // capacity and allocates nothing per quote.
  q->Simbolo.clear();
  q->feeder.clear();
  for (const auto& f : FloatFields(*q))
    *f.value = 0;
  q->Flag = q->ComunicationOK = 0;
  q->seq = q->symbol_seq = 0;
  q->time_us = 0;
  Reader in(text);
  if (!in.Take('{')) return false;
  bool have_symbol = false, have_seq = false;
  std::string key;
  const auto fields = FloatFields(*q);
  if (!in.Take('}')) {
    do {
      if (!in.String(&key) || !in.Take(':')) return false;
      bool ok = true;
      if (key == "Simbolo") {
        ok = have_symbol = in.String(&q->Simbolo);
      } else if (key == "feeder") {
        ok = in.String(&q->feeder);
      } else if (key == "Flag") {
        ok = ReadInteger(in.Scalar(), &q->Flag);
      } else if (key == "ComunicationOK") {
        ok = ReadInteger(in.Scalar(), &q->ComunicationOK);
      } else if (key == "seq") {
        ok = have_seq = ReadInteger(in.Scalar(), &q->seq);
      } else if (key == "symbol_seq") {
        ok = ReadInteger(in.Scalar(), &q->symbol_seq);
      } else if (key == "time_us") {
        ok = ReadInteger(in.Scalar(), &q->time_us);
      } else {
        bool known = false;
        for (const auto& f : fields) {
          if (f.name == key) {
            ok = ReadFloat(in.Scalar(), f.value);
            known = true;
            break;
          }
        }
        if (!known) ok = in.SkipValue();
      }
      if (!ok) return false;
    } while (in.Take(','));
    if (!in.Take('}')) return false;
  }
  return in.AtEnd() && have_symbol && have_seq;
}

}  // namespace quotlink
