#include "quotes/quote_stream.h"

namespace quotlink {

QuoteStream::QuoteStream(const FeedDatabase* database, ConsoleSurface* console, const Clock* clock,
                         RequestSink* requests)
    : database_(database), console_(console), clock_(clock), requests_(requests) {}

std::string QuoteStream::CleanSymbolOf(int32_t index) const {
  if (index < 1 || index > Simbolos.size()) return std::string();
  const SimboloRec& r = Simbolos.at(index);
  return std::string(CleanSymbol(std::string_view(r.Simbolo, sizeof r.Simbolo)));
}

bool QuoteStream::Watched(std::string_view symbol) const {
  return console_->DTNSYMBOLS.Find(symbol) >= 1;
}

}  // namespace quotlink
