// The feeder service on a private bus, as applications meet it: the service started by a first
// call, clients in this process (the client library) and in others (`quotlink watch --remote`,
// the Python example), the feed simulator behind it.
#include <signal.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bus/bus_names.h"
#include "client/settings.h"
#include "platform/loopback_ports.h"
#include "platform/poll_loop.h"
#include "remote/quotlinkcls.h"
#include "service/feeder_service.h"
#include "tests/support/private_bus.h"
#include "tests/support/program_session.h"

namespace quotlink {
namespace {

using remote::QUOTLINKCls;
using remote::RemoteFeeder;

// Points the feeder's settings in `folder` at a feed server.
void PointAt(const std::string& folder, int tcp_port, int udp_port) {
  std::filesystem::create_directories(folder);
  const std::string data = DataFolderFrom(folder);
  ASSERT_TRUE(CreateDataFolder(data).ok());
  Settings s;
  s.FeedAddress = "127.0.0.1";
  s.FeedPort = tcp_port;
  s.LocalPort = udp_port;
  ASSERT_TRUE(WriteSettings(data, s).ok());
}

// What one event brought, for comparing two clients' streams.
std::string Key(const QUOTLINKCls& o) {
  const Mailbox& b = o.mailbox();
  return std::to_string(o.sequence()) + " " + b.Simbolo + " " + std::to_string(b.Last) + " " +
         std::to_string(b.Bid) + " " + std::to_string(b.Ask) + " " + std::to_string(b.Vol) + " " +
         std::to_string(b.Flag);
}

class ServiceTest : public ::testing::Test {
 protected:
  bool Until(double seconds, const std::function<bool()>& done) {
    return WaitPumping(loop_, seconds, done);
  }
  // A call on `path` from `bus` with its own connection, outside the client library; the
  // error's name, or "" when it succeeded.
  static std::string RawCall(sd_bus* bus, const std::string& path, const char* member,
                             const char* types = "", const char* arg = nullptr) {
    sd_bus_error error{};  // SD_BUS_ERROR_NULL, without its C compound literal
    sd_bus_message* reply = nullptr;
    const int r = types[0] == '\0'
                      ? sd_bus_call_method(bus, kBusName, path.c_str(), kObjectInterface, member,
                                           &error, &reply, "")
                      : sd_bus_call_method(bus, kBusName, path.c_str(), kObjectInterface, member,
                                           &error, &reply, types, arg);
    std::string name = r < 0 && error.name != nullptr ? error.name : "";
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    return name;
  }
  static std::string SetLast(sd_bus* bus, const std::string& path, double v) {
    sd_bus_error error{};  // SD_BUS_ERROR_NULL, without its C compound literal
    const int r =
        sd_bus_set_property(bus, kBusName, path.c_str(), kObjectInterface, "Last", &error, "d", v);
    std::string name = r < 0 && error.name != nullptr ? error.name : "";
    sd_bus_error_free(&error);
    return name;
  }
  static std::string GetProperty(sd_bus* bus, const std::string& path, const char* property,
                                 const char* type, void* value) {
    sd_bus_error error{};  // SD_BUS_ERROR_NULL, without its C compound literal
    sd_bus_message* reply = nullptr;
    int r = sd_bus_get_property(bus, kBusName, path.c_str(), kObjectInterface, property, &error,
                                &reply, type);
    if (r >= 0) sd_bus_message_read(reply, type, value);
    std::string name = r < 0 && error.name != nullptr ? error.name : "";
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    return name;
  }

  PrivateBus bus_;
  SystemClock clock_;
  PollLoop loop_{&clock_};
};

TEST_F(ServiceTest, TwoClientsHearEveryPublicationAndOnlyTheirOwnSignals) {
  Session sim({"--symbols", "ES,NQ", "--rate", "100"});
  const std::string folder = sim.Folder();
  PointAt(folder, sim.tcp_port(), sim.udp_port());
  EXPECT_FALSE(bus_.FeederRuns());

  RemoteFeeder one(&loop_), two(&loop_);
  QUOTLINKCls a(&one);  // the first call starts the service
  ASSERT_TRUE(a.status().ok()) << a.status().message();
  EXPECT_TRUE(bus_.FeederRuns());
  QUOTLINKCls b(&two);
  ASSERT_TRUE(b.status().ok()) << b.status().message();
  EXPECT_NE(a.path(), b.path());

  // Client two listens to every FeederReady it can get: a signal sent to all would show here.
  std::vector<std::string> paths_heard_by_two;
  sd_bus_slot* all = nullptr;
  ASSERT_GE(sd_bus_match_signal(
                two.connection()->bus(), &all, nullptr, nullptr, kObjectInterface, "FeederReady",
                [](sd_bus_message* m, void* v, sd_bus_error*) {
                  static_cast<std::vector<std::string>*>(v)->push_back(sd_bus_message_get_path(m));
                  return 0;
                },
                &paths_heard_by_two),
            0);

  std::vector<std::string> heard_a, heard_b;
  bool asked = false;
  size_t nested = 0;
  a.OnFeederReady([&] {
    heard_a.push_back(Key(a));
    // GetData from a handler: its own FeederReady comes inside the call, filled from the table.
    if (!asked && heard_a.size() == 30) {
      asked = true;
      const size_t before = heard_a.size();
      a.GetData("ES");
      nested = heard_a.size() - before;
      EXPECT_EQ(a.Flag(), 1);
      EXPECT_EQ(a.Simbolo(), "ES          ");  // 12 characters from the table
    }
  });
  b.OnFeederReady([&] { heard_b.push_back(Key(b)); });

  ASSERT_TRUE(a.Iniciar(folder).ok());
  ASSERT_TRUE(b.Iniciar(folder).ok());
  // No publication before a symbol is watched: both see the stream from its first quote.
  a.AddSimbolos("ES");
  a.AddSimbolos("NQ");
  ASSERT_TRUE(Until(60, [&] { return asked && heard_b.size() >= 40; }));
  EXPECT_GE(nested, 1u);
  // Every publication reaches both, in the same order with the same sequence; b never hears
  // a's GetData.
  ASSERT_GE(heard_a.size(), 30u);
  for (size_t i = 0; i < 29; ++i)
    EXPECT_EQ(heard_a[i], heard_b[i]) << i;
  for (const std::string& k : heard_b)
    EXPECT_EQ(k.back(), '0') << k;
  for (const std::string& p : paths_heard_by_two)
    EXPECT_EQ(p, b.path());
  EXPECT_FALSE(paths_heard_by_two.empty());
  sd_bus_slot_unref(all);

  // The release of one object ends the service for both; the table is saved.
  a.Release();
  EXPECT_TRUE(a.save_status().ok());
  EXPECT_TRUE(bus_.WaitFeederGone(30));
  EXPECT_TRUE(Until(10, [&] { return !b.status().ok(); }));
  EXPECT_NE(TempDir::Get(DataFolderFrom(folder) + "SYMBOLS.DAT").find("ES"), std::string::npos);
}

TEST_F(ServiceTest, ObjectsRefuseOtherConnectionsAndKeepTheClassRules) {
  RemoteFeeder one(&loop_), two(&loop_);
  QUOTLINKCls a(&one);
  ASSERT_TRUE(a.status().ok()) << a.status().message();
  sd_bus* owner = one.connection()->bus();
  sd_bus* other = two.connection()->bus();

  ASSERT_EQ(SetLast(owner, a.path(), 2.5), "");
  struct Case {
    const char* member;
    const char* types;
    const char* arg;
  };
  const Case cases[] = {{"AddSimbolos", "s", "ES"},
                        {"GetData", "s", "ES"},
                        {"Iniciar", "s", "/tmp"},
                        {"ShowMe", "", nullptr},
                        {"Release", "", nullptr}};
  for (const Case& c : cases) {
    EXPECT_EQ(RawCall(other, a.path(), c.member, c.types, c.arg), kErrorAccessDenied) << c.member;
  }
  EXPECT_EQ(SetLast(other, a.path(), 7), kErrorAccessDenied);
  double last = 0;
  EXPECT_EQ(GetProperty(other, a.path(), "Last", "d", &last), kErrorAccessDenied);
  // Nothing changed: the value stands and the service runs.
  EXPECT_EQ(GetProperty(owner, a.path(), "Last", "d", &last), "");
  EXPECT_EQ(last, 2.5);
  EXPECT_TRUE(bus_.FeederRuns());

  // A double goes in as the 32-bit float nearest to it and comes back as exactly that float.
  ASSERT_EQ(SetLast(owner, a.path(), 0.1), "");
  EXPECT_EQ(GetProperty(owner, a.path(), "Last", "d", &last), "");
  EXPECT_EQ(last, double{0.1f});
  EXPECT_EQ(SetLast(owner, a.path(), 1e39), kErrorInvalidArgs);
  int16_t ok = 5;
  // Before Iniciar: ShowMe and ComunicationOK fail, as in process; a relative folder is refused.
  EXPECT_EQ(GetProperty(owner, a.path(), "ComunicationOK", "n", &ok), kErrorNotStarted);
  EXPECT_FALSE(a.GetComunicationOK(&ok).ok());
  EXPECT_EQ(RawCall(owner, a.path(), "ShowMe"), kErrorNotStarted);
  EXPECT_EQ(RawCall(owner, a.path(), "Iniciar", "s", "relative/folder"), kErrorInvalidArgs);
  // Iniciar where SYMBOLS.DAT can't be opened: a folder whose parent doesn't exist.
  EXPECT_EQ(RawCall(owner, a.path(), "Iniciar", "s", bus_.dir().File("missing/parent").c_str()),
            kErrorFailed);

  // Objects without end are refused, not made.
  size_t made = 1;
  std::string refused;
  while (refused.empty() && made <= FeederService::kMaxObjects) {
    sd_bus_error e{};
    sd_bus_message* reply = nullptr;
    if (sd_bus_call_method(other, kBusName, kFactoryPath, kFactoryInterface, "CreateObject", &e,
                           &reply, "") < 0) {
      refused = e.name != nullptr ? e.name : "?";
    } else {
      ++made;
    }
    sd_bus_error_free(&e);
    sd_bus_message_unref(reply);
  }
  EXPECT_EQ(refused, kErrorLimitsExceeded);
  EXPECT_EQ(made, FeederService::kMaxObjects);

  a.Release();
  EXPECT_TRUE(bus_.WaitFeederGone(30));
  // A call on a released object fails at the client.
  EXPECT_FALSE(a.ShowMe().ok());
  EXPECT_FALSE(a.status().ok());
}

TEST_F(ServiceTest, AClientKilledEndsTheServiceAndTheTableIsSaved) {
  Session sim({"--symbols", "ES,NQ"});
  ChildProcess client({QUOTLINK_BIN, "watch", "--remote", "--json", "--folder", sim.Folder(),
                       "--server", "127.0.0.1:" + std::to_string(sim.tcp_port()), "--local-port",
                       std::to_string(sim.udp_port()), "ES"});
  std::string out;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (out.find("\"Simbolo\":\"ES\"") == std::string::npos &&
         std::chrono::steady_clock::now() < end) {
    client.ReadInto(&out);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  ASSERT_NE(out.find("\"Simbolo\":\"ES\""), std::string::npos) << bus_.Log();
  const std::string symbols = DataFolderFrom(sim.Folder()) + "SYMBOLS.DAT";
  std::filesystem::remove(symbols);
  kill(client.pid, SIGKILL);
  client.Wait();
  // Its name leaving the bus releases its object: no feeder is left running for nobody.
  EXPECT_TRUE(bus_.WaitFeederGone(30)) << bus_.Log();
  EXPECT_NE(TempDir::Get(symbols).find("ES"), std::string::npos);
}

TEST_F(ServiceTest, AClientThatStopsReadingLosesQuotesWithoutHoldingUpTheOthers) {
  Session sim({"--symbols", "ES,NQ", "--rate", "4000", "--path", "tcp"});
  ChildProcess slow({QUOTLINK_BIN, "watch", "--remote", "--json", "--folder", sim.Folder(),
                     "--server", "127.0.0.1:" + std::to_string(sim.tcp_port()), "--local-port",
                     std::to_string(sim.udp_port()), "ES", "NQ"},
                    sim.dir().File("slow.err"));
  std::string slow_out;
  ASSERT_TRUE(Until(60, [&] {
    slow.ReadInto(&slow_out);
    return Count(slow_out, "\"Simbolo\"") >= 10;
  })) << bus_.Log();

  RemoteFeeder one(&loop_);
  QUOTLINKCls fast(&one);
  uint64_t heard = 0;
  fast.OnFeederReady([&] { ++heard; });
  ASSERT_TRUE(fast.Iniciar(sim.Folder()).ok());

  // The slow client stops reading altogether: the service drops its quotes and says so, while
  // the other client goes on hearing every one.
  kill(slow.pid, SIGSTOP);
  ASSERT_TRUE(Until(60, [&] { return bus_.Log().find("quotes dropped for") != std::string::npos; }))
      << bus_.Log();
  const uint64_t at_drop = heard;
  ASSERT_TRUE(Until(30, [&] { return heard >= at_drop + 4000; }));
  EXPECT_EQ(fast.missed(), 0u);

  // Once it reads again, the sequence numbers tell it what it missed.
  kill(slow.pid, SIGCONT);
  ASSERT_TRUE(Until(60, [&] {
    slow.ReadInto(&slow_out);
    return sim.dir().Read("slow.err").find("quotes missed") != std::string::npos;
  })) << sim.dir().Read("slow.err");
  fast.Release();
  EXPECT_TRUE(bus_.WaitFeederGone(30));
  EXPECT_EQ(slow.Wait(), 1);  // its service ended under it
}

TEST_F(ServiceTest, IniciarWithoutAServerLeavesOtherClientsServedDuringItsWaits) {
  TempDir dir;
  PointAt(dir.path() + "user", FreeLoopbackPort(SOCK_STREAM), FreeLoopbackPort(SOCK_DGRAM));
  RemoteFeeder one(&loop_), two(&loop_);
  QUOTLINKCls a(&one);
  ASSERT_TRUE(a.status().ok()) << a.status().message();

  // While a's Iniciar waits for a connection that never comes, another client makes its object
  // and calls it: each call is answered long before a's.
  std::unique_ptr<QUOTLINKCls> b;
  auto ms_since = [start = std::chrono::steady_clock::now()] {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
  };
  double b_done_ms = -1;
  int16_t b_ok = -1;
  const int timer = loop_.AddTimer(1000, [&] {
    if (b) return;
    b = std::make_unique<QUOTLINKCls>(&two);
    b->AddSimbolos("ES");
    b->GetData("ES");
    // Started meanwhile: the console is loaded, so b's Iniciar returns at once.
    if (b->Iniciar("").ok() && b->GetComunicationOK(&b_ok).ok()) b_done_ms = ms_since();
  });
  const Status st = a.Iniciar(dir.path() + "user");
  const double a_done_ms = ms_since();
  loop_.RemoveTimer(timer);
  EXPECT_TRUE(st.ok()) << st.message();
  ASSERT_GE(b_done_ms, 0) << bus_.Log();
  EXPECT_EQ(b_ok, 0);                       // no image yet
  EXPECT_GT(a_done_ms, 15000);              // the bind and connection waits
  EXPECT_LT(b_done_ms, a_done_ms - 10000);  // served inside them
  EXPECT_NE(bus_.Log().find("CANNOT CONNECT WITH TCP ADDRESS"), std::string::npos);
  a.Release();
}

TEST_F(ServiceTest, APythonClientStartsTheServiceAndHearsQuotes) {
  if (std::system("/usr/bin/python3 -c 'import dbus, gi' 2>/dev/null") != 0) {
    GTEST_SKIP() << "python3-dbus or python3-gi is missing";
  }
  Session sim({"--symbols", "ES,NQ"});
  PointAt(sim.Folder(), sim.tcp_port(), sim.udp_port());
  ChildProcess client({"/usr/bin/python3", QUOTLINK_EXAMPLES "/feeder_client.py", "--folder",
                       sim.Folder(), "--count", "5", "ES", "NQ"},
                      ChildProcess::kErrToOut);
  EXPECT_EQ(client.Wait(), 0);
  std::string out;
  client.ReadInto(&out);
  EXPECT_GE(Count(out, " Last "), 5u) << out << bus_.Log();
  EXPECT_TRUE(bus_.WaitFeederGone(30));  // its release ended the service
}

TEST(ServiceInstallTest, InstallPutsTheProgramAndItsActivationFilesInPlace) {
  TempDir prefix;
  const std::string command = std::string(QUOTLINK_CMAKE) + " --install " + QUOTLINK_BUILD_DIR +
                              " --prefix " + prefix.path() + "usr >/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string usr = prefix.path() + "usr/";
  EXPECT_TRUE(TempDir::Exists(usr + "bin/quotlink"));
  EXPECT_TRUE(TempDir::Exists(usr + "bin/quotlink-feedsim"));  // the demo's simulator
  const std::string service =
      TempDir::Get(usr + "share/dbus-1/services/io.quotlink.Feeder.service");
  EXPECT_NE(service.find("Name=io.quotlink.Feeder\n"), std::string::npos) << service;
  EXPECT_NE(service.find("Exec=" + usr + "bin/quotlink serve"), std::string::npos) << service;
  EXPECT_NE(service.find("SystemdService=quotlink.service"), std::string::npos) << service;
  const std::string unit = TempDir::Get(usr + "lib/systemd/user/quotlink.service");
  EXPECT_NE(unit.find("BusName=io.quotlink.Feeder"), std::string::npos) << unit;
  EXPECT_NE(unit.find("ExecStart=" + usr + "bin/quotlink serve"), std::string::npos) << unit;

  // The Debian package holds the same files, for /usr.
  const std::string pack = "cd " + prefix.path() + " && " + QUOTLINK_CPACK +
                           " -G DEB -B . --config " + QUOTLINK_BUILD_DIR +
                           "/CPackConfig.cmake >/dev/null && dpkg-deb -c " +
                           "quotlink_*.deb > contents.txt";
  ASSERT_EQ(std::system(pack.c_str()), 0);
  const std::string contents = prefix.Read("contents.txt");
  for (const char* file :
       {"./usr/bin/quotlink", "./usr/share/dbus-1/services/io.quotlink.Feeder.service",
        "./usr/lib/systemd/user/quotlink.service"}) {
    EXPECT_NE(contents.find(file), std::string::npos) << file << contents;
  }
}

}  // namespace
}  // namespace quotlink
