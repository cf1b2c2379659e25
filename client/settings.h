// The feeder's settings: the folder of its files, the feed server's address and the two ports,
// and the file QUOTLINKINFO.DAT that keeps the last three.
#ifndef QUOTLINK_CLIENT_SETTINGS_H_
#define QUOTLINK_CLIENT_SETTINGS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "util/status.h"

namespace quotlink {

// Name of the settings file within the data folder.
inline constexpr std::string_view kSettingsFileName = "QUOTLINKINFO.DAT";

// What a new settings file holds.
inline constexpr std::string_view kDefaultFeedAddress = "127.0.0.1";
constexpr int32_t kDefaultFeedPort = 21560;
constexpr int32_t kDefaultLocalPort = 20547;

// The feeder's settings: the three that the settings file keeps, and the folder of its files.
// The values at the start of the process are the empty address and 0, which is what a settings
// file that lacks a line leaves. Header only in what the subsystems read: the struct.
struct Settings {
  std::string FeedAddress;  // remote host of both sockets
  int32_t FeedPort = 0;     // remote port of both sockets
  int32_t LocalPort = 0;    // local port of the datagram socket
  // With its closing "/" once set; empty: the current directory. Not in the settings file.
  std::string DataFolder;
  // Whose datagrams the UDP socket takes: empty for the feed server's host alone, "any", or
  // hosts separated by commas. Kept in a file of its own (kUdpFromFileName), not in the
  // settings file, whose three lines stay as they are.
  std::string UdpFrom;
};

// Name of the file beside the settings file that keeps Settings::UdpFrom, one line.
inline constexpr std::string_view kUdpFromFileName = "UDPFROM.DAT";

// The data folder below `parent`: `parent`, a "/" unless it ends in one, then "DTN/". An empty
// `parent` gives the relative folder "DTN/".
std::string DataFolderFrom(std::string_view parent);

// Creates the last level of `folder`. A folder that already exists is the normal case and Ok;
// any other failure is returned with its cause, for the caller to name when a file of the
// folder can't be opened (the file's own error would hide why).
Status CreateDataFolder(const std::string& folder);

// Reads the settings file in `folder` (a data folder with its closing "/", or empty for the
// current directory) into `*settings`. When the file can't be opened it is written with the
// defaults and read again; an error is returned (and `*settings` left as it was) only when that
// second opening fails. The values are read in order, each after leading blanks: the address up
// to a comma or the end of its line, each port up to a blank, a comma or the end of its line.
// A value the file doesn't reach keeps what `*settings` held, a port without digits reads 0, and
// a port outside the 32-bit range keeps what `*settings` held.
Status ReadSettings(const std::string& folder, Settings* settings);

// Writes `settings` to the file in `folder`: three lines ended by CR LF, the address as it is and
// each port with a blank before and behind it (" 21560 "; a minus sign stands in place of the
// first blank). The file is replaced whole or not at all: a failure leaves the old one.
Status WriteSettings(const std::string& folder, const Settings& settings);

// Reads kUdpFromFileName in `folder` into settings->UdpFrom: its first line without blanks round
// it; empty when the file is missing or unreadable (the feed server's host alone).
void ReadUdpFrom(const std::string& folder, Settings* settings);

// Writes `udp_from` as the one line of kUdpFromFileName in `folder`, whole or not at all.
Status WriteUdpFrom(const std::string& folder, std::string_view udp_from);

// The number in a port text box: a whole 32-bit signed number in decimal, with an optional sign
// and blanks round it. False (and `*port` untouched) for anything else, empty text included.
bool ParsePortText(std::string_view text, int32_t* port);

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_SETTINGS_H_
