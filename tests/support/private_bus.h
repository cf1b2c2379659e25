// A D-Bus session bus of a test's own: dbus-daemon with its own configuration, socket and
// service folder, whose one service file starts the build's `quotlink serve`, so that a first
// call activates it for real. The test process (and every child it starts) talks to it through
// $DBUS_SESSION_BUS_ADDRESS; the user's bus is never touched. The including target defines
// QUOTLINK_BIN.
#ifndef QUOTLINK_TESTS_SUPPORT_PRIVATE_BUS_H_
#define QUOTLINK_TESTS_SUPPORT_PRIVATE_BUS_H_

#include <gtest/gtest.h>
#include <stdlib.h>
#include <systemd/sd-bus.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/child_process.h"
#include "tests/support/temp_dir.h"

namespace quotlink {

class PrivateBus {
 public:
  explicit PrivateBus(const std::string& serve_options = "--console=log") {
    std::filesystem::create_directories(dir_.File("services"));
    dir_.Write("services/io.quotlink.Feeder.service",
               "[D-BUS Service]\nName=io.quotlink.Feeder\nExec=" + std::string(QUOTLINK_BIN) +
                   " serve " + serve_options + "\n");
    dir_.Write(
        "session.conf",
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig>\n  <type>session</type>\n"
        "  <listen>unix:path=" +
            dir_.File("socket") +
            "</listen>\n"
            "  <servicedir>" +
            dir_.File("services") +
            "</servicedir>\n"
            "  <policy context=\"default\">\n"
            "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
            "    <allow eavesdrop=\"true\"/>\n    <allow own=\"*\"/>\n  </policy>\n"
            "</busconfig>\n");
    // What the activated service inherits: no window, its default folder in here.
    unsetenv("DISPLAY");
    setenv("XDG_DATA_HOME", dir_.path().c_str(), 1);
    daemon_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{"/usr/bin/dbus-daemon", "--nofork", "--print-address",
                                 "--config-file=" + dir_.File("session.conf")},
        dir_.File("bus.log"));
    std::string out;
    for (int i = 0; i < 500 && out.find('\n') == std::string::npos; ++i) {
      daemon_->ReadInto(&out);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    address_ = out.substr(0, out.find('\n'));
    EXPECT_FALSE(address_.empty()) << "dbus-daemon gave no address";
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  }

  // What the daemon and the services it started wrote on standard error.
  std::string Log() const { return dir_.Read("bus.log"); }
  const TempDir& dir() const { return dir_; }

  // Whether someone owns io.quotlink.Feeder now.
  bool FeederRuns() const {
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) return false;
    sd_bus_message* reply = nullptr;
    int has = 0;
    if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus", "NameHasOwner", nullptr, &reply, "s",
                           "io.quotlink.Feeder") >= 0) {
      sd_bus_message_read(reply, "b", &has);
    }
    sd_bus_message_unref(reply);
    sd_bus_flush_close_unref(bus);
    return has != 0;
  }
  bool WaitFeederGone(double seconds) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < end) {
      if (!FeederRuns()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }

 private:
  TempDir dir_;
  std::unique_ptr<ChildProcess> daemon_;
  std::string address_;
};

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_SUPPORT_PRIVATE_BUS_H_
