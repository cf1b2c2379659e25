#include "quotes/quote_packet.h"

namespace quotlink {

void DecodeQuotePacket(QUOTLINKBAS&, ByteView) {}

}  // namespace quotlink
