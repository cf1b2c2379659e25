#include "link/session.h"

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "link/feed_requests.h"
#include "link/feed_requests_format.h"
#include "util/profile_file.h"

namespace quotlink {

void ApplySocketSettings(QUOTLINKBAS& bas) {
  QUOTLINKFRM& frm = bas.Form();
  frm.UDP->SetRemoteHost(bas.FeedAddress);
  frm.UDP->SetRemotePort(bas.FeedPort);
  frm.UDP->SetLocalPort(bas.LocalPort);
  frm.TCP->SetRemoteHost(bas.FeedAddress);
  frm.TCP->SetRemotePort(bas.FeedPort);
  frm.TCP->SetLocalPort(0);
}

void ReadDatabaseVersion(QUOTLINKBAS& bas) {
  const std::string path = bas.DataFolder + kVersionFile;
  bas.DatabaseVersion = ReadProfileString(path, "DATABASE", "INFORMATION", "");
  if (bas.DatabaseVersion.empty()) {
    bas.DatabaseVersion = kDefaultDatabaseVersion;
    // A file that can't be written changes nothing: the default serves this session.
    (void)WriteProfileString(path, "DATABASE", "INFORMATION", bas.DatabaseVersion);
  }
  bas.VersionValue = VersionValueOf(bas.DatabaseVersion);
}

void StartSession(QUOTLINKBAS& bas) {
  QUOTLINKFRM& frm = bas.Form();
  const uint64_t generation = ++bas.session_generation;
  // True once a newer start has begun (or the feeder has ended): this one then stops.
  auto superseded = [&bas, generation] {
    return bas.session_generation != generation || bas.ended();
  };

  (void)frm.UDP->Close();
  (void)frm.TCP->Close();
  bas.TcpConnected = 0;
  (void)frm.UDP->Bind();

  // UDP is live from here: frames flow through the intake during the waits.
  WaitPumping(bas.loop(), kBindWaitSeconds, superseded);
  if (superseded()) return;

  (void)frm.TCP->Connect();
  WaitPumping(bas.loop(), kConnectWaitSeconds,
              [&] { return bas.TcpConnected != 0 || superseded(); });
  if (superseded()) return;
  if (bas.TcpConnected == 0) {
    frm.ModalMessage("CANNOT CONNECT WITH TCP ADDRESS");
    return;
  }

  ReadDatabaseVersion(bas);
  bas.QuotesEnabled = 0;
  SendRequest(bas, kRequestTest, NumberToBytes(100));
  // The feed counts as verified once the connection stands, test packet or not; the request
  // goes out first.
  bas.FeedVerified = 1;
  bas.WatchListCleared = 0;
  frm.Info1.SetCaption("Reseting Watch List.");
  SendRequest(bas, kRequestResetWatch, NumberToBytes(100));
  WaitPumping(bas.loop(), kResetWaitSeconds,
              [&] { return bas.WatchListCleared != 0 || superseded(); });
  if (superseded()) return;

  frm.Info1.SetCaption("Reading databases information.");
  bas.DatabasePending = 1;
  bas.DatabaseRequestTime = bas.clock().Now();
  bas.database_request_ms = bas.clock().MonotonicMs();
  SendRequest(bas, kRequestDatabaseImage, NumberToBytes(bas.VersionValue));
}

void RestartFeed(QUOTLINKBAS& bas) {
  QUOTLINKFRM& frm = bas.Form();
  (void)frm.UDP->Close();
  (void)frm.TCP->Close();
  ApplySocketSettings(bas);
  StartSession(bas);
}

}  // namespace quotlink
