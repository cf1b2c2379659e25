#include "database/record_packets.h"

namespace quotlink {

void DecodeRecordPacket(QUOTLINKBAS&, ByteView, int) {}

}  // namespace quotlink
