#include "tools/quotlink/quote_output.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "client/quotlinkcls.h"

namespace quotlink {

QuoteView ViewOf(const QUOTLINKCls& o) {
  QuoteView q{o.Simbolo(), o.Last(),   o.LastS(), o.Bid(),  o.BidS(), o.Ask(),
              o.AskS(),    o.Change(), o.OpenV(), o.High(), o.Low(),  o.Previous(),
              o.OInt(),    o.Vol(),    o.TimeV(), o.Flag(), 0};
  int16_t ok = 0;
  if (o.GetComunicationOK(&ok).ok()) q.ComunicationOK = ok;
  return q;
}

namespace {

void AppendFloat(std::string* out, float v) {
  if (!std::isfinite(v)) {
    out->append("null");  // JSON has no infinities
    return;
  }
  char buf[32];
  const auto r = std::to_chars(buf, buf + sizeof buf, v);
  out->append(buf, r.ptr);
}

void AppendString(std::string* out, const std::string& s) {
  out->push_back('"');
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out->push_back('\\');
      out->push_back(static_cast<char>(c));
    } else if (c < 0x20 || c >= 0x7F) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", c);
      out->append(esc);
    } else {
      out->push_back(static_cast<char>(c));
    }
  }
  out->push_back('"');
}

}  // namespace

std::string QuoteJson(const QuoteView& q) {
  std::string out = "{\"Simbolo\":";
  AppendString(&out, q.Simbolo);
  const std::pair<const char*, float> floats[] = {
      {"Last", q.Last}, {"LastS", q.LastS}, {"Bid", q.Bid},           {"BidS", q.BidS},
      {"Ask", q.Ask},   {"AskS", q.AskS},   {"Change", q.Change},     {"OpenV", q.OpenV},
      {"High", q.High}, {"Low", q.Low},     {"Previous", q.Previous}, {"OInt", q.OInt},
      {"Vol", q.Vol},   {"TimeV", q.TimeV}};
  for (const auto& [name, v] : floats) {
    out.append(",\"").append(name).append("\":");
    AppendFloat(&out, v);
  }
  out.append(",\"Flag\":").append(std::to_string(q.Flag));
  out.append(",\"ComunicationOK\":").append(std::to_string(q.ComunicationOK));
  out.push_back('}');
  return out;
}

std::string QuoteRowHeader() {
  char buf[200];
  std::snprintf(buf, sizeof buf, "%-12s %5s %12s %8s %12s %8s %12s %8s %10s %12s %4s", "SYMBOL",
                "TIME", "LAST", "SIZE", "BID", "BIDS", "ASK", "ASKS", "CHANGE", "VOLUME", "FLAG");
  return buf;
}

std::string QuoteRow(const QuoteView& q) {
  char buf[240];
  const int t = static_cast<int>(q.TimeV);
  std::snprintf(buf, sizeof buf,
                "%-12.12s %02d:%02d %12.6g %8.6g %12.6g %8.6g %12.6g %8.6g %+10.4g %12.8g %4d",
                q.Simbolo.c_str(), t / 100, t % 100, q.Last, q.LastS, q.Bid, q.BidS, q.Ask, q.AskS,
                q.Change, q.Vol, q.Flag);
  return buf;
}

}  // namespace quotlink
