#include "bench/bench_market.h"

#include <algorithm>
#include <string>

#include "bench/bench_report.h"
#include "tools/feedsim/quote_encoding.h"
#include "tools/imagegen/frame_writer.h"

namespace quotlink::bench {
namespace {

using feedsim::InstrumentKind;
using feedsim::PriceCode;

// The price forms each kind takes in turn: every reading of the value decoding that a session
// with the simulator exercises. Equities are always in cents.
const std::vector<PriceCode>& PriceForms(InstrumentKind kind) {
  static const std::vector<PriceCode> kFutures = {PriceCode::kQuarters, PriceCode::kThirtySeconds,
                                                  PriceCode::kHalfThirtySeconds,
                                                  PriceCode::kHundredths, PriceCode::kWhole};
  static const std::vector<PriceCode> kSpots = {PriceCode::kDecimal5, PriceCode::kDecimal3};
  static const std::vector<PriceCode> kOptions = {PriceCode::kHundredths};
  static const std::vector<PriceCode> kEquities = {PriceCode::kCents};
  switch (kind) {
    case InstrumentKind::kFuture:
      return kFutures;
    case InstrumentKind::kSpot:
      return kSpots;
    case InstrumentKind::kOption:
      return kOptions;
    case InstrumentKind::kEquity:
      break;
  }
  return kEquities;
}

constexpr char kKindLetter[feedsim::kKindCount] = {'F', 'X', 'O', 'E'};

}  // namespace

feedsim::Universe MakeUniverse(int count) {
  if (count < 1 || count > 32767) Fail("a market of " + std::to_string(count) + " instruments");
  std::vector<feedsim::SymbolChoice> choices;
  for (int i = 0; i < count; ++i) {
    const auto kind = static_cast<InstrumentKind>(i % feedsim::kKindCount);
    choices.push_back(
        {std::string(1, kKindLetter[i % feedsim::kKindCount]) + std::to_string(i), true, kind});
  }
  feedsim::Universe u;
  std::string error;
  if (!feedsim::Universe::Build(choices, &u, &error)) Fail("the market: " + error);
  for (size_t i = 0; i < u.size(); ++i) {
    feedsim::Instrument& inst = u.at(i);
    const std::vector<PriceCode>& forms = PriceForms(inst.kind);
    inst.price_code = forms[(i / feedsim::kKindCount) % forms.size()];
  }
  return u;
}

ByteString ImageVersion() {
  return ByteString("\x09\x03\x00\x01", 4);
}

void FrameRun::Add(ByteView frame, int frame_quotes) {
  bytes.append(frame);
  ends.push_back(bytes.size());
  quotes += frame_quotes;
}

FrameRun ImageFrames(const feedsim::Universe& u) {
  FrameRun run;
  for (const ByteString& f : CutImageIntoFrames(u.Image(ImageVersion()), 400))
    run.Add(f, 0);
  return run;
}

FrameRun RecordFrames(const feedsim::Universe& u) {
  FrameRun run;
  for (size_t i = 0; i < u.size(); ++i) {
    const feedsim::Instrument& inst = u.at(i);
    run.Add(feedsim::RecordPacket(u.WireKey(inst.kind), inst.code,
                                  feedsim::EncodeRecord(u, inst, true), false),
            0);
  }
  return run;
}

InstrumentDeck::InstrumentDeck(const feedsim::Universe* u, uint64_t seed)
    : universe_(u), rng_(seed), cards_(feedsim::kKindCount) {
  for (size_t i = 0; i < u->size(); ++i)
    cards_[static_cast<size_t>(u->at(i).kind)].push_back(i);
  // A kind without instruments is never drawn.
  std::erase_if(cards_, [](const std::vector<size_t>& c) { return c.empty(); });
  next_.assign(cards_.size(), SIZE_MAX);  // each kind's cards are shuffled before the first
}

size_t InstrumentDeck::Next() {
  for (int tries = 0;; ++tries) {
    const auto k = static_cast<size_t>(rng_.Uniform(0, static_cast<int64_t>(cards_.size()) - 1));
    std::vector<size_t>& cards = cards_[k];
    if (next_[k] >= cards.size()) {
      for (size_t j = cards.size(); j > 1; --j)
        std::swap(cards[j - 1],
                  cards[static_cast<size_t>(rng_.Uniform(0, static_cast<int64_t>(j) - 1))]);
      next_[k] = 0;
    }
    const size_t card = cards[next_[k]];
    if (card == last_ && universe_->size() > 1 && tries < 100) continue;  // drawn again
    ++next_[k];
    last_ = card;
    return card;
  }
}

ByteString OneQuoteFrame(feedsim::Universe* u, size_t i, QuoteFamily family, feedsim::Rng* rng) {
  feedsim::Instrument* inst = &u->at(i);
  const uint8_t width = u->HeadWidth(inst->kind);
  const ByteString key = u->WireKey(inst->kind);
  if (family == QuoteFamily::kFieldList) {
    const uint16_t moved = u->Step(inst, rng);
    return feedsim::QuotePacket(key, feedsim::kFormFieldList, width,
                                {feedsim::FieldListQuote(*u, *inst, moved)});
  }
  // A short record carries only the quotes, so it may only bring a new bid and ask.
  const bool full = rng->OneIn(2);
  if (full) {
    u->Step(inst, rng);
  } else {
    u->Requote(inst, rng);
  }
  return feedsim::QuotePacket(key, full ? feedsim::kFormFullRecord : feedsim::kFormShortRecord,
                              width, {feedsim::PositionalQuote(*u, *inst, full)});
}

ByteString TradeFrame(feedsim::Universe* u, size_t i, uint32_t volume, feedsim::Rng* rng) {
  feedsim::Instrument* inst = &u->at(i);
  while (u->Step(inst, rng) != feedsim::kFlagTrade) {
  }
  inst->volume = volume;
  return feedsim::QuotePacket(u->WireKey(inst->kind), feedsim::kFormFieldList,
                              u->HeadWidth(inst->kind),
                              {feedsim::FieldListQuote(*u, *inst, feedsim::kFlagTrade)});
}

FrameRun SessionStream(feedsim::Universe* u, int64_t quotes, uint64_t seed) {
  feedsim::QuoteStream stream(u, seed);
  FrameRun run;
  while (run.quotes < quotes) {
    int n = 0;
    const ByteString frame = stream.NextPacket(&n);
    run.Add(frame, n);
  }
  return run;
}

}  // namespace quotlink::bench
