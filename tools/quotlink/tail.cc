#include "tools/quotlink/tail.h"

#include <fnmatch.h>
#include <signal.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "publish/nats_url.h"
#include "publish/quote_payload.h"
#include "publish/quote_reader.h"
#include "publish/subject.h"
#include "quotes/simbolo_table.h"
#include "tools/quotlink/quote_output.h"

namespace quotlink {
namespace {

volatile sig_atomic_t g_stop = 0;  // set by the signal handler alone
void OnSignal(int) {
  g_stop = 1;
}

constexpr int kWaitMs = 200;
constexpr auto kFlushEvery = std::chrono::milliseconds(50);

int BadArgs(const std::string& message) {
  std::fprintf(stderr, "quotlink: tail: %s\n(try 'quotlink --help')\n", message.c_str());
  return 2;
}

bool IsPattern(std::string_view s) {
  return s.find_first_of("*?[") != std::string_view::npos;
}

class Tail {
 public:
  Tail(std::vector<std::string> chosen, bool json) : chosen_(std::move(chosen)), json_(json) {}

  // The live subject and the bucket's keys for what was chosen: one symbol's own, or all.
  std::string Keys() const {
    if (chosen_.size() == 1 && !IsPattern(chosen_[0])) return SymbolToken(CleanSymbol(chosen_[0]));
    return "*";
  }

  // True when the value was chosen and printed.
  bool LastValue(std::string_view payload) {
    ParsedQuote q;
    if (!ParseQuotePayload(payload, &q) || !Chosen(q)) return false;
    Print(q, payload);
    stored_[std::string(CleanSymbol(q.Simbolo))] = {q.feeder, q.symbol_seq};
    return true;
  }

  void Live(std::string_view payload) {
    ParsedQuote& q = live_;
    if (!ParseQuotePayload(payload, &q)) {
      std::fprintf(stderr, "quotlink: tail: a message that is no quote was passed over\n");
      return;
    }
    if (!Chosen(q)) return;
    const std::string_view symbol = CleanSymbol(q.Simbolo);
    // What the bucket gave already, the stream may bring again: the subscription began first.
    if (auto it = stored_.find(std::string(symbol)); it != stored_.end()) {
      if (it->second.feeder == q.feeder && q.symbol_seq <= it->second.seq) return;
      stored_.erase(it);
    }
    if (q.feeder != feeder_) {
      if (!feeder_.empty()) {
        std::fprintf(stderr, "quotlink: tail: a new feeder run %s; its numbers begin again\n",
                     q.feeder.c_str());
      }
      feeder_ = q.feeder;
      seen_.clear();
    }
    Seen& s = seen_[std::string(symbol)];
    if (s.seq != 0 && q.symbol_seq > s.seq + 1) {
      std::fprintf(stderr,
                   "quotlink: tail: gap: %llu quotes of %s missing (symbol_seq %llu to %llu)\n",
                   static_cast<unsigned long long>(q.symbol_seq - s.seq - 1),
                   std::string(symbol).c_str(), static_cast<unsigned long long>(s.seq + 1),
                   static_cast<unsigned long long>(q.symbol_seq - 1));
    }
    s.seq = q.symbol_seq;
    Print(q, payload);
  }

  void PrintHeader() const {
    if (!json_) std::fprintf(stdout, "%s\n", QuoteRowHeader().c_str());
  }

 private:
  struct Seen {
    uint64_t seq = 0;
  };
  struct Stored {
    std::string feeder;
    uint64_t seq;
  };

  bool Chosen(const ParsedQuote& q) const {
    if (chosen_.empty()) return true;
    const std::string symbol(CleanSymbol(q.Simbolo));
    for (const std::string& c : chosen_) {
      if (IsPattern(c) ? fnmatch(c.c_str(), symbol.c_str(), 0) == 0 : CleanSymbol(c) == symbol) {
        return true;
      }
    }
    return false;
  }

  void Print(const ParsedQuote& q, std::string_view payload) const {
    if (json_) {
      std::fwrite(payload.data(), 1, payload.size(), stdout);
      std::fputc('\n', stdout);
      return;
    }
    const QuoteView v{q.Simbolo, q.Last,   q.LastS, q.Bid,  q.BidS,          q.Ask,
                      q.AskS,    q.Change, q.OpenV, q.High, q.Low,           q.Previous,
                      q.OInt,    q.Vol,    q.TimeV, q.Flag, q.ComunicationOK};
    std::fprintf(stdout, "%s\n", QuoteRow(v).c_str());
  }

  const std::vector<std::string> chosen_;
  const bool json_;
  ParsedQuote live_;  // reused, so that its strings keep their room
  std::unordered_map<std::string, Stored> stored_;
  std::unordered_map<std::string, Seen> seen_;
  std::string feeder_;
};

}  // namespace

int RunTail(const std::vector<std::string>& args) {
  std::string url;
  bool json = false;
  std::vector<std::string> chosen;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--nats") {
      if (i + 1 >= args.size()) return BadArgs("--nats needs nats://HOST[:PORT]");
      url = args[++i];
      if (Status st = CheckNatsUrl(url); !st.ok()) return BadArgs(st.message());
    } else if (a == "--json") {
      json = true;
    } else if (a.rfind("--", 0) == 0) {
      return BadArgs("unknown option '" + a + "'");
    } else if (CleanSymbol(a).empty()) {
      return BadArgs("an empty symbol");
    } else {
      chosen.push_back(a);
    }
  }
  if (url.empty()) return BadArgs("--nats nats://HOST[:PORT] is needed");
  if (!NatsAvailable()) return BadArgs(kNoNatsMessage);

  struct sigaction sa = {};
  sa.sa_handler = OnSignal;
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);

  std::unique_ptr<QuoteReader> reader;
  if (Status st = QuoteReader::Open(url, &reader); !st.ok()) {
    std::fprintf(stderr, "quotlink: tail: %s\n", st.message().c_str());
    return 1;
  }
  Tail tail(chosen, json);
  const std::string keys = tail.Keys();
  if (Status st = reader->Subscribe(std::string(kQuoteSubjectPrefix) + keys); !st.ok()) {
    std::fprintf(stderr, "quotlink: tail: %s\n", st.message().c_str());
    return 1;
  }
  tail.PrintHeader();
  size_t stored = 0;
  const Status st = reader->ReadLastValues(keys, [&](std::string_view payload) {
    if (tail.LastValue(payload)) ++stored;
  });
  if (!st.ok()) std::fprintf(stderr, "quotlink: tail: %s\n", st.message().c_str());
  std::fflush(stdout);
  std::fprintf(stderr, "quotlink: tail: %zu last values; live quotes follow\n", stored);

  uint64_t told_disconnects = 0, told_reconnects = 0, told_dropped = 0;
  auto last_flush = std::chrono::steady_clock::now();
  std::string payload;
  int rc = 0;
  while (g_stop == 0) {
    uint64_t dropped = 0;
    const QuoteReader::Next next = reader->NextQuote(kWaitMs, &payload, &dropped);
    if (next == QuoteReader::Next::kQuote) {
      tail.Live(payload);
    } else if (next == QuoteReader::Next::kDropped) {
      std::fprintf(stderr, "quotlink: tail: too slow: %llu quotes dropped before they were read\n",
                   static_cast<unsigned long long>(dropped - told_dropped));
      told_dropped = dropped;
    } else if (next == QuoteReader::Next::kClosed) {
      std::fprintf(stderr, "quotlink: tail: the connection is closed\n");
      rc = 1;
      break;
    }
    const auto now = std::chrono::steady_clock::now();
    if (next == QuoteReader::Next::kNothing || now - last_flush >= kFlushEvery) {
      std::fflush(stdout);
      last_flush = now;
      if (reader->disconnects() > told_disconnects) {
        told_disconnects = reader->disconnects();
        std::fprintf(stderr, "quotlink: tail: lost the connection; reconnecting\n");
      }
      if (reader->reconnects() > told_reconnects) {
        told_reconnects = reader->reconnects();
        std::fprintf(stderr, "quotlink: tail: reconnected\n");
      }
    }
  }
  std::fflush(stdout);
  return rc;
}

}  // namespace quotlink
