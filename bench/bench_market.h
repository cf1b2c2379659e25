// The market that the benchmarks feed: instruments of the feed simulator's four kinds, their
// quotes written by the simulator's own encoders, so that the feeder decodes what a session
// with the simulator brings (both quote families, every price form, no faults).
#ifndef QUOTLINK_BENCH_BENCH_MARKET_H_
#define QUOTLINK_BENCH_BENCH_MARKET_H_

#include <cstdint>
#include <vector>

#include "tools/feedsim/universe.h"
#include "util/bytes.h"

namespace quotlink::bench {

// `count` instruments, the kinds in turn (future, spot, option, equity) and each kind's price
// forms in turn, named by a letter for the kind and their number ("F0", "X1", "O2", "E3"...).
// REQUIRES: 1 <= count <= 32767.
feedsim::Universe MakeUniverse(int count);

// The image version that the feeder asks for when "DTN.ini" names none.
ByteString ImageVersion();

// Frames laid end to end in one buffer, as they would come on the wire.
struct FrameRun {
  ByteString bytes;
  std::vector<size_t> ends;  // where each frame ends in `bytes`
  int64_t quotes = 0;        // quotes in all the frames

  void Add(ByteView frame, int frame_quotes);
  size_t size() const { return ends.size(); }
  // Frame `i`; the view lives as long as the run is neither changed nor destroyed.
  ByteView frame(size_t i) const {
    const size_t start = i == 0 ? 0 : ends[i - 1];
    return ByteView(bytes).substr(start, ends[i] - start);
  }
};

// The setup of a session: the image cut into its frames (types 6, 7 and 8), and a record
// packet (type 13) of every instrument.
FrameRun ImageFrames(const feedsim::Universe& u);
FrameRun RecordFrames(const feedsim::Universe& u);

// Picks instruments so that each kind comes as often as any other, every instrument of a kind
// comes once before any of them comes again, and no instrument comes twice in a row (unless it
// is the only one). So quotes spread evenly over the whole table, whatever its size.
class InstrumentDeck {
 public:
  // `*u` must outlive the deck. REQUIRES: u->size() >= 1.
  InstrumentDeck(const feedsim::Universe* u, uint64_t seed);
  size_t Next();

 private:
  const feedsim::Universe* const universe_;
  feedsim::Rng rng_;
  std::vector<std::vector<size_t>> cards_;  // per kind, in the order they come
  std::vector<size_t> next_;                // per kind, the next card
  size_t last_ = SIZE_MAX;
};

enum class QuoteFamily { kFieldList, kPositional };

// One quote packet of one quote of instrument `i`, after a move of its market: a field list
// of what moved, or a positional record (short or whole, half each, as the simulator sends).
ByteString OneQuoteFrame(feedsim::Universe* u, size_t i, QuoteFamily family, feedsim::Rng* rng);

// One field list of a trade of instrument `i` whose volume is `volume`: a benchmark that needs
// to know which quote reached the client reads the volume back.
ByteString TradeFrame(feedsim::Universe* u, size_t i, uint32_t volume, feedsim::Rng* rng);

// The simulator's own stream: packets of one to four quotes of one layout, about one in five
// positional, until they hold at least `quotes` quotes.
FrameRun SessionStream(feedsim::Universe* u, int64_t quotes, uint64_t seed);

}  // namespace quotlink::bench

#endif  // QUOTLINK_BENCH_BENCH_MARKET_H_
