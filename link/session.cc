#include "link/session.h"

#include <string>
#include <vector>

#include "link/feed_link.h"
#include "link/feed_requests_format.h"
#include "util/profile_file.h"

namespace quotlink {

namespace {

// The hosts whose datagrams the UDP socket takes; empty for any.
std::vector<std::string> UdpSources(const Settings& s) {
  if (s.UdpFrom.empty()) return {s.FeedAddress};
  if (s.UdpFrom == "any") return {};
  std::vector<std::string> hosts;
  for (size_t start = 0; start <= s.UdpFrom.size();) {
    size_t end = s.UdpFrom.find(',', start);
    if (end == std::string::npos) end = s.UdpFrom.size();
    std::string host = s.UdpFrom.substr(start, end - start);
    host.erase(0, host.find_first_not_of(' '));
    host.erase(host.find_last_not_of(' ') + 1);
    if (!host.empty()) hosts.push_back(std::move(host));
    start = end + 1;
  }
  // A list of nothing but commas names no host: the feed server's alone, never "any".
  if (hosts.empty()) hosts.push_back(s.FeedAddress);
  return hosts;
}

}  // namespace

void FeedLink::ApplySocketSettings() {
  UDP->SetAcceptedSources(UdpSources(*settings_));
  UDP->SetRemoteHost(settings_->FeedAddress);
  UDP->SetRemotePort(settings_->FeedPort);
  UDP->SetLocalPort(settings_->LocalPort);
  TCP->SetRemoteHost(settings_->FeedAddress);
  TCP->SetRemotePort(settings_->FeedPort);
  TCP->SetLocalPort(0);
}

void FeedLink::ReadDatabaseVersion() {
  const std::string path = settings_->DataFolder + kVersionFile;
  DatabaseVersion = ReadProfileString(path, "DATABASE", "INFORMATION", "");
  if (DatabaseVersion.empty()) {
    DatabaseVersion = kDefaultDatabaseVersion;
    // A file that can't be written changes nothing: the default serves this session.
    (void)WriteProfileString(path, "DATABASE", "INFORMATION", DatabaseVersion);
  }
  VersionValue = VersionValueOf(DatabaseVersion);
}

void FeedLink::StartSession() {
  const uint64_t generation = ++session_generation_;
  // True once a newer start has begun (or the feeder has ended): this one then stops.
  auto superseded = [this, generation] { return session_generation_ != generation || stopped_; };
  (void)UDP->Close();
  (void)TCP->Close();
  TcpConnected = 0;
  (void)UDP->Bind();
  ReportShortReceiveBuffer();

  // UDP is live from here: frames flow through the intake during the waits.
  WaitPumping(*loop_, kBindWaitSeconds, superseded);
  if (superseded()) return;

  (void)TCP->Connect();
  WaitPumping(*loop_, kConnectWaitSeconds, [&] { return TcpConnected != 0 || superseded(); });
  if (superseded()) return;
  if (TcpConnected == 0) {
    console_->ModalMessage("CANNOT CONNECT WITH TCP ADDRESS");
    return;
  }

  ReadDatabaseVersion();
  QuotesEnabled = 0;
  SendRequest(kRequestTest, NumberToBytes(100));
  // The feed counts as verified once the connection stands, test packet or not; the request
  // goes out first.
  FeedVerified = 1;
  WatchListCleared = 0;
  console_->Info1.SetCaption("Reseting Watch List.");
  SendRequest(kRequestResetWatch, NumberToBytes(100));
  WaitPumping(*loop_, kResetWaitSeconds, [&] { return WatchListCleared != 0 || superseded(); });
  if (superseded()) return;

  console_->Info1.SetCaption("Reading databases information.");
  MarkImagePending();
  SendRequest(kRequestDatabaseImage, NumberToBytes(VersionValue));
}

// Datagrams that come while the feeder is busy wait in the kernel's receive buffer; when the
// kernel gives less than was asked for, a burst is lost sooner, and only the operator can raise
// the cap.
void FeedLink::ReportShortReceiveBuffer() {
  const size_t given = UDP->ReceiveBuffer();
  if (given == 0 || given >= Socket::kWantedReceiveBuffer) return;
  console_->Notice("UDP: the kernel gives the receive buffer " + std::to_string(given / 1024) +
                   " KiB of the " + std::to_string(Socket::kWantedReceiveBuffer / 1024) +
                   " KiB asked for; a longer burst of datagrams is lost (sysctl "
                   "net.core.rmem_max raises the cap)");
}

void FeedLink::RestartFeed() {
  (void)UDP->Close();
  (void)TCP->Close();
  ApplySocketSettings();
  StartSession();
}

}  // namespace quotlink
