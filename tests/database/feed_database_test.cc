#include "database/feed_database.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/database/image_test_util.h"

namespace quotlink {
namespace {

// Builds an image byte by byte, independently of the image writer, to hold the reader to the
// documented offsets.
struct RawImage {
  ByteString bytes;
  void U16(int v) { PutLittle16(&bytes, static_cast<uint16_t>(v)); }
  void Text(std::string_view text, size_t width) {
    bytes.append(text);
    bytes.append(width - text.size(), ' ');
  }
  void Fill(size_t n, char c) { bytes.append(n, c); }
};

class FeedDatabaseTest : public ::testing::Test {
 protected:
  ImageParseKind Parse(ByteView image, ByteView version = kVersion) {
    captions_.clear();
    const ImageParse result = ParseFeedImage(
        image, version, &db_, [this](std::string_view c) { captions_.emplace_back(c); });
    return result.kind;
  }
  void ParseSample() { ASSERT_EQ(Parse(WriteImage(SampleLayout())), ImageParseKind::kAccepted); }

  FeedDatabase db_;
  std::vector<std::string> captions_;
};

TEST_F(FeedDatabaseTest, ReadsEachPartAtItsOffset) {
  RawImage raw;
  raw.bytes = kVersion;
  raw.Fill(76, 'h');
  raw.U16(2);  // F
  raw.Text("LAST", 40);
  raw.Text("X PROCESS CODE Y", 40);
  raw.U16(1);  // N
  raw.U16(7);
  raw.Text("SPOTS", 40);
  raw.U16(2);  // D
  ASSERT_EQ(raw.bytes.size(), 208u);
  raw.bytes += "ABCDEFGH";
  raw.Fill(12, 'r');
  raw.U16(30);   // LengthA
  raw.U16(-31);  // LengthB
  raw.Fill(8, 'r');
  raw.U16(0xFFFE);  // SecType, unsigned
  raw.Text("FIRST", 40);
  raw.U16(-3);  // CountA, held as read
  raw.U16(3);   // CountB
  const int slots[3][3] = {{5, 4, 0}, {44, 2, 1}, {2, 3, 9}};
  for (const auto& s : slots) {
    raw.U16(s[0]);
    raw.U16(s[1]);
    raw.Fill(4, 'r');
    raw.U16(s[2]);
    raw.Fill(4, 'r');
  }
  ASSERT_EQ(raw.bytes.size(), 208u + 120u);
  raw.bytes += "IJKLMNOP";
  raw.Fill(66, 'r');
  raw.U16(0);
  raw.U16(0);

  ASSERT_EQ(Parse(raw.bytes), ImageParseKind::kAccepted);
  EXPECT_EQ(std::string(db_.Header().Reserved7, 16), std::string(16, 'h'));
  EXPECT_EQ(db_.FieldName(2), "X PROCESS CODE Y");
  EXPECT_EQ(db_.SecTypeNumbers().SpotsSecType, 7);
  ASSERT_EQ(db_.DatabaseCount(), 2);
  const DatabaseRec& first = *db_.Database(1);
  EXPECT_EQ(std::string(first.Key1, 4) + std::string(first.Key2, 4), "ABCDEFGH");
  EXPECT_EQ(first.LengthA, 30);
  EXPECT_EQ(first.LengthB, -31);
  EXPECT_EQ(first.SecType, 0xFFFE);
  EXPECT_EQ(std::string(first.Name, 5), "FIRST");
  EXPECT_EQ(first.CountA, -3);
  EXPECT_EQ(first.CountB, 3);
  EXPECT_EQ(first.Slot(1).Format, 5);
  EXPECT_EQ(first.Slot(1).Length, 4);
  EXPECT_EQ(first.Slot(1).kind, FieldKind::kLast);
  EXPECT_FALSE(first.Slot(1).process_code);
  EXPECT_EQ(first.Slot(2).Format, 44);
  EXPECT_TRUE(first.Slot(2).process_code);
  EXPECT_EQ(first.Slot(3).NameIndex, 9);  // beyond the names: no name, no kind
  EXPECT_EQ(first.Slot(3).kind, FieldKind::kNone);
  EXPECT_EQ(first.Slot(4).Length, 0);
  EXPECT_EQ(std::string(db_.Database(2)->Key1, 4), "IJKL");
  EXPECT_EQ(db_.Database(2)->CountB, 0);
}

TEST_F(FeedDatabaseTest, IndexesOutOfRangeReadAsEmpty) {
  ParseSample();
  EXPECT_EQ(db_.FieldName(0), "");
  EXPECT_EQ(db_.FieldName(4), "");
  EXPECT_EQ(db_.SecTypeName(3), "");
  EXPECT_EQ(db_.SecTypeId(-1), 0);
  EXPECT_EQ(db_.Database(0), nullptr);
  EXPECT_EQ(db_.Database(3), nullptr);
  for (int32_t j : {0, 4, 256, 257, -1, 100000}) {
    const FieldSlot& slot = db_.Database(1)->Slot(j);
    EXPECT_EQ(slot.Format + slot.Length + slot.NameIndex, 0) << j;
    EXPECT_EQ(slot.kind, FieldKind::kNone) << j;
  }
}

TEST_F(FeedDatabaseTest, CaptionsFollowTheParse) {
  ParseSample();
  const std::vector<std::string> want = {
      "FIELD NAMES 1 of 3", "FIELD NAMES 2 of 3", "FIELD NAMES 3 of 3", "SEC TYPES 1 of 2",
      "SEC TYPES 2 of 2",   "END SEC TYPES ",     "DATABASE 1 of 2",    "DATABASE 2 of 2"};
  EXPECT_EQ(captions_, want);
  EXPECT_EQ(ParseFeedImage(WriteImage(SampleLayout()), kVersion, &db_, nullptr).kind,
            ImageParseKind::kAccepted);
}

TEST_F(FeedDatabaseTest, VersionMustMatchByteForByte) {
  struct Case {
    ByteString asked, image;
    bool accepted;
  };
  const Case cases[] = {
      {kVersion, kVersion, true},
      {kVersion, ByteString("\x01\x00\x03\x09", 4), false},
      {ByteString("\x09\x03\x00\x02", 4), kVersion, false},
  };
  for (const Case& c : cases) {
    ImageLayout layout = SampleLayout();
    layout.version = c.image;
    FeedDatabase fresh;
    EXPECT_EQ(ParseFeedImage(WriteImage(layout), c.asked, &fresh, nullptr).kind,
              c.accepted ? ImageParseKind::kAccepted : ImageParseKind::kWrongVersion);
    EXPECT_EQ(fresh.DatabaseCount(), c.accepted ? 2 : 0);
  }
  EXPECT_EQ(Parse(ByteString("\x09\x03\x00", 3)), ImageParseKind::kWrongVersion);
}

TEST_F(FeedDatabaseTest, RefusedImageLeavesTheOldContents) {
  ParseSample();
  const std::string before = Describe(db_);
  ImageLayout other;
  other.version = ByteString("\x01\x00\x03\x09", 4);
  other.field_names = {"OTHER"};
  EXPECT_EQ(Parse(WriteImage(other)), ImageParseKind::kWrongVersion);
  EXPECT_TRUE(captions_.empty());
  EXPECT_EQ(Describe(db_), before);
}

TEST_F(FeedDatabaseTest, EmptyListsAreAccepted) {
  ParseSample();
  EXPECT_EQ(Parse(WriteImage(ImageLayout())), ImageParseKind::kAccepted);
  EXPECT_EQ(db_.FieldNameCount() + db_.SecTypeCount() + db_.DatabaseCount(), 0);
  EXPECT_EQ(captions_, std::vector<std::string>{"END SEC TYPES "});
  EXPECT_EQ(FindDatabaseIndex(db_, "ABCD"), -1);
}

TEST_F(FeedDatabaseTest, SecurityTypeNumbersCarryOverWhereTheNameIsMissing) {
  ImageLayout first;
  first.sec_types = {{5, "FUTURES   "}, {7, "SPOTS"}, {8, "future_options"}};
  ASSERT_EQ(Parse(WriteImage(first)), ImageParseKind::kAccepted);
  EXPECT_EQ(db_.SecTypeName(1), "FUTURES");
  EXPECT_EQ(db_.SecTypeNumbers().FuturesSecType, 5);
  EXPECT_EQ(db_.SecTypeNumbers().FutureOptionsSecType, 0);

  ImageLayout second;
  second.sec_types = {{9, "FUTURE_OPTIONS"}, {3, "SPOTS"}, {4, "SPOTS"}};
  ASSERT_EQ(Parse(WriteImage(second)), ImageParseKind::kAccepted);
  EXPECT_EQ(db_.SecTypeNumbers().FuturesSecType, 5);
  EXPECT_EQ(db_.SecTypeNumbers().FutureOptionsSecType, 9);
  EXPECT_EQ(db_.SecTypeNumbers().SpotsSecType, 4);  // the later entry wins
  EXPECT_EQ(db_.SecTypeCount(), 3);
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
  struct Case {
    const char* what;
    size_t at;
    int value;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    ByteString bad = good;
    bad[c.at] = static_cast<char>(c.value & 0xFF);
    bad[c.at + 1] = static_cast<char>((c.value >> 8) & 0xFF);
    const ImageParse result = ParseFeedImage(bad, kVersion, &db_, nullptr);
    EXPECT_EQ(result.kind, ImageParseKind::kMalformed) << c.what;
    EXPECT_FALSE(result.reason.empty()) << c.what;
    EXPECT_EQ(Describe(db_), before) << c.what;
  }
  for (size_t size = 4; size < good.size(); ++size) {
    EXPECT_EQ(Parse(good.substr(0, size)), ImageParseKind::kMalformed) << size;
  }
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
  layout.databases.push_back({.key1 = ByteString("\x00\xFF\x80\x01", 4), .key2 = "8888"});
  ASSERT_EQ(Parse(WriteImage(layout)), ImageParseKind::kAccepted);

  const std::pair<ByteString, int16_t> cases[] = {
      {"ABCD", 1},
      {"QQQQ", 3},
      {"WXYZ", 5},
      {"DCBA", 6},
      {"1111", 1},
      {"6666", 4},
      {ByteString("\x01\x80\xFF\x00", 4), 7},
      {"NONE", -1},
      {"ABC", -1},
      {"ABCDE", -1},
      {"", -1},
  };
  for (const auto& [wire, want] : cases)
    EXPECT_EQ(FindDatabaseIndex(db_, wire), want) << wire;
  EXPECT_EQ(FindDatabaseIndex(FeedDatabase(), "ABCD"), -1);
}

TEST(TrimFieldTextTest, DropsBlanksAndNulsAtBothEnds) {
  using namespace std::string_literals;
  const std::pair<std::string, std::string> cases[] = {
      {"LAST" + std::string(36, ' '), "LAST"},
      {"LAST\0"s + std::string(35, ' '), "LAST"},
      {"    LAST" + std::string(32, '\0'), "LAST"},
      {"\0LAST"s, ""},
      {std::string(40, ' '), ""},
      {"ASK SIZE    ", "ASK SIZE"},
      {" A\0B \0"s, "A\0B"s},
      {"", ""},
  };
  for (const auto& [text, want] : cases)
    EXPECT_EQ(TrimFieldText(text), want) << text;
}

}  // namespace
}  // namespace quotlink
