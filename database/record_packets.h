// Packets 13 and 28: one whole record of one instrument.
#ifndef QUOTLINK_DATABASE_RECORD_PACKETS_H_
#define QUOTLINK_DATABASE_RECORD_PACKETS_H_

#include "util/bytes.h"

namespace quotlink {

class QUOTLINKBAS;

// Stores the record of one whole type-13 (`codeWidth` 2) or type-28 (`codeWidth` 4) frame and
// publishes it for an instrument on the watch list.
void DecodeRecordPacket(QUOTLINKBAS& bas, ByteView frame, int codeWidth);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_RECORD_PACKETS_H_
