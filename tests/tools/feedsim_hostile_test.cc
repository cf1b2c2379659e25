// The simulator's hostile modes: the command line that picks them, and the bytes they put on
// the wire, which must be the misbehaviour they name and nothing milder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "link/frame_format.h"
#include "tools/feedsim/hostile.h"
#include "tools/feedsim/options.h"
#include "tools/feedsim/sim_format.h"
#include "tools/feedsim/wire_frames.h"

namespace quotlink::feedsim {
namespace {

TEST(FeedsimHostile, EveryModeIsPickedByItsNameAndAStrangeNameListsThem) {
  const struct {
    const char* name;
    HostileMode mode;
  } cases[] = {
      {"huge-lengths", HostileMode::kHugeLengths},
      {"no-marker", HostileMode::kNoMarker},
      {"trickle", HostileMode::kTrickle},
      {"endless-image", HostileMode::kEndlessImage},
      {"reset-mid-image", HostileMode::kResetMidImage},
      {"never-read", HostileMode::kNeverRead},
  };
  for (const auto& c : cases) {
    SimOptions o;
    std::string error;
    ASSERT_EQ(ParseOptions({"--hostile", c.name}, &o, &error), ParseResult::kRun) << error;
    EXPECT_EQ(o.hostile, c.mode) << c.name;
    EXPECT_NE(HelpText().find(std::string(c.name) + ":"), std::string::npos) << c.name;
  }
  for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
           {"--hostile", "Trickle"}, {"--hostile=huge"}, {"--hostile"}}) {
    SimOptions o;
    std::string error;
    EXPECT_EQ(ParseOptions(args, &o, &error), ParseResult::kError) << args.back();
    EXPECT_NE(error.find("--hostile"), std::string::npos) << error;
  }
  SimOptions o;
  std::string error;
  ParseOptions({"--hostile", "x"}, &o, &error);
  EXPECT_NE(error.find("never-read"), std::string::npos) << error;
}

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
