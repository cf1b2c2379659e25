// How the command-line client prints a quote: an aligned row for people, or one JSON object
// per line for programs.
#ifndef QUOTLINK_TOOLS_QUOTLINK_QUOTE_OUTPUT_H_
#define QUOTLINK_TOOLS_QUOTLINK_QUOTE_OUTPUT_H_

#include <cstdint>
#include <string>

namespace quotlink {

class QUOTLINKCls;

// The quote that an object holds, with the console's ComunicationOK (0 when not available).
struct QuoteView {
  std::string Simbolo;
  float Last, LastS, Bid, BidS, Ask, AskS, Change, OpenV, High, Low, Previous, OInt, Vol, TimeV;
  int16_t Flag;
  int16_t ComunicationOK;
};

QuoteView ViewOf(const QUOTLINKCls& object);

// One JSON object with exactly the keys "Simbolo", "Last", "LastS", "Bid", "BidS", "Ask",
// "AskS", "Change", "OpenV", "High", "Low", "Previous", "OInt", "Vol", "TimeV", "Flag",
// "ComunicationOK"; floats as the shortest text that reads back to the same 32-bit float.
std::string QuoteJson(const QuoteView& q);

// A header and aligned rows for a terminal.
std::string QuoteRowHeader();
std::string QuoteRow(const QuoteView& q);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_QUOTE_OUTPUT_H_
