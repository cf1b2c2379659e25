#include "tools/quotlink/serve.h"

#include <cstdio>
#include <filesystem>
#include <memory>

#include "bus/bus_connection.h"
#include "client/console_operator.h"
#include "client/quotlinkbas.h"
#include "client/quotlinkcls.h"
#include "client/settings.h"
#include "platform/posix_socket.h"
#include "platform/signal_watch.h"
#include "service/feeder_service.h"
#include "tools/quotlink/console_choice.h"
#include "tools/quotlink/publishing.h"
#include "window/fltk_console.h"

namespace quotlink {
namespace {

int Bad(const std::string& message) {
  std::fprintf(stderr, "quotlink: %s\n(try 'quotlink --help')\n", message.c_str());
  return 2;
}

int Fatal(const std::string& message) {
  std::fprintf(stderr, "quotlink: serve: %s\n", message.c_str());
  return 1;
}

}  // namespace

int Serve(const std::vector<std::string>& args) {
  std::string folder;
  std::string publish;  // NATS URL, or empty
  int32_t publish_buffer = kDefaultPublishBuffer;
  ConsoleChoice choice = ConsoleChoice::kDefault;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--folder") {
      if (i + 1 >= args.size() || args[i + 1].empty()) return Bad("--folder needs a folder");
      folder = args[++i];
    } else if (a == "--publish") {
      if (i + 1 >= args.size()) return Bad("--publish needs nats://HOST[:PORT]");
      publish = args[++i];
      if (Status st = CheckPublishOption(publish); !st.ok()) return Bad(st.message());
    } else if (a == "--publish-buffer") {
      if (i + 1 >= args.size() || !ParsePublishBuffer(args[i + 1], &publish_buffer)) {
        return Bad("--publish-buffer needs a number of bytes from 1 to 1073741824");
      }
      ++i;
    } else if (a == "--console=window") {
      choice = ConsoleChoice::kWindow;
    } else if (a == "--console=log") {
      choice = ConsoleChoice::kLog;
    } else if (a == "--console=none") {
      choice = ConsoleChoice::kNone;
    } else {
      return Bad("serve: unexpected argument '" + a + "'");
    }
  }

  SystemClock clock;
  Console console = MakeConsole(choice, &clock);
  EventLoop& loop = *console.loop;
  PosixSocketFactory sockets(&loop);
  QUOTLINKBAS bas(&loop, &sockets, console.view.get());
  if (console.window != nullptr) console.window->Attach(&static_cast<ConsoleOperator&>(bas.Form()));
  if (!folder.empty()) {
    // As the first Iniciar would: the folder is fixed, and every Iniciar's argument ignored.
    std::error_code ec;
    std::filesystem::create_directories(folder, ec);
    if (ec) return Fatal("cannot create " + folder + ": " + ec.message());
    bas.settings().DataFolder = DataFolderFrom(std::filesystem::absolute(folder).string());
    if (Status st = CreateDataFolder(bas.settings().DataFolder); !st.ok()) {
      return Fatal(st.message());
    }
  }

  std::string error;
  std::unique_ptr<BusConnection> bus = BusConnection::OpenSession(&loop, &error);
  if (!bus) return Fatal(error);
  FeederService service(&bas, bus.get(), DefaultFolder(), stderr);
  if (Status st = service.Start(); !st.ok()) return Fatal(st.message());
  // No one can reach the objects any more: end as a release would, saving the table.
  bus->SetOnDisconnect([&] { service.EndFeeder(); });
  SignalWatch signals(&loop, [&](int) { service.EndFeeder(); });
  // Publishing needs an object of its own that hears every quote: it starts the feeder at once,
  // for the consumers on NATS, instead of waiting for a first client. Started after the signals
  // are blocked, so that the publisher's threads never take SIGINT or SIGTERM.
  QUOTLINKCls relay(&bas);
  std::unique_ptr<QuotePublisher> publisher;
  if (!publish.empty()) {
    StartPublishing(&loop, publish, publish_buffer, &relay, &publisher);
    if (Status st = relay.Iniciar(folder.empty() ? DefaultFolder() : folder);
        !st.ok() && !bas.ended()) {
      return Fatal("cannot start the feeder for publishing: " + st.message());
    }
  }

  while (!bas.ended())
    loop.RunOnce(1000);
  service.Finish();
  if (const Status& st = service.save_status(); !st.ok()) {
    std::fprintf(stderr, "quotlink: SYMBOLS.DAT not saved: %s\n", st.message().c_str());
    return 1;
  }
  return 0;
}

}  // namespace quotlink
