#include "client/quotlinkbas.h"

#include "database/parse_feed_database.h"
#include "database/record_packets.h"

namespace quotlink {

QUOTLINKBAS::QUOTLINKBAS(EventLoop* loop, SocketFactory* sockets, ConsoleView* view)
    : loop_(loop),
      form_(view, loop, &link_, &settings_, [this] { End(); }),
      link_(loop, sockets, &form_, &settings_),
      quotes_(&feed_database_, &form_, &loop->clock(), &link_) {
  link_.SetDecoders(this);
}

QUOTLINKBAS::~QUOTLINKBAS() = default;

void QUOTLINKBAS::End() {
  ended_ = true;
  link_.Stop();
  loop_->Quit();
}

bool QUOTLINKBAS::ParseFeedDatabase(ByteView image, ByteView version) {
  return quotlink::ParseFeedDatabase(&feed_database_, &form_, image, version);
}

void QUOTLINKBAS::DecodeQuotePacket(ByteView frame) {
  quotes_.DecodeQuotePacket(frame);
}

void QUOTLINKBAS::DecodeRecordPacket(ByteView frame, int code_width) {
  quotlink::DecodeRecordPacket(feed_database_, quotes_, frame, code_width);
}

}  // namespace quotlink
