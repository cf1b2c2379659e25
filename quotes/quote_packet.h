// The live quote packet, type 20: a batch of quotes of one database.
#ifndef QUOTLINK_QUOTES_QUOTE_PACKET_H_
#define QUOTLINK_QUOTES_QUOTE_PACKET_H_

#include "util/bytes.h"

namespace quotlink {

class QUOTLINKBAS;

// Walks the quotes of one whole type-20 frame, keeps the table up to date, asks the feed about
// watched instruments it doesn't know, and publishes each quote of a known record.
void DecodeQuotePacket(QUOTLINKBAS& bas, ByteView frame);

}  // namespace quotlink

#endif  // QUOTLINK_QUOTES_QUOTE_PACKET_H_
