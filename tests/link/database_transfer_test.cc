#include "link/database_transfer.h"

#include <gtest/gtest.h>

#include "link/packet_dispatch.h"
#include "tests/support/feeder_fixture.h"
#include "tests/support/quote_feeder.h"
#include "tests/support/temp_dir.h"
#include "tools/imagegen/frame_writer.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

struct TransferTest : ::testing::Test {
  TempDir dir;
  FeederFixture f;
  ByteString image = WriteImage(TestImageLayout());
  std::vector<ByteString> frames = CutImageIntoFrames(image, 100);

  TransferTest() {
    f.bas.settings().DataFolder = dir.path();
    f.bas.Link().VersionValue = 151191553;  // &H09030001
    f.bas.Link().FeedVerified = 1;
    f.tcp.RaiseConnect();
    Pending();
  }
  // As a session start leaves it: the image asked for now.
  void Pending() { f.bas.Link().MarkImagePending(); }
  void Tcp(ByteView frame) { f.bas.Link().ProcessPacketTCP(frame); }
  std::vector<int> Requests() const {
    std::vector<int> codes;
    for (const auto& s : f.tcp.sent)
      codes.push_back(static_cast<uint8_t>(s[1]));
    return codes;
  }
};

TEST_F(TransferTest, WholeTransferParsesLogsAndEnablesQuotes) {
  ASSERT_GT(frames.size(), 3u);
  f.bas.Link().TcpPacketCount = 40;
  for (const auto& fr : frames)
    Tcp(fr);
  EXPECT_EQ(f.bas.Link().DatabasePending, 0);
  EXPECT_EQ(f.bas.Link().QuotesEnabled, 1);
  EXPECT_EQ(f.frm.ComunicationOK, 1);
  EXPECT_EQ(f.frm.Info1.Caption(), "Database OK.");
  EXPECT_EQ(f.bas.Link().TcpPacketCount, 0);
  EXPECT_EQ(Requests(), std::vector<int>{13});
  EXPECT_EQ(f.bas.Database().DatabaseCount(), 2);
  EXPECT_EQ(f.view.Count("Mensagem: END SEC TYPES "), 1);
  ByteString want;
  for (const auto& fr : frames)
    want += fr + "\r\n";
  want += "Normal end.\r\nProcess FDATABASE\r\nOK Process FDATABASE  0\r\n";
  EXPECT_EQ(dir.Read("temp.txt"), want);
  EXPECT_TRUE(f.bas.Link().Transfer(FeedPath::kTcp).ImageText.empty());
}

TEST_F(TransferTest, WrongVersionIsRefusedAndTheOldDatabaseStays) {
  f.bas.Link().VersionValue = 151191554;  // asks for 09 03 00 02
  for (const auto& fr : frames)
    Tcp(fr);
  EXPECT_EQ(f.bas.Link().DatabasePending, 1);
  EXPECT_EQ(f.bas.Link().QuotesEnabled, 1);  // muted by the pending flag alone
  EXPECT_EQ(f.view.Count("message: diferente database"), 1);
  EXPECT_EQ(f.bas.Database().DatabaseCount(), 0);
  EXPECT_EQ(Requests(), std::vector<int>{13});
  EXPECT_NE(dir.Read("temp.txt").find("OK Process FDATABASE  1\r\n"), std::string::npos);
}

TEST_F(TransferTest, TruncatedImageIsRefusedWholeAndAskedAgain) {
  ByteString cut = image.substr(0, image.size() - 30);
  for (const auto& fr : CutImageIntoFrames(cut, 100))
    Tcp(fr);
  EXPECT_EQ(f.bas.Link().DatabasePending, 1);
  EXPECT_EQ(f.bas.Database().DatabaseCount(), 0);
  EXPECT_EQ(f.frm.Mensagem.Caption().rfind("Database image refused - ", 0), 0u);
}

TEST_F(TransferTest, PiecesWithoutAFirstDoNothingAndAFirstStartsOver) {
  Tcp(frames[1]);
  Tcp(frames.back());
  EXPECT_EQ(f.bas.Link().DatabasePending, 1);
  EXPECT_FALSE(dir.Exists(dir.File("temp.txt")));
  // A first piece in the middle of a transfer restarts the image and the log.
  Tcp(frames[0]);
  Tcp(frames[1]);
  for (const auto& fr : frames)
    Tcp(fr);
  EXPECT_EQ(f.bas.Link().DatabasePending, 0);
  EXPECT_EQ(dir.Read("temp.txt").rfind(frames[0] + "\r\n" + frames[1] + "\r\n" + frames[2], 0), 0u);
}

TEST_F(TransferTest, UdpHasItsOwnTransfer) {
  f.bas.Link().DatabasePending = 0;
  f.bas.Link().UdpPacketCount = 9;
  for (const auto& fr : frames)
    f.bas.Link().ProcessPacketUDP(fr);
  EXPECT_EQ(f.bas.Link().QuotesEnabled, 1);
  EXPECT_EQ(f.bas.Link().UdpPacketCount, 0);
  EXPECT_EQ(Requests(), std::vector<int>{13});
}

TEST_F(TransferTest, RetryAfterAMinuteDropsTheTransferAndAsksAgain) {
  Tcp(frames[0]);
  f.clock.Advance(61000);
  f.bas.Link().TcpPacketCount = 0;
  Tcp(frames[1]);  // appended and logged, then the same frame fires the retry
  EXPECT_EQ(f.bas.Link().Transfer(FeedPath::kTcp).TraceFile, 0);
  EXPECT_EQ(f.frm.Info1.Caption(), "Trying new download");
  EXPECT_EQ(Requests(), std::vector<int>{5});
  EXPECT_EQ(f.tcp.sent[0], ByteString("D\x05\x09\x03\x00\x01\0\0", 8));
  EXPECT_EQ(f.bas.Link().TcpPacketCount, 0);
  EXPECT_EQ(dir.Read("temp.txt"), frames[0] + "\r\n" + frames[1] + "\r\n");
  // Later pieces of the dropped transfer are ignored; the new one works.
  for (size_t k = 2; k < frames.size(); ++k)
    Tcp(frames[k]);
  EXPECT_EQ(f.bas.Link().DatabasePending, 1);
  for (const auto& fr : frames)
    Tcp(fr);
  EXPECT_EQ(f.bas.Link().DatabasePending, 0);
}

TEST_F(TransferTest, LateButGoodEndFrameIsStillGood) {
  for (size_t k = 0; k + 1 < frames.size(); ++k)
    Tcp(frames[k]);
  f.clock.Advance(59000);
  Tcp(frames.back());
  EXPECT_EQ(f.bas.Link().DatabasePending, 0);
  f.clock.Advance(120000);
  Tcp(StatusPacket(5));
  EXPECT_EQ(Requests(), std::vector<int>{13});  // no retry once the image has ended
}

TEST_F(TransferTest, RetryOnlyOnFramesThatReachItsStep) {
  f.clock.Advance(61000);
  f.bas.Link().QuotesEnabled = 1;
  Tcp(BuildFrame(20, "quotes"));  // stopped before the retry
  Tcp(BuildFrame(34, "marker"));  // stopped before the retry on TCP
  EXPECT_TRUE(f.tcp.sent.empty());
  Tcp(BuildFrame(28, "record"));  // reaches it
  EXPECT_EQ(Requests(), std::vector<int>{5});
  // After a refused image a frame more than a minute after the last request fires at once.
  f.bas.Link().VersionValue = 1;
  for (const auto& fr : frames)
    Tcp(fr);
  EXPECT_EQ(Requests(), (std::vector<int>{5, 13}));
  f.clock.Advance(61000);
  Tcp(StatusPacket(6));
  EXPECT_EQ(Requests(), (std::vector<int>{5, 13, 5}));
}

TEST_F(TransferTest, AnUnwritableLogChangesNothing) {
  f.bas.settings().DataFolder = dir.path() + "no/such/folder/";
  for (const auto& fr : frames)
    Tcp(fr);
  EXPECT_EQ(f.bas.Link().DatabasePending, 0);
  EXPECT_EQ(f.bas.Database().DatabaseCount(), 2);
}

}  // namespace
}  // namespace quotlink
