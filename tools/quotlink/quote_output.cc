#include "tools/quotlink/quote_output.h"

#include <cstdio>

#include "client/quote_json.h"
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

std::string QuoteJson(const QuoteView& q) {
  std::string out;
  AppendQuoteMembers(&out, q.Simbolo,
                     {q.Last, q.LastS, q.Bid, q.BidS, q.Ask, q.AskS, q.Change, q.OpenV, q.High,
                      q.Low, q.Previous, q.OInt, q.Vol, q.TimeV},
                     q.Flag, q.ComunicationOK);
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
