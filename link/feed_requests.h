// The bytes of requests to the feed server (layout in link/feed_requests_format.h).
#ifndef QUOTLINK_LINK_FEED_REQUESTS_H_
#define QUOTLINK_LINK_FEED_REQUESTS_H_

#include <cstdint>

#include "util/bytes.h"

namespace quotlink {

// A whole number as the 4 bytes that requests carry, most significant first: 100 is 00 00 00 64.
// Meant for whole numbers from 0 to 4294967295. Any other value still gives 4 defined bytes: a
// fraction is dropped (rounded down), a value below 0 counts as 0 and one above 4294967295 as
// 4294967295 (so a negative version asks for 00 00 00 00), and NaN counts as 0.
ByteString NumberToBytes(double value);

// One request: kRequestLead, the low byte of `code`, `data` whole (a 0 byte in it is an
// ordinary byte), then two 0 bytes. REQUIRES: 0 <= code <= 255 (only the low byte goes out).
ByteString BuildRequest(int16_t code, ByteView data);

// Where requests go: the feed link, for everything that asks the feed for something.
class RequestSink {
 public:
  virtual ~RequestSink() = default;
  // Sends one request (BuildRequest of `code` and `data`), whole. Nothing comes back to the
  // caller: a failed send shows "TCP is not working - " and the error's text on Mensagem at
  // once, and is not repeated.
  virtual void SendRequest(int16_t code, ByteView data) = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_LINK_FEED_REQUESTS_H_
