#include "tools/quotlink/remote_watch.h"

#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "platform/poll_loop.h"
#include "platform/signal_watch.h"
#include "remote/quotlinkcls.h"
#include "tools/quotlink/commands.h"
#include "tools/quotlink/console_choice.h"
#include "tools/quotlink/line_reader.h"
#include "tools/quotlink/quote_output.h"

namespace quotlink {
namespace {

QuoteView ViewOf(const remote::QUOTLINKCls& o) {
  const Mailbox& b = o.mailbox();
  return QuoteView{b.Simbolo, b.Last,   b.LastS, b.Bid,  b.BidS,          b.Ask,
                   b.AskS,    b.Change, b.OpenV, b.High, b.Low,           b.Previous,
                   b.OInt,    b.Vol,    b.TimeV, b.Flag, b.ComunicationOK};
}

}  // namespace

int WatchRemote(const std::string& folder, bool json, const std::vector<std::string>& symbols) {
  BufferQuoteOutput();
  SystemClock clock;
  PollLoop loop(&clock);
  remote::RemoteFeeder bus(&loop);
  remote::QUOTLINKCls feeder(&bus);
  if (Status st = feeder.status(); !st.ok()) {
    std::fprintf(stderr, "quotlink: cannot reach the feeder service: %s\n", st.message().c_str());
    return 1;
  }
  bool quit = false;
  const auto end = [&] {
    quit = true;
    loop.Quit();
  };

  // Quotes the service dropped because this client read too slowly: told at most once a second.
  uint64_t missed_told = 0;
  const int missed_timer = loop.AddTimer(1000, [&] {
    if (feeder.missed() == missed_told) return;
    std::fprintf(stderr,
                 "quotlink: %llu quotes missed: the service dropped them while this "
                 "client read too slowly\n",
                 static_cast<unsigned long long>(feeder.missed() - missed_told));
    missed_told = feeder.missed();
  });
  feeder.OnFeederReady([&] { PrintQuote(ViewOf(feeder), json); });
  loop.SetIdleHandler([] { std::fflush(stdout); });
  if (!json) {
    std::fprintf(stdout, "%s\n", QuoteRowHeader().c_str());
    std::fflush(stdout);
  }

  SignalWatch signals(&loop, [&](int) { end(); });
  // From /dev/null or no input at all, nothing comes and nothing ends: run until a signal.
  LineReader commands(
      &loop, InputEndMeansQuit(STDIN_FILENO) ? STDIN_FILENO : -1,
      [&](const std::string& line) { RunCommand(line, feeder, nullptr, end); },
      TellLongCommandDropped, end);

  const auto finish = [&] {
    loop.RemoveTimer(missed_timer);
    const bool ended_elsewhere = !feeder.status().ok();
    feeder.Release();
    if (const Status& st = feeder.save_status(); !st.ok()) {
      std::fprintf(stderr, "quotlink: %s\n", st.message().c_str());
      return 1;
    }
    if (ended_elsewhere && !quit) {
      std::fprintf(stderr, "quotlink: the feeder service has ended\n");
      return 1;
    }
    return 0;
  };
  // The service runs in a folder of its own: it takes the feeder's folder absolute.
  std::error_code ec;
  const std::filesystem::path absolute = std::filesystem::absolute(folder, ec);
  if (Status st = feeder.Iniciar(ec ? folder : absolute.string()); !st.ok()) {
    if (quit) return finish();  // a quit while the session started
    std::fprintf(stderr, "quotlink: cannot start: %s\n", st.message().c_str());
    feeder.Release();
    return 1;
  }
  for (const std::string& s : symbols)
    feeder.AddSimbolos(s);
  while (!quit && feeder.status().ok() && bus.connection()->connected())
    loop.RunOnce(1000);
  return finish();
}

}  // namespace quotlink
