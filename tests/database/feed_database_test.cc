#include "database/feed_database.h"
#include "database/feed_database_text.h"

#include <gtest/gtest.h>

#include <string>

#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

const ByteString kVersion("\x09\x03\x00\x01", 4);

// The first database has 260 fields, more than a record holds: the reader must step over some.
ImageLayout SampleLayout() {
  ImageLayout layout;
  layout.field_names = {"SYMBOL", "LAST", "PROCESS CODE"};
  layout.sec_types = {{5, "FUTURES"}, {6, "FUTURE_OPTIONS"}};
  layout.databases = {{.key1 = "DCBA", .key2 = "HGFE", .sec_type = 5, .count_a = 1},
                      {.key1 = "LKJI", .key2 = "PONM", .sec_type = 6, .count_a = 2}};
  layout.databases[0].slots = {{0, 12, 0}, {2, 4, 1}};
  layout.databases[0].slots.resize(260, {3, 2, 1});
  layout.databases[1].slots = {{48, 1, 2}, {0, 12, 0}, {13, 3, 1}};
  return layout;
}

// A 16-bit number as the image holds it.
ByteString Le16(int v) {
  ByteString b;
  PutLittle16(&b, static_cast<uint16_t>(v));
  return b;
}

class FeedDatabaseTest : public ::testing::Test {
 protected:
  ImageParseKind Parse(ByteView image) {
    return ParseFeedImage(image, kVersion, &db_, nullptr).kind;
  }
  void ParseSample() { ASSERT_EQ(Parse(WriteImage(SampleLayout())), ImageParseKind::kAccepted); }

  FeedDatabase db_;
};

// Built byte by byte, apart from the image writer. Names lose blanks and NULs at both ends; one
// that starts with NUL is empty.
TEST_F(FeedDatabaseTest, ReadsEachPartAtItsOffset) {
  auto text = [](std::string_view t, char pad = ' ') {
    return std::string(t) + std::string(40 - t.size(), pad);
  };
  auto slot = [](int format, int length, int name_index) {
    return Le16(format) + Le16(length) + "rrrr" + Le16(name_index) + "rrrr";
  };
  ByteString raw = kVersion + std::string(76, 'h') + Le16(4) + text("LAST") +
                   text("  X PROCESS CODE Y", '\0') + text("\0LAST"s) + text("");
  raw += Le16(1) + Le16(7) + text(" SPOTS\0"s) + Le16(2);
  // LengthA, LengthB, SecType (unsigned), CountA (held as read), CountB, then the slots.
  raw += "ABCDEFGH" + std::string(12, 'r') + Le16(30) + Le16(-31) + std::string(8, 'r') +
         Le16(0xFFFE) + text("FIRST") + Le16(-3) + Le16(3) + slot(5, 4, 0) + slot(44, 2, 1) +
         slot(2, 3, 9);
  raw += "IJKLMNOP" + std::string(66, 'r') + Le16(0) + Le16(0);

  ASSERT_EQ(Parse(raw), ImageParseKind::kAccepted);
  // Name index 9 lies beyond the names: no name, no kind.
  EXPECT_EQ(DescribeFeedDatabase(db_).substr(4),
            "|LAST|X PROCESS CODE Y|||7=SPOTS|0,0,7"
            "|ABCDEFGH 30,-31 65534 -3 3 5/4/0/2 44/2/1/0p 2/3/9/0"
            "|IJKLMNOP 29298,29298 29298 0 0");
}

// A type the new image doesn't name keeps its number; of two entries of one name the later wins.
TEST_F(FeedDatabaseTest, SecurityTypeNumbersCarryOverWhereTheNameIsMissing) {
  ParseSample();
  ASSERT_EQ(Parse(WriteImage({.sec_types = {{3, "SPOTS"}, {4, "SPOTS"}, {8, "futures"}}})),
            ImageParseKind::kAccepted);
  EXPECT_EQ(DescribeFeedDatabase(db_).substr(4), "|3=SPOTS|4=SPOTS|8=futures|5,6,4");
}

// Indexes outside the lists read as empty rather than out of range.
TEST_F(FeedDatabaseTest, RecordsKeepTheFirst256FieldsAndIndexesOutsideReadAsEmpty) {
  ParseSample();
  const DatabaseRec& big = *db_.Database(1);
  EXPECT_EQ(big.CountB, 260);
  EXPECT_EQ(big.Slot(256).Format, 3);
  EXPECT_EQ(big.Slot(257).Format, 0);
  // Only the slots an image names are held: memory follows the image, not 256 per layout.
  EXPECT_EQ(big.Slots.size(), 257u);
  EXPECT_EQ(db_.Database(2)->Slots.size(), db_.Database(2)->CountB + 1u);
  EXPECT_EQ(std::string(db_.Database(2)->Key1, 4), "LKJI");
  EXPECT_EQ(db_.FieldName(0), "");
  EXPECT_EQ(db_.FieldName(4), "");
  EXPECT_TRUE(db_.Database(0) == nullptr && db_.Database(3) == nullptr);
}

TEST_F(FeedDatabaseTest, RefusedImagesLeaveTheOldContents) {
  const ByteString good = WriteImage(SampleLayout());
  // The count of databases: were -2 let through, the image would pass with no databases at all.
  const size_t d_at = 80 + 2 + 3 * 40 + 2 + 2 * 42;
  ParseSample();
  const std::string before = DescribeFeedDatabase(db_);
  EXPECT_EQ(Parse("\x01\x00\x03\x09"s + good.substr(4)), ImageParseKind::kWrongVersion);
  EXPECT_EQ(ParseFeedImage(good, kVersion.substr(0, 3), &db_, nullptr).kind,
            ImageParseKind::kWrongVersion);
  EXPECT_EQ(Parse(ByteString(good).replace(d_at, 2, Le16(-2))), ImageParseKind::kMalformed);
  for (size_t size = 4; size < good.size(); ++size) {
    const ImageParse result = ParseFeedImage(good.substr(0, size), kVersion, &db_, nullptr);
    EXPECT_EQ(result.kind, ImageParseKind::kMalformed) << size;
    EXPECT_FALSE(result.reason.empty()) << size;
  }
  EXPECT_EQ(DescribeFeedDatabase(db_), before);
}

// Each key is found by its first record, whether it sits there as Key1 or Key2.
TEST_F(FeedDatabaseTest, KeysArePacketOrderReversedAndTheFirstRecordWins) {
  ImageLayout layout;
  layout.databases = {{.key1 = "DCBA", .key2 = "QQQQ"},
                      {.key1 = "QQQQ", .key2 = "DCBA"},
                      {.key1 = "\x00\xFF\x80\x01"s, .key2 = "8888"}};
  ASSERT_EQ(Parse(WriteImage(layout)), ImageParseKind::kAccepted);
  const std::pair<ByteString, int16_t> cases[] = {
      {"ABCD", 1}, {"QQQQ", 1}, {"\x01\x80\xFF\x00"s, 3}, {"NONE", -1}, {"ABC", -1}, {"ABCDE", -1},
  };
  for (const auto& [wire, want] : cases)
    EXPECT_EQ(FindDatabaseIndex(db_, wire), want) << wire;
}

}  // namespace
}  // namespace quotlink
