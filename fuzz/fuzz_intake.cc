// The feed's bytes into a whole feeder: the image accepted, quotes on, a few symbols watched.
//
// Input: a count byte (1 to 16 pieces), then for each piece a path byte (odd: a UDP datagram,
// even: a TCP read) and a 2-byte length (most significant first), then the bytes that the pieces
// cut in turn; the last piece takes whatever is left.
// Checked after every piece: the quote table finds each record by its key and code, and stays
// within its bound.
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "tests/support/feeder_fixture.h"

namespace quotlink::fuzz {
namespace {

struct Piece {
  bool udp;
  size_t length;
};

void Run(const uint8_t* data, size_t size) {
  FeederFixture f;
  if (ParseFeedImage(GoodImage(), kImageVersion, &f.bas.Database(), nullptr).kind !=
      ImageParseKind::kAccepted)
    Fail("the simulator's image was refused");
  f.bas.Link().FeedVerified = 1;
  f.bas.Link().QuotesEnabled = 1;
  f.tcp.RaiseConnect();
  // Every other instrument is watched: quotes of the rest must leave the table alone.
  const feedsim::Universe& u = DefaultUniverse();
  for (size_t i = 0; i < u.size(); i += 2)
    f.frm.DTNSYMBOLS.Add(u.at(i).symbol);

  Input in(data, size);
  std::vector<Piece> pieces(in.Byte() % 16 + 1);
  for (Piece& p : pieces) {
    p.udp = in.Byte() % 2 == 1;
    p.length = in.Be16();
  }
  for (size_t i = 0; i < pieces.size(); ++i) {
    const ByteView bytes = i + 1 < pieces.size() ? in.Take(pieces[i].length) : in.Rest();
    // A millisecond between pieces, so that each one is an event of its own for the link.
    f.clock.Advance(1);
    (pieces[i].udp ? f.udp : f.tcp).Arrive(bytes);
    CheckTable(f.bas.Quotes().Simbolos);
  }
}

}  // namespace
}  // namespace quotlink::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quotlink::fuzz::Run(data, size);
  return 0;
}
