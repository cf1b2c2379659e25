// quotlink: the feeder with a command-line client. See Usage() or `quotlink --help`.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "client/console_operator.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkcls.h"
#include "client/quotlinkfrm.h"
#include "client/settings.h"
#include "platform/poll_loop.h"
#include "platform/posix_socket.h"
#include "platform/signal_watch.h"
#include "tools/quotlink/commands.h"
#include "tools/quotlink/console_choice.h"
#include "tools/quotlink/demo_feed.h"
#include "tools/quotlink/line_reader.h"
#include "tools/quotlink/publishing.h"
#include "tools/quotlink/quote_output.h"
#include "tools/quotlink/remote_watch.h"
#include "tools/quotlink/serve.h"
#include "tools/quotlink/tail.h"
#include "window/fltk_console.h"

namespace quotlink {
namespace {

const std::string kUsage =
    std::string(
        "Usage: quotlink watch [--folder DIR] [--server HOST[:PORT]] [--local-port N] [--json]\n"
        "                      [--udp-from any|HOST[,HOST...]] [--console=window|log|none]\n"
        "                      [--publish nats://HOST[:PORT] [--publish-buffer BYTES]]\n"
        "                      [--remote] [SYMBOL...]\n"
        "       quotlink demo [the options of watch]\n"
        "       quotlink serve [--folder DIR] [--console=window|log|none]\n"
        "                      [--publish nats://HOST[:PORT] [--publish-buffer BYTES]]\n") +
    kTailUsage +
    "       quotlink --help\n"
    "\n"
    "Starts the feeder against the feed server named in the settings file, puts each SYMBOL\n"
    "on its watch list, and prints every quote it hears of.\n"
    "\n"
    "  --folder DIR       parent folder of the feeder's files, which go to DIR/DTN/\n"
    "                     (default: $XDG_DATA_HOME/quotlink, or ~/.local/share/quotlink)\n"
    "  --server HOST[:PORT]  feed server address (and TCP port), saved in QUOTLINKINFO.DAT\n"
    "                     before the start, as the console's Restart button would\n"
    "  --local-port N     local UDP port, saved the same way\n"
    "  --udp-from any|HOST[,HOST...]  whose datagrams the UDP port takes (default: the\n"
    "                     feed server's host alone), saved in UDPFROM.DAT beside the settings\n"
    "  --json             one JSON object per quote and line, with the keys Simbolo, Last,\n"
    "                     LastS, Bid, BidS, Ask, AskS, Change, OpenV, High, Low, Previous, OInt,\n"
    "                     Vol, TimeV, Flag, ComunicationOK (default: aligned rows)\n"
    "  --remote           be a client of the feeder service on the session bus (quotlink\n"
    "                     serve, started by the bus when it doesn't run), which shows the\n"
    "                     console; the output is the same\n"
    "  --console=window   the console window \"DTN Control\" (the default when $DISPLAY\n"
    "                     names a display that answers; otherwise the program says so and\n"
    "                     runs without a console)\n"
    "  --console=log      the console's captions, lamp, messages and beeps on standard error\n"
    "  --console=none     no console output (the default without a display)\n" +
    kPublishUsage +
    "\n"
    "demo starts the built-in feed simulator on loopback and watches a few of its symbols\n"
    "(ES NQ CL EURUSD IBM unless SYMBOLs are given); its files go to the folder quotlink-demo\n"
    "beside the default one.\n"
    "\n"
    "Commands on standard input, one per line, handled as they arrive:\n"
    "  add SYMBOL    put SYMBOL on the watch list\n"
    "  get SYMBOL    print the stored quote of SYMBOL (Flag 1)\n"
    "  show          bring the console to the front\n"
    "  restart       restart the session with the current settings\n"
    "  quit          save SYMBOLS.DAT and end (so do SIGINT, SIGTERM and the end of input\n"
    "                from a terminal, pipe or file; with input from /dev/null or none, the\n"
    "                program runs until a signal)\n"
    "\n"
    "serve runs the feeder as a service on the D-Bus session bus (io.quotlink.Feeder): each\n"
    "client creates its own QUOTLINKCls object and hears its quotes; the release of any object,\n"
    "or its client leaving the bus, ends the service. --folder fixes the feeder's folder as\n"
    "the first Iniciar would; without it, Iniciar names it (blank: the default folder).\n"
    "SIGINT and SIGTERM end it as a release does. With --publish (and --publish-buffer) it\n"
    "publishes as watch does, and starts the feeder at once for that, without a client.\n"
    "\n"
    "Exit status: 0; 1 when the feeder can't start or SYMBOLS.DAT couldn't be saved at the\n"
    "end (the reason goes to standard error); 2 for bad arguments.\n"
    "\n" +
    kTailHelp;

struct Options {
  std::string folder;
  std::string server_host;
  int32_t server_port = -1;
  int32_t local_port = -1;
  std::string udp_from;  // empty: as the file says
  std::string publish;   // NATS URL, or empty
  int32_t publish_buffer = kDefaultPublishBuffer;
  bool json = false;
  bool remote = false;
  ConsoleChoice console = ConsoleChoice::kDefault;
  std::vector<std::string> symbols;
};

int Fail(const std::string& message) {
  std::fprintf(stderr, "quotlink: %s\n(try 'quotlink --help')\n", message.c_str());
  return 2;
}

// Returns 0 when the options are good, else the exit code after the message.
int ParseWatch(const std::vector<std::string>& args, Options* o) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    auto value = [&](std::string* out) {
      if (i + 1 >= args.size()) return false;
      *out = args[++i];
      return true;
    };
    std::string v;
    if (a == "--folder") {
      if (!value(&o->folder) || o->folder.empty()) return Fail("--folder needs a folder");
    } else if (a == "--server") {
      if (!value(&v) || v.empty()) return Fail("--server needs HOST or HOST:PORT");
      const auto colon = v.rfind(':');
      o->server_host = v.substr(0, colon);
      if (colon != std::string::npos) {
        if (!ParsePortText(v.substr(colon + 1), &o->server_port) || o->server_port < 0 ||
            o->server_port > 65535) {
          return Fail("bad port in --server '" + v + "'");
        }
      }
      if (o->server_host.empty()) return Fail("--server needs a host");
    } else if (a == "--local-port") {
      if (!value(&v) || !ParsePortText(v, &o->local_port) || o->local_port < 0 ||
          o->local_port > 65535) {
        return Fail("--local-port needs a port number from 0 to 65535");
      }
    } else if (a == "--udp-from") {
      if (!value(&o->udp_from) || o->udp_from.empty() ||
          o->udp_from.find_first_not_of(", ") == std::string::npos ||
          o->udp_from.find_first_of("\r\n") != std::string::npos) {
        return Fail("--udp-from needs 'any' or HOST[,HOST...]");
      }
    } else if (a == "--publish") {
      if (!value(&o->publish)) return Fail("--publish needs nats://HOST[:PORT]");
      if (Status st = CheckPublishOption(o->publish); !st.ok()) return Fail(st.message());
    } else if (a == "--publish-buffer") {
      if (!value(&v) || !ParsePublishBuffer(v, &o->publish_buffer)) {
        return Fail("--publish-buffer needs a number of bytes from 1 to 1073741824");
      }
    } else if (a == "--json") {
      o->json = true;
    } else if (a == "--remote") {
      o->remote = true;
    } else if (a == "--console=window") {
      o->console = ConsoleChoice::kWindow;
    } else if (a == "--console=log") {
      o->console = ConsoleChoice::kLog;
    } else if (a == "--console=none") {
      o->console = ConsoleChoice::kNone;
    } else if (a.rfind("--", 0) == 0) {
      return Fail("unknown option '" + a + "'");
    } else {
      o->symbols.push_back(a);
    }
  }
  if (o->remote && o->console != ConsoleChoice::kDefault) {
    return Fail("--console goes with the service (quotlink serve), not with --remote");
  }
  if (o->folder.empty()) o->folder = DefaultFolder();
  return 0;
}

// Writes the server, port and UDP source options into their files before the start.
int SaveServerOptions(const Options& o, const std::string& data_folder) {
  if (!o.udp_from.empty()) {
    if (Status st = WriteUdpFrom(data_folder, o.udp_from); !st.ok()) {
      std::fprintf(stderr, "quotlink: %s\n", st.message().c_str());
      return 1;
    }
  }
  if (o.server_host.empty() && o.local_port < 0) return 0;
  Settings s;
  if (Status st = ReadSettings(data_folder, &s); !st.ok()) {
    std::fprintf(stderr, "quotlink: %s\n", st.message().c_str());
    return 1;
  }
  if (!o.server_host.empty()) s.FeedAddress = o.server_host;
  if (o.server_port >= 0) s.FeedPort = o.server_port;
  if (o.local_port >= 0) s.LocalPort = o.local_port;
  if (Status st = WriteSettings(data_folder, s); !st.ok()) {
    std::fprintf(stderr, "quotlink: %s\n", st.message().c_str());
    return 1;
  }
  return 0;
}

int Watch(const Options& o) {
  std::error_code ec;
  std::filesystem::create_directories(o.folder, ec);
  if (ec) {
    std::fprintf(stderr, "quotlink: cannot create %s: %s\n", o.folder.c_str(),
                 ec.message().c_str());
    return 1;
  }
  const std::string data_folder = DataFolderFrom(o.folder);
  if (Status st = CreateDataFolder(data_folder); !st.ok()) {
    std::fprintf(stderr, "quotlink: %s\n", st.message().c_str());
    return 1;
  }
  if (int rc = SaveServerOptions(o, data_folder); rc != 0) return rc;
  if (o.remote) return WatchRemote(o.folder, o.json, o.symbols);

  BufferQuoteOutput();
  SystemClock clock;
  Console console = MakeConsole(o.console, &clock);
  EventLoop& loop = *console.loop;
  PosixSocketFactory sockets(&loop);
  QUOTLINKBAS bas(&loop, &sockets, console.view.get());
  // The window's buttons and the `restart` command act alike: as the operator, on the form.
  ConsoleOperator& console_operator = bas.Form();
  if (console.window != nullptr) console.window->Attach(&console_operator);
  QUOTLINKCls feeder(&bas);

  feeder.OnFeederReady([&] { PrintQuote(ViewOf(feeder), o.json); });
  loop.SetIdleHandler([] { std::fflush(stdout); });
  if (!o.json) {
    std::fprintf(stdout, "%s\n", QuoteRowHeader().c_str());
    std::fflush(stdout);
  }

  SignalWatch signals(&loop, [&](int) { feeder.Release(); });
  // Commands are read through the loop, so they are handled inside the session's waits too.
  // From /dev/null or no input at all, nothing comes and nothing ends: run until a signal.
  LineReader commands(
      &loop, InputEndMeansQuit(STDIN_FILENO) ? STDIN_FILENO : -1,
      [&](const std::string& line) {
        RunCommand(
            line, feeder, [&] { console_operator.PressRestart(); }, [&] { feeder.Release(); });
      },
      TellLongCommandDropped, [&] { feeder.Release(); });
  // After the signals are blocked: the publisher's threads must not take SIGINT or SIGTERM.
  std::unique_ptr<QuotePublisher> publisher;
  if (!o.publish.empty()) StartPublishing(&loop, o.publish, o.publish_buffer, &feeder, &publisher);

  // A table that couldn't be saved is lost with the process: say so whatever the console.
  const auto finish = [&feeder] {
    feeder.Release();
    if (const Status& st = feeder.save_status(); !st.ok()) {
      std::fprintf(stderr, "quotlink: SYMBOLS.DAT not saved: %s\n", st.message().c_str());
      return 1;
    }
    return 0;
  };
  if (Status st = feeder.Iniciar(o.folder); !st.ok()) {
    if (bas.ended()) return finish();  // a quit while the session started
    std::fprintf(stderr, "quotlink: cannot start: %s\n", st.message().c_str());
    return 1;
  }
  for (const std::string& s : o.symbols)
    feeder.AddSimbolos(s);
  while (!bas.ended())
    loop.RunOnce(1000);
  return finish();
}

}  // namespace
}  // namespace quotlink

int main(int argc, char** argv) {
  using namespace quotlink;
  // Started with standard input closed, the first descriptor that the program opens would take
  // its place and be read as commands: /dev/null holds the place (and means no commands).
  if (fcntl(STDIN_FILENO, F_GETFD) == -1) (void)open("/dev/null", O_RDONLY);
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) return Fail("missing command");
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    std::fputs(kUsage.c_str(), stdout);
    return 0;
  }
  const std::string command = args[0];
  if (command != "watch" && command != "demo" && command != "serve" && command != "tail")
    return Fail("unknown command '" + command + "'");
  args.erase(args.begin());
  for (const auto& a : args) {
    if (a == "--help" || a == "-h") {
      std::fputs(kUsage.c_str(), stdout);
      return 0;
    }
  }
  if (command == "serve") return Serve(args);
  if (command == "tail") return RunTail(args);
  Options o;
  if (command == "demo") {
    // The demo keeps its own folder: its server settings mustn't replace the user's.
    const bool own_folder = std::find(args.begin(), args.end(), "--folder") != args.end();
    if (int rc = ParseWatch(args, &o); rc != 0) return rc;
    if (!own_folder) o.folder += "-demo";
    DemoFeed feed;
    std::string error;
    if (!feed.Start(argv[0], &error)) {
      std::fprintf(stderr, "quotlink: demo: %s\n", error.c_str());
      return 1;
    }
    o.server_host = "127.0.0.1";
    o.server_port = feed.tcp_port();
    o.local_port = feed.udp_port();
    if (o.symbols.empty()) o.symbols = {"ES", "NQ", "CL", "EURUSD", "IBM"};
    return Watch(o);
  }
  if (int rc = ParseWatch(args, &o); rc != 0) return rc;
  return Watch(o);
}
