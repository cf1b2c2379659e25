// Layout of a request to the feed server.
//
// A request is a short frame of its own kind, unlike the frames that arrive: no start marker, no
// length, no checksum. DO NOT CHANGE THESE VALUES: the feed server reads them on the wire.
//
//   offset 0      1 byte   kRequestLead, the character 'D'
//   offset 1      1 byte   request code
//   offset 2      N bytes  request data, the caller's bytes (N is 4 in every request we send)
//   offset 2 + N  2 bytes  kRequestTrailerSize bytes of 0
#ifndef QUOTLINK_LINK_FEED_REQUESTS_FORMAT_H_
#define QUOTLINK_LINK_FEED_REQUESTS_FORMAT_H_

#include <cstddef>
#include <cstdint>

namespace quotlink {

constexpr uint8_t kRequestLead = 0x44;
constexpr size_t kRequestHeadSize = 2;     // lead and code
constexpr size_t kRequestTrailerSize = 2;  // two 0 bytes
constexpr size_t kRequestNumberSize = 4;   // NumberToBytes: most significant byte first

// Request codes, all that the feeder sends.
constexpr int16_t kRequestDatabaseImage = 5;  // data: the version of the image asked for
constexpr int16_t kRequestSymbolCode = 7;     // data: a SymbolCode
constexpr int16_t kRequestDatabaseKey = 11;   // data: a DatabaseKey, the 4 bytes as received
constexpr int16_t kRequestImageDone = 13;     // data: the number 100
constexpr int16_t kRequestTest = 14;          // data: the number 100
constexpr int16_t kRequestResetWatch = 28;    // data: the number 100
constexpr int16_t kRequestWatchCode = 33;     // data: a SymbolCode

}  // namespace quotlink

#endif  // QUOTLINK_LINK_FEED_REQUESTS_FORMAT_H_
