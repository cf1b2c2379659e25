// Transfer logs, capture files and the request stream: the byte layouts the simulator reads.
#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"
#include "tools/feedsim/capture.h"
#include "tools/feedsim/responder.h"
#include "tools/feedsim/wire_frames.h"
#include "tools/imagegen/frame_writer.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink::feedsim {
namespace {

// A log as the feeder writes it: each frame's raw bytes and CR LF, then its three text lines.
ByteString TransferLog(const std::vector<ByteString>& frames) {
  ByteString log;
  for (const ByteString& f : frames)
    log += f + "\r\n";
  return log + "Normal end.\r\nProcess FDATABASE\r\nOK Process FDATABASE  0\r\n";
}

// Image pieces full of what a line splitter would trip on: CR LF, a lone LF, the marker.
std::vector<ByteString> AwkwardImageFrames() {
  ByteString image("\x09\x03\x00\x01", 4);
  image += "\r\n\r\nline\nbreaks\"quotes\"\r\n";
  image.append(300, '\r');
  image += ByteString("\0\x22\x07\0\r\n", 6);
  return CutImageIntoFrames(image, 17);
}

TEST(FeedsimTransferLog, FramesHoldingLineEndsComeOutWhole) {
  const std::vector<ByteString> frames = AwkwardImageFrames();
  const ByteString log = TransferLog(frames);
  int truncated = -1;
  const std::vector<ByteView> got = SplitTransferLog(log, &truncated);
  ASSERT_EQ(got.size(), frames.size());
  for (size_t i = 0; i < frames.size(); ++i)
    EXPECT_EQ(got[i], frames[i]) << "frame " << i;
  EXPECT_EQ(truncated, 0);
}

TEST(FeedsimTransferLog, RefusedTransferAndCutShortLogs) {
  const std::vector<ByteString> frames = AwkwardImageFrames();
  struct Case {
    const char* name;
    ByteString log;
    size_t frames;
    int truncated;
  };
  ByteString refused = TransferLog(frames);
  refused.replace(refused.size() - 3, 1, "1");  // "OK Process FDATABASE  1"
  const ByteString whole = TransferLog(frames);
  const size_t cut_at = whole.find("Normal end.") - 9;  // inside the end frame
  const Case cases[] = {
      {"refused image", refused, frames.size(), 0},
      {"cut in the last frame", whole.substr(0, cut_at), frames.size() - 1, 1},
      {"cut in a header", whole.substr(0, frames[0].size() + 2 + 5), 1, 1},
      {"no line ends behind frames", frames[0] + frames[1], 2, 0},
      {"text only", ByteString("Normal end.\r\nProcess FDATABASE\r\n"), 0, 0},
  };
  for (const Case& c : cases) {
    int truncated = -1;
    EXPECT_EQ(SplitTransferLog(c.log, &truncated).size(), c.frames) << c.name;
    EXPECT_EQ(truncated, c.truncated) << c.name;
  }
}

TEST(FeedsimCapture, WrittenCaptureReadsBackAndALogReplaysOnTcp) {
  TempDir dir;
  CaptureWriter w;
  ASSERT_TRUE(w.Open(dir.File("cap")).ok());
  w.Write(0, SendPath::kTcp, TestPacket());
  w.Write(1500, SendPath::kUdp, ByteString("\x22\x14\0\0\r\n", 6));
  w.Write(int64_t{1} << 40, SendPath::kUdp, ByteView());
  ASSERT_TRUE(w.Close().ok());
  std::vector<ReplayItem> items;
  ASSERT_TRUE(ReadReplayFile(dir.File("cap"), &items).ok());
  ASSERT_EQ(items.size(), 3u);
  EXPECT_EQ(items[0].bytes, TestPacket());
  EXPECT_EQ(items[0].path, SendPath::kTcp);
  EXPECT_EQ(items[1].time_us, 1500);
  EXPECT_EQ(items[1].path, SendPath::kUdp);
  EXPECT_EQ(items[1].bytes, ByteString("\x22\x14\0\0\r\n", 6));
  EXPECT_EQ(items[2].time_us, int64_t{1} << 40);

  // Cut anywhere inside the last record, the capture is refused rather than half replayed.
  const ByteString bytes = dir.Read("cap");
  for (size_t cut : {bytes.size() - 1, bytes.size() - 13 + 5}) {
    EXPECT_FALSE(ParseReplay(ByteView(bytes).substr(0, cut), &items).ok()) << cut;
  }

  dir.Write("temp.txt", TransferLog(AwkwardImageFrames()));
  ASSERT_TRUE(ReadReplayFile(dir.File("temp.txt"), &items).ok());
  ASSERT_EQ(items.size(), AwkwardImageFrames().size());
  for (const ReplayItem& item : items) {
    EXPECT_EQ(item.path, SendPath::kTcp);
    EXPECT_EQ(item.time_us, 0);
  }
  EXPECT_FALSE(ParseReplay("hello", &items).ok());
  EXPECT_FALSE(ReadReplayFile(dir.File("missing"), &items).ok());
}

TEST(FeedsimRequests, RequestsAreCutWholeAndByteByByte) {
  ByteString stream("\x44\x0E\x00\x00\x00\x64\x00\x00", 8);
  stream += ByteString("\x00\x01", 2);  // the tail of a request cut by a reconnection
  stream += ByteString(
      "\x44\x0B"
      "DCBA\0\0",
      8);
  stream += ByteString("\x44\x21\x00\x00\x12\x34\x00\x00", 8);
  for (bool byte_by_byte : {false, true}) {
    RequestReader reader;
    std::vector<Request> got;
    Request r;
    if (byte_by_byte) {
      for (char c : stream) {
        reader.Append(ByteView(&c, 1));
        while (reader.Next(&r))
          got.push_back(r);
      }
    } else {
      reader.Append(stream);
      while (reader.Next(&r))
        got.push_back(r);
    }
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].code, 14);
    EXPECT_EQ(got[0].Number(), 100u);
    EXPECT_EQ(got[1].code, 11);
    EXPECT_EQ(got[1].data, "DCBA");
    EXPECT_EQ(got[2].code, 33);
    EXPECT_EQ(got[2].Number(), 0x1234u);
    EXPECT_EQ(reader.dropped(), 2u);
  }
}

}  // namespace
}  // namespace quotlink::feedsim
