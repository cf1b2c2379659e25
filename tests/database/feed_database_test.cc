#include "database/feed_database.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/database/image_test_util.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

class FeedDatabaseTest : public ::testing::Test {
 protected:
  ImageParseKind Parse(ByteView image, ByteView version = kVersion) {
    captions_.clear();
    return ParseFeedImage(image, version, &db_,
                          [this](std::string_view c) { captions_.emplace_back(c); })
        .kind;
  }
  void ParseSample() { ASSERT_EQ(Parse(WriteImage(SampleLayout())), ImageParseKind::kAccepted); }

  FeedDatabase db_;
  std::vector<std::string> captions_;
};

// An image built byte by byte, independently of the image writer, holds the reader to the
// documented offsets. Names lose blanks and NULs at both ends; one that starts with NUL is empty.
TEST_F(FeedDatabaseTest, ReadsEachPartAtItsOffset) {
  ByteString raw = kVersion + std::string(76, 'h');
  auto u16 = [&raw](int v) { PutLittle16(&raw, static_cast<uint16_t>(v)); };
  auto text = [&raw](std::string_view t, char pad = ' ') {
    raw += std::string(t) + std::string(40 - t.size(), pad);
  };
  u16(4);  // field names
  text("LAST");
  text("  X PROCESS CODE Y", '\0');
  text("\0LAST"s);
  text("");
  u16(1);  // security types
  u16(7);
  text(" SPOTS\0"s);
  u16(2);  // databases
  ASSERT_EQ(raw.size(), 288u);
  raw += "ABCDEFGH" + std::string(12, 'r');
  u16(30);   // LengthA
  u16(-31);  // LengthB
  raw += std::string(8, 'r');
  u16(0xFFFE);  // SecType, unsigned
  text("FIRST");
  u16(-3);  // CountA, held as read
  u16(3);   // CountB
  for (const auto& s : {std::array{5, 4, 0}, std::array{44, 2, 1}, std::array{2, 3, 9}}) {
    u16(s[0]);
    u16(s[1]);
    raw += "rrrr";
    u16(s[2]);
    raw += "rrrr";
  }
  ASSERT_EQ(raw.size(), 288u + 120u);
  raw += "IJKLMNOP" + std::string(66, 'r');
  u16(0);
  u16(0);

  ASSERT_EQ(Parse(raw), ImageParseKind::kAccepted);
  EXPECT_EQ(std::string(db_.Header().Reserved7, 16), std::string(16, 'h'));
  // Name index 9 lies beyond the names: no name, no kind.
  EXPECT_EQ(Describe(db_).substr(4),
            "|LAST|X PROCESS CODE Y|||7=SPOTS|0,0,7"
            "|ABCDEFGH 30,-31 65534 -3 3 5/4/0/2 44/2/1/0p 2/3/9/0"
            "|IJKLMNOP 29298,29298 29298 0 0");
  const std::vector<std::string> captions = {
      "FIELD NAMES 1 of 4", "FIELD NAMES 2 of 4", "FIELD NAMES 3 of 4", "FIELD NAMES 4 of 4",
      "SEC TYPES 1 of 1",   "END SEC TYPES ",     "DATABASE 1 of 2",    "DATABASE 2 of 2"};
  EXPECT_EQ(captions_, captions);
}

TEST_F(FeedDatabaseTest, IndexesOutOfRangeReadAsEmpty) {
  ParseSample();
  EXPECT_EQ(std::string(db_.FieldName(0)) + std::string(db_.FieldName(4)) +
                std::string(db_.SecTypeName(0)) + std::string(db_.SecTypeName(3)),
            "");
  EXPECT_EQ(db_.SecTypeId(0) + db_.SecTypeId(3), 0);
  EXPECT_EQ(db_.Database(0), nullptr);
  EXPECT_EQ(db_.Database(3), nullptr);
  for (int32_t j : {0, 4, 257, -1, 100000}) {
    const FieldSlot& slot = db_.Database(1)->Slot(j);
    EXPECT_EQ(slot.Format + slot.Length + slot.NameIndex + static_cast<int>(slot.kind), 0) << j;
  }
}

TEST_F(FeedDatabaseTest, OtherVersionsAreRefusedAndLeaveTheOldContents) {
  ParseSample();
  const std::string before = Describe(db_);
  const ByteString reversed("\x01\x00\x03\x09", 4);
  const std::pair<ByteString, ByteString> cases[] = {
      {kVersion, reversed},  // the image's version
      {reversed, kVersion},  // the version asked for
      {kVersion.substr(0, 3), kVersion},
      {kVersion, kVersion.substr(0, 3)},
  };
  for (const auto& [asked, image] : cases) {
    ImageLayout layout;
    layout.version = image;
    layout.field_names = {"OTHER"};
    const ByteString bytes = image.size() == 4 ? WriteImage(layout) : image;
    EXPECT_EQ(Parse(bytes, asked), ImageParseKind::kWrongVersion);
    EXPECT_TRUE(captions_.empty());
    EXPECT_EQ(Describe(db_), before);
  }
}

TEST_F(FeedDatabaseTest, SecurityTypeNumbersCarryOverWhereTheNameIsMissing) {
  ImageLayout first;
  first.sec_types = {{5, "FUTURES   "}, {7, "SPOTS"}, {8, "future_options"}};
  ASSERT_EQ(Parse(WriteImage(first)), ImageParseKind::kAccepted);
  EXPECT_EQ(Describe(db_).substr(4), "|5=FUTURES|7=SPOTS|8=future_options|5,0,7");
  ImageLayout second;
  second.sec_types = {{9, "FUTURE_OPTIONS"}, {3, "SPOTS"}, {4, "SPOTS"}};
  ASSERT_EQ(Parse(WriteImage(second)), ImageParseKind::kAccepted);
  // The later entry of a name wins.
  EXPECT_EQ(Describe(db_).substr(4), "|9=FUTURE_OPTIONS|3=SPOTS|4=SPOTS|5,9,4");
}

TEST_F(FeedDatabaseTest, RecordsOfMoreThan256FieldsKeepTheFirst256) {
  ImageLayout layout = SampleLayout();
  layout.databases[0].slots.clear();
  for (int16_t j = 1; j <= 300; ++j)
    layout.databases[0].slots.push_back({j, 1, 1});
  ASSERT_EQ(Parse(WriteImage(layout)), ImageParseKind::kAccepted);
  const DatabaseRec& big = *db_.Database(1);
  EXPECT_EQ(big.CountB, 300);
  EXPECT_EQ(big.Slot(256).Format, 256);
  EXPECT_EQ(big.Slot(256).kind, FieldKind::kLast);
  EXPECT_EQ(big.Slot(257).Format, 0);
  EXPECT_EQ(std::string(db_.Database(2)->Key1, 4), "LKJI");  // placed behind all 300
  EXPECT_EQ(db_.Database(2)->Slot(1).Format, 48);
}

TEST_F(FeedDatabaseTest, MalformedImagesAreRefusedWhole) {
  const ByteString good = WriteImage(SampleLayout());
  const size_t n_at = 82 + 3 * 40;
  const size_t d_at = n_at + 2 + 2 * 42;
  const size_t count_b_at = d_at + 2 + image_format::kDbCountBOffset;
  const struct {
    const char* what;
    size_t at;
    int value;
  } cases[] = {
      {"negative F", 80, -1},
      {"F beyond the image", 80, 1000},
      {"negative N", n_at, -2},
      {"N beyond the image", n_at, 300},
      {"negative D", d_at, -32768},
      {"D beyond the image", d_at, 3},
      {"negative CountB", count_b_at, -1},
      {"CountB beyond the image", count_b_at, 400},
  };
  ParseSample();
  const std::string before = Describe(db_);
  for (const auto& c : cases) {
    ByteString bad = good;
    bad[c.at] = static_cast<char>(c.value & 0xFF);
    bad[c.at + 1] = static_cast<char>((c.value >> 8) & 0xFF);
    const ImageParse result = ParseFeedImage(bad, kVersion, &db_, nullptr);
    EXPECT_EQ(result.kind, ImageParseKind::kMalformed) << c.what;
    EXPECT_FALSE(result.reason.empty()) << c.what;
    EXPECT_EQ(Describe(db_), before) << c.what;
  }
  for (size_t size = 4; size < good.size(); ++size)
    EXPECT_EQ(Parse(good.substr(0, size)), ImageParseKind::kMalformed) << size;
  EXPECT_EQ(Describe(db_), before);
}

TEST_F(FeedDatabaseTest, KeysArePacketOrderReversedAndTheFirstRecordWins) {
  ImageLayout layout;
  const char* keys[][2] = {
      {"DCBA", "1111"}, {"2222", "DCBA"},  // the first by Key1, the second by Key2
      {"5555", "QQQQ"}, {"QQQQ", "6666"},  // the first by Key2, the second by Key1
      {"ZYXW", "ZYXW"}, {"ABCD", "7777"},
  };
  for (const auto& k : keys)
    layout.databases.push_back({.key1 = k[0], .key2 = k[1]});
  layout.databases.push_back({.key1 = "\x00\xFF\x80\x01"s, .key2 = "8888"});
  ASSERT_EQ(Parse(WriteImage(layout)), ImageParseKind::kAccepted);
  const std::pair<ByteString, int16_t> cases[] = {
      {"ABCD", 1}, {"QQQQ", 3},  {"WXYZ", 5}, {"DCBA", 6},   {"1111", 1},
      {"6666", 4}, {"NONE", -1}, {"ABC", -1}, {"ABCDE", -1}, {"\x01\x80\xFF\x00"s, 7},
  };
  for (const auto& [wire, want] : cases)
    EXPECT_EQ(FindDatabaseIndex(db_, wire), want) << wire;
  EXPECT_EQ(FindDatabaseIndex(FeedDatabase(), "ABCD"), -1);
}

}  // namespace
}  // namespace quotlink
