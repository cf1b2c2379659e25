// The commands that `quotlink watch` reads on standard input, one per line, and the printing of
// a quote: the same for a feeder in this process and for an object of the feeder service.
#ifndef QUOTLINK_TOOLS_QUOTLINK_COMMANDS_H_
#define QUOTLINK_TOOLS_QUOTLINK_COMMANDS_H_

#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "tools/quotlink/line_reader.h"
#include "tools/quotlink/quote_output.h"

namespace quotlink {

// Runs one command line on `feeder` (either client class): add, get, show, restart (through
// `restart`, or, when it is empty, told as not available here), quit (through `quit`). Anything
// else is told on standard error, its control bytes shown harmless.
template <typename Feeder>
void RunCommand(const std::string& line, Feeder& feeder, const std::function<void()>& restart,
                const std::function<void()>& quit) {
  const auto space = line.find(' ');
  const std::string verb = line.substr(0, space);
  const std::string arg = space == std::string::npos ? "" : line.substr(space + 1);
  if (verb == "add" && !arg.empty()) {
    feeder.AddSimbolos(arg);
  } else if (verb == "get" && !arg.empty()) {
    feeder.GetData(arg);
  } else if (verb == "show" && arg.empty()) {
    if (Status st = feeder.ShowMe(); !st.ok()) {
      std::fprintf(stderr, "quotlink: show: %s\n", st.message().c_str());
    }
  } else if (verb == "restart" && arg.empty() && !restart) {
    std::fprintf(stderr, "quotlink: restart is the console's, on the service\n");
  } else if (verb == "restart" && arg.empty()) {
    restart();
  } else if (verb == "quit" && arg.empty()) {
    quit();
  } else if (!line.empty()) {
    std::fprintf(stderr, "quotlink: unknown command '%s' (add, get, show, restart, quit)\n",
                 Printable(line).c_str());
  }
}

// What standard error says of a command line over LineReader::kMaxLine.
inline void TellLongCommandDropped() {
  std::fprintf(stderr, "quotlink: a command line longer than %zu bytes was dropped\n",
               LineReader::kMaxLine);
}

// Gives stdout a large buffer when it is a pipe or a file, which then takes the quotes in large
// writes; a terminal keeps its lines. Call before anything is written.
inline void BufferQuoteOutput() {
  if (isatty(STDOUT_FILENO) == 0) std::setvbuf(stdout, nullptr, _IOFBF, 1 << 16);
}

// Writes `q` as a line into stdout's buffer; the caller flushes (when its loop goes idle): a
// write per quote would cost more than the quote.
inline void PrintQuote(const QuoteView& q, bool json) {
  const std::string line = json ? QuoteJson(q) : QuoteRow(q);
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_COMMANDS_H_
