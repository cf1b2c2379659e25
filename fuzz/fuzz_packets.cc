// Quote packets (type 20) and record packets (types 13 and 28) read with the simulator's image
// into a quote stream of its own, with every other instrument watched.
//
// Input: packets one after another, each a selector byte (0, 1, 2 mod 3: type 20, 13, 28), a
// 2-byte body length (most significant first) and the body; the frame's envelope is built round
// the body, as the link hands over only whole frames.
// Checked after every packet: the quote table finds each record by its key and code, and stays
// within its bound.
#include <cstddef>
#include <cstdint>

#include "client/console_surface.h"
#include "database/record_packets.h"
#include "fuzz/fuzz_support.h"
#include "link/feed_requests.h"
#include "platform/clock.h"
#include "quotes/quote_stream.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::fuzz {
namespace {

struct NoSink : RequestSink {
  void SendRequest(int16_t, ByteView) override {}
};

const FeedDatabase& Database() {
  static const FeedDatabase* const db = [] {
    auto* parsed = new FeedDatabase;
    if (ParseFeedImage(GoodImage(), kImageVersion, parsed, nullptr).kind !=
        ImageParseKind::kAccepted)
      Fail("the simulator's image was refused");
    return parsed;
  }();
  return *db;
}

void Run(const uint8_t* data, size_t size) {
  ConsoleSurface console{nullptr};
  FakeClock clock;
  NoSink requests;
  QuoteStream quotes{&Database(), &console, &clock, &requests};
  const feedsim::Universe& u = DefaultUniverse();
  for (size_t i = 0; i < u.size(); i += 2)
    console.DTNSYMBOLS.Add(u.at(i).symbol);

  Input in(data, size);
  while (!in.empty()) {
    static constexpr uint8_t kTypes[] = {20, 13, 28};
    const uint8_t type = kTypes[in.Byte() % 3];
    const uint16_t length = in.Be16();
    const ByteString frame = BuildFrame(type, in.Take(length));
    clock.Advance(1);
    if (type == 20)
      quotes.DecodeQuotePacket(frame);
    else
      DecodeRecordPacket(Database(), quotes, frame, type == 13 ? 2 : 4);
    CheckTable(quotes.Simbolos);
  }
}

}  // namespace
}  // namespace quotlink::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quotlink::fuzz::Run(data, size);
  return 0;
}
