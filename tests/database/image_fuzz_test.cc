// Damaged images: whatever bytes arrive, the reader stays inside them and either accepts a
// consistent database or leaves the old one alone.
#include <gtest/gtest.h>

#include <random>

#include "database/feed_database.h"
#include "tests/database/image_test_util.h"

namespace quotlink {
namespace {

TEST(ImageFuzzTest, TruncatedAndFlippedImagesNeverBreakTheDatabase) {
  ImageLayout layout = SampleLayout();
  layout.databases[1].slots.resize(260, {3, 2, 1});  // past the 256 a record holds
  const ByteString good = WriteImage(layout);
  std::mt19937 rng(7);
  int accepted = 0;
  for (int i = 0; i < 3000; ++i) {
    ByteString image = good;
    for (unsigned flips = rng() % 5; flips > 0; --flips) {
      // Most flips land in the counts and the fixed parts, where they do the most harm.
      const size_t at = rng() % 2 ? rng() % image.size() : 80 + rng() % 300;
      image[at] = static_cast<char>(rng());
    }
    if (rng() % 2) image.resize(rng() % (image.size() + 1));

    FeedDatabase db;
    ASSERT_EQ(ParseFeedImage(good, kVersion, &db, nullptr).kind, ImageParseKind::kAccepted);
    const std::string before = Describe(db);
    const ImageParse result = ParseFeedImage(image, kVersion, &db, [](std::string_view) {});
    if (result.kind != ImageParseKind::kAccepted) {
      ASSERT_EQ(Describe(db), before) << "iteration " << i;
      continue;
    }
    ++accepted;
    for (int32_t d = 1; d <= db.DatabaseCount(); ++d) {
      const DatabaseRec& rec = *db.Database(d);
      const ByteString wire{rec.Key1[3], rec.Key1[2], rec.Key1[1], rec.Key1[0]};
      const int16_t found = FindDatabaseIndex(db, wire);
      ASSERT_GE(found, 1);
      ASSERT_LE(found, d);
      for (int32_t j = 0; j <= 300; ++j)
        (void)rec.Slot(j).kind;
    }
  }
  EXPECT_GT(accepted, 0);  // the loop reached the accepting path too
}

}  // namespace
}  // namespace quotlink
