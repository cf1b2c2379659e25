// QUOTLINKBAS: the feeder's owner and the one place that knows all of its parts. It builds the
// console form, the feed link, the feed's database and the quote stream, wires each to the
// collaborators it needs, and installs the decoders that the link hands frames to.
//
// Nothing of it is global: every feeder, and so every test, starts from a fresh object.
#ifndef QUOTLINK_CLIENT_QUOTLINKBAS_H_
#define QUOTLINK_CLIENT_QUOTLINKBAS_H_

#include "client/quotlinkfrm.h"
#include "client/settings.h"
#include "database/feed_database.h"
#include "link/feed_link.h"
#include "platform/event_loop.h"
#include "platform/socket.h"
#include "quotes/quote_stream.h"

namespace quotlink {

class QUOTLINKBAS final : private FeedDecoders {
 public:
  // `loop` and `sockets` must outlive the feeder. `view` (may be null) shows the console.
  QUOTLINKBAS(EventLoop* loop, SocketFactory* sockets, ConsoleView* view);
  ~QUOTLINKBAS() override;
  QUOTLINKBAS(const QUOTLINKBAS&) = delete;
  QUOTLINKBAS& operator=(const QUOTLINKBAS&) = delete;

  EventLoop& loop() const { return *loop_; }
  Clock& clock() const { return loop_->clock(); }

  // The parts. Each lives as long as the feeder.
  QUOTLINKFRM& Form() { return form_; }
  FeedLink& Link() { return link_; }
  QuoteStream& Quotes() { return quotes_; }
  const QuoteStream& Quotes() const { return quotes_; }
  FeedDatabase& Database() { return feed_database_; }
  // The process-wide settings: DataFolder, FeedAddress, FeedPort, LocalPort.
  Settings& settings() { return settings_; }

  // The feeder has shut down (the console was unloaded): the loop's Run returns, cutting
  // stops, and the host is expected to end. A library never ends its host's process itself.
  bool ended() const { return ended_; }
  void End();

 private:
  // FeedDecoders: what frames reach once they have passed the link's gates.
  bool ParseFeedDatabase(ByteView image, ByteView version) override;
  void DecodeQuotePacket(ByteView frame) override;
  void DecodeRecordPacket(ByteView frame, int code_width) override;

  EventLoop* const loop_;
  bool ended_ = false;
  Settings settings_;
  FeedDatabase feed_database_;
  // Built in this order: the form first, as every other part reports to it.
  QUOTLINKFRM form_;
  FeedLink link_;
  QuoteStream quotes_;
};

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_QUOTLINKBAS_H_
