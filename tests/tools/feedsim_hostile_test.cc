// The simulator's hostile modes: the bytes they put on the wire must be the misbehaviour they
// name and nothing milder (the soak run picks each by its name).
#include <gtest/gtest.h>

#include <string>

#include "link/frame_format.h"
#include "tools/feedsim/hostile.h"
#include "tools/feedsim/sim_format.h"
#include "tools/feedsim/wire_frames.h"

namespace quotlink::feedsim {
namespace {

TEST(FeedsimHostile, TheBytesAreTheMisbehaviourTheyName) {
  // A header alone that claims the largest body.
  const ByteString huge = HugeLengthHeader();
  ASSERT_EQ(huge.size(), kFrameHeaderSize);
  EXPECT_EQ(ByteAt(huge, 0), kFrameMarker);
  EXPECT_EQ(BodyLengthAt(huge, 0), static_cast<int32_t>(kLargestBody));

  // Not one marker in a long run, whatever the random bytes.
  Rng rng(7);
  const ByteString noise = NoMarkerBytes(&rng, 200000);
  ASSERT_EQ(noise.size(), 200000u);
  EXPECT_EQ(noise.find(static_cast<char>(kFrameMarker)), ByteString::npos);

  // A whole middle piece of an image, as large as a frame gets, so that an endless image grows
  // as fast as the link allows.
  const ByteString piece = EndlessImagePiece();
  EXPECT_EQ(ByteAt(piece, 1), kTypeImagePiece);
  EXPECT_EQ(BodyLengthAt(piece, 0), static_cast<int32_t>(kLargestBody));
  EXPECT_EQ(piece.size(), kLargestBody + kFrameOverhead);
}

}  // namespace
}  // namespace quotlink::feedsim
