// What the feed simulator puts on the wire and in its capture files, written down once.
//
// DO NOT CHANGE THESE VALUES: the request layout is the feeder's, and the capture layout is read
// back by --replay from files written by earlier runs. The frame layout, packet types and status
// codes are the feed's, in link/frame_format.h, which the simulator shares with the feeder.
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

#include "link/frame_format.h"

namespace quotlink::feedsim {

constexpr size_t kLargestBody = 65535;  // the most that a frame's 2-byte length can tell

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
