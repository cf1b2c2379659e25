#include "tools/quotlink/line_reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/poll_loop.h"

namespace quotlink {
namespace {

TEST(LineReaderTest, LinesComeWholeAndOverlongOnesAreDroppedUpToTheirEnd) {
  FakeClock clock;
  PollLoop loop(&clock);
  int fds[2];
  ASSERT_EQ(pipe2(fds, O_NONBLOCK), 0);
  std::vector<std::string> got;
  LineReader reader(
      &loop, fds[0],
      [&](const std::string& line) {
        got.push_back(line.size() > 99 ? std::to_string(line.size()) + " bytes" : line);
      },
      [&] { got.push_back("<too long>"); }, [&] { got.push_back("<end>"); });
  const auto send = [&](const std::string& bytes) {
    for (size_t at = 0; at < bytes.size();) {  // the pipe takes 64 KiB at a time
      const ssize_t n = write(fds[1], bytes.data() + at, bytes.size() - at);
      if (n > 0) at += static_cast<size_t>(n);
      loop.PumpOnce();
    }
    loop.PumpOnce();
  };
  const std::string longest(LineReader::kMaxLine, 'x');
  send("add ES\r\nget");
  send(" NQ\n" + longest + "\r\n" + longest + "y\nquit");
  // A line without an end for much longer than the bound: reported once, the rest skipped.
  send(std::string(3 * LineReader::kMaxLine, 'z'));
  send(std::string(100000, 'z') + "\nshow\n");
  close(fds[1]);
  for (int i = 0; i < 1000 && got.back() != "<end>"; ++i)
    loop.PumpOnce();
  close(fds[0]);
  EXPECT_EQ(got, (std::vector<std::string>{"add ES", "get NQ", "4096 bytes", "<too long>",
                                           "<too long>", "show", "<end>"}));
}

TEST(PrintableTest, ControlAndHighBytesAreShownAsHex) {
  EXPECT_EQ(Printable(std::string("ok \x1B[2J\x7F\xC3\xA9\0.", 12)),
            "ok \\x1B[2J\\x7F\\xC3\\xA9\\x00.");
}

}  // namespace
}  // namespace quotlink
