#include "database/feed_database.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tools/imagegen/image_writer.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

const ByteString kVersion("\x09\x03\x00\x01", 4);

// Three field names, two security types, and two databases: the first of 260 fields, more than
// a record holds, so that the second sits behind entries the reader must step over.
ImageLayout SampleLayout() {
  ImageLayout layout;
  layout.field_names = {"SYMBOL", "LAST", "PROCESS CODE"};
  layout.sec_types = {{5, "FUTURES"}, {6, "EQUITY"}};
  layout.databases = {{.key1 = "DCBA", .key2 = "HGFE", .sec_type = 5, .count_a = 1},
                      {.key1 = "LKJI", .key2 = "PONM", .sec_type = 6, .count_a = 2}};
  layout.databases[0].slots = {{0, 12, 0}, {2, 4, 1}};
  layout.databases[0].slots.resize(260, {3, 2, 1});
  layout.databases[1].slots = {{48, 1, 2}, {0, 12, 0}, {13, 3, 1}};
  return layout;
}

// Everything a parse may set, as text.
std::string Describe(const FeedDatabase& db) {
  using std::to_string;
  std::string out(db.Header().Version, 4);
  for (int32_t i = 1; i <= db.FieldNameCount(); ++i)
    out += "|" + std::string(db.FieldName(i));
  for (int32_t i = 1; i <= db.SecTypeCount(); ++i)
    out += "|" + to_string(db.SecTypeId(i)) + "=" + std::string(db.SecTypeName(i));
  const SecTypes& t = db.SecTypeNumbers();
  out += "|" + to_string(t.FuturesSecType) + "," + to_string(t.FutureOptionsSecType) + "," +
         to_string(t.SpotsSecType);
  for (int32_t i = 1; i <= db.DatabaseCount(); ++i) {
    const DatabaseRec& r = *db.Database(i);
    out += "|" + std::string(r.Key1, 4) + std::string(r.Key2, 4) + " " + to_string(r.LengthA) +
           "," + to_string(r.LengthB) + " " + to_string(r.SecType) + " " + to_string(r.CountA) +
           " " + to_string(r.CountB);
    for (int32_t j = 1; j <= r.CountB && j <= 256; ++j) {
      const FieldSlot& s = r.Slot(j);
      out += " " + to_string(s.Format) + "/" + to_string(s.Length) + "/" + to_string(s.NameIndex) +
             "/" + to_string(static_cast<int>(s.kind)) + (s.process_code ? "p" : "");
    }
  }
  return out;
}

// A 16-bit number as the image holds it.
ByteString Le16(int v) {
  ByteString b;
  PutLittle16(&b, static_cast<uint16_t>(v));
  return b;
}

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
  auto text = [](std::string_view t, char pad = ' ') {
    return std::string(t) + std::string(40 - t.size(), pad);
  };
  auto slot = [](int format, int length, int name_index) {
    return Le16(format) + Le16(length) + "rrrr" + Le16(name_index) + "rrrr";
  };
  // Four field names, one security type, two databases.
  ByteString raw = kVersion + std::string(76, 'h') + Le16(4) + text("LAST") +
                   text("  X PROCESS CODE Y", '\0') + text("\0LAST"s) + text("");
  raw += Le16(1) + Le16(7) + text(" SPOTS\0"s) + Le16(2);
  // LengthA, LengthB, SecType (unsigned), CountA (held as read), CountB, then the slots.
  raw += "ABCDEFGH" + std::string(12, 'r') + Le16(30) + Le16(-31) + std::string(8, 'r') +
         Le16(0xFFFE) + text("FIRST") + Le16(-3) + Le16(3) + slot(5, 4, 0) + slot(44, 2, 1) +
         slot(2, 3, 9);
  raw += "IJKLMNOP" + std::string(66, 'r') + Le16(0) + Le16(0);

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

TEST_F(FeedDatabaseTest, SecurityTypeNumbersCarryOverWhereTheNameIsMissing) {
  ASSERT_EQ(
      Parse(WriteImage({.sec_types = {{5, "FUTURES   "}, {7, "SPOTS"}, {8, "future_options"}}})),
      ImageParseKind::kAccepted);
  EXPECT_EQ(Describe(db_).substr(4), "|5=FUTURES|7=SPOTS|8=future_options|5,0,7");
  ASSERT_EQ(Parse(WriteImage({.sec_types = {{9, "FUTURE_OPTIONS"}, {3, "SPOTS"}, {4, "SPOTS"}}})),
            ImageParseKind::kAccepted);
  // The later entry of a name wins.
  EXPECT_EQ(Describe(db_).substr(4), "|9=FUTURE_OPTIONS|3=SPOTS|4=SPOTS|5,9,4");
}

// Entries beyond the 256 a record holds are stepped over, and the next record follows them.
// Indexes outside the lists read as empty rather than out of range.
TEST_F(FeedDatabaseTest, RecordsKeepTheFirst256FieldsAndIndexesOutsideReadAsEmpty) {
  ParseSample();
  const DatabaseRec& big = *db_.Database(1);
  EXPECT_EQ(big.CountB, 260);
  EXPECT_EQ(big.Slot(256).Format, 3);
  EXPECT_EQ(big.Slot(256).kind, FieldKind::kLast);
  EXPECT_EQ(big.Slot(257).Format, 0);
  EXPECT_EQ(std::string(db_.Database(2)->Key1, 4), "LKJI");
  EXPECT_EQ(db_.Database(2)->Slot(1).Format, 48);
  EXPECT_EQ(std::string(db_.FieldName(0)) + std::string(db_.FieldName(4)) +
                std::string(db_.SecTypeName(0)) + std::string(db_.SecTypeName(3)),
            "");
  EXPECT_EQ(db_.SecTypeId(0) + db_.SecTypeId(3), 0);
  EXPECT_EQ(db_.FieldName(3), "PROCESS CODE");  // the last one is still in range
  EXPECT_TRUE(db_.Database(0) == nullptr && db_.Database(3) == nullptr);
  for (int32_t j : {0, 4, 257, -1, 100000}) {
    const FieldSlot& s = db_.Database(2)->Slot(j);
    EXPECT_EQ(s.Format + s.Length + s.NameIndex + static_cast<int>(s.kind), 0) << j;
  }
}

TEST_F(FeedDatabaseTest, RefusedImagesLeaveTheOldContents) {
  const ByteString good = WriteImage(SampleLayout());
  const ByteString reversed("\x01\x00\x03\x09", 4);
  // The good image with the 16-bit count at `at` set to `v`.
  auto patched = [&good](size_t at, int v) { return ByteString(good).replace(at, 2, Le16(v)); };
  const size_t n_at = 82 + 3 * 40;
  const size_t d_at = n_at + 2 + 2 * 42;
  const size_t count_b_at = d_at + 2 + image_format::kDbCountBOffset;
  constexpr auto kWrong = ImageParseKind::kWrongVersion;
  constexpr auto kBad = ImageParseKind::kMalformed;
  const struct {
    const char* what;
    ByteString image, asked;
    ImageParseKind want;
  } cases[] = {
      {"the image's version", reversed + good.substr(4), kVersion, kWrong},
      {"the version asked for", good, reversed, kWrong},
      {"a short version asked for", good, kVersion.substr(0, 3), kWrong},
      {"a short image", kVersion.substr(0, 3), kVersion, kWrong},
      {"negative F", patched(80, -1), kVersion, kBad},
      {"F beyond the image", patched(80, 1000), kVersion, kBad},
      {"negative N", patched(n_at, -2), kVersion, kBad},
      {"N beyond the image", patched(n_at, 300), kVersion, kBad},
      {"negative D", patched(d_at, -32768), kVersion, kBad},
      {"D beyond the image", patched(d_at, 3), kVersion, kBad},
      {"negative CountB", patched(count_b_at, -1), kVersion, kBad},
      {"CountB beyond the image", patched(count_b_at, 400), kVersion, kBad},
  };
  ParseSample();
  const std::string before = Describe(db_);
  for (const auto& c : cases) {
    const ImageParse result = ParseFeedImage(c.image, c.asked, &db_, nullptr);
    EXPECT_EQ(result.kind, c.want) << c.what;
    EXPECT_FALSE(result.reason.empty()) << c.what;
    EXPECT_EQ(Describe(db_), before) << c.what;
  }
  for (size_t size = 4; size < good.size(); ++size)
    EXPECT_EQ(Parse(good.substr(0, size)), kBad) << size;
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
}

// Damaged images: whatever bytes arrive, the reader stays inside them and either accepts a
// consistent database or leaves the old one alone.
TEST(ImageFuzzTest, TruncatedAndFlippedImagesNeverBreakTheDatabase) {
  const ByteString good = WriteImage(SampleLayout());
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
