// The transfer of the feed's database image: frames of type 6, 7 and 8 gathered into one byte
// string, logged in "temp.txt", parsed at the end frame; and the one-minute retry.
#ifndef QUOTLINK_LINK_DATABASE_TRANSFER_H_
#define QUOTLINK_LINK_DATABASE_TRANSFER_H_

#include <cstdint>
#include <cstdio>

#include "util/bytes.h"

namespace quotlink {

class QUOTLINKBAS;
enum class FeedPath;

// The image state of one processor.
struct ImageTransfer {
  int16_t TraceFile = 0;  // 0: no transfer is gathering
  ByteString ImageText;   // the image as gathered so far
};

// The image step of a processor for a frame of type 6, 7 or 8.
void ImageStep(QUOTLINKBAS& bas, FeedPath path, ByteView frame);

// Asks for the image again when it has been pending for over a minute.
void RetryImageIfDue(QUOTLINKBAS& bas, FeedPath path);

}  // namespace quotlink

#endif  // QUOTLINK_LINK_DATABASE_TRANSFER_H_
