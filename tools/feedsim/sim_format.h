// What the feed simulator puts on the wire and in its capture files, written down once.
//
// DO NOT CHANGE THESE VALUES: the frame layout, packet types and body codes are the feed's, and
// the capture layout is read back by --replay from files written by earlier runs.
//
// A frame, offsets from 0:
//   0      1 byte   kFrameMarker
//   1      1 byte   packet type
//   2      2 bytes  body length L, most significant byte first
//   4      4 bytes  kFrameHeadPad zero bytes; the feeder reads nothing here
//   8      L bytes  body
//   8 + L  2 bytes  trailer, zero; the feeder reads nothing here
//
// A capture file (doc/capture_format.md tells it for people), numbers least significant first:
//   kCaptureMagic, then records of
//   8 bytes  microseconds since the simulator started
//   1 byte   path: kCapturePathTcp or kCapturePathUdp
//   4 bytes  byte count n
//   n bytes  the bytes of one send: a frame, a piece of one, or injected noise
#ifndef QUOTLINK_TOOLS_FEEDSIM_SIM_FORMAT_H_
#define QUOTLINK_TOOLS_FEEDSIM_SIM_FORMAT_H_

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quotlink::feedsim {

constexpr uint8_t kFrameMarker = 0x22;
constexpr size_t kFrameHeadSize = 8;
constexpr size_t kFrameTrailerSize = 2;
constexpr size_t kFrameOverhead = kFrameHeadSize + kFrameTrailerSize;
constexpr size_t kLargestBody = 65535;

// Packet types the simulator sends.
constexpr uint8_t kTypeImageFirst = 6;
constexpr uint8_t kTypeImageMore = 7;
constexpr uint8_t kTypeImageEnd = 8;
constexpr uint8_t kTypeTest = 10;
constexpr uint8_t kTypeRecord = 13;      // one record, 2-byte instrument code
constexpr uint8_t kTypeStatus = 14;      // body: a 2-byte code, most significant first
constexpr uint8_t kTypeQuotes = 20;      // a batch of quotes of one layout
constexpr uint8_t kTypeWideRecord = 28;  // one record, 4-byte instrument code

// Body codes of a status packet.
constexpr uint16_t kStatusRefreshOn = 5;      // answers request 14
constexpr uint16_t kStatusWatchCleared = 12;  // answers request 28

// The body of the test packet: a 0 byte, then this text; 53 bytes in all.
constexpr std::string_view kTestText = "This is a test string to help those who are testing.";
constexpr size_t kTestBodySize = 53;
static_assert(kTestText.size() + 1 == kTestBodySize);

// A request from the feeder: lead, code, 4 data bytes, 2 zero bytes.
constexpr uint8_t kRequestLeadByte = 0x44;
constexpr size_t kRequestSize = 8;

// The feeder drops its whole reassembly buffer beyond this many bytes; an overflow burst goes
// past it.
constexpr size_t kFeederBufferLimit = 180000;

constexpr std::string_view kCaptureMagic = "QLCAPT01";
constexpr size_t kCaptureRecordHeadSize = 13;
constexpr uint8_t kCapturePathTcp = 0;
constexpr uint8_t kCapturePathUdp = 1;

}  // namespace quotlink::feedsim

#endif  // QUOTLINK_TOOLS_FEEDSIM_SIM_FORMAT_H_
