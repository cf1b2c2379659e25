#include "quotes/simbolo_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <tuple>

#include "tests/support/alloc_counter.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

const auto OnList = [](std::string_view) { return 1; };

SimboloRec Rec(ByteView key, int32_t code) {
  SimboloRec r = ZeroSimboloRec();
  std::memcpy(r.DatabaseKey, key.data(), 4);
  r.SymbolCode = code;
  return r;
}

// What a walk from record 1 finds: the answer the index must give.
int32_t WalkFind(const SimboloTable& t, ByteView key, int32_t code) {
  for (int32_t i = 1; key.size() == 4 && i <= t.size(); ++i) {
    if (ByteView(t.at(i).DatabaseKey, 4) == key && t.at(i).SymbolCode == code) return i;
  }
  return -1;
}

TEST(CleanSymbolTest, TakesBlanksAndNulsOffBothEnds) {
  // A leading NUL means never written; high bytes and tabs are characters, not edges.
  const std::pair<std::string, std::string> cases[] = {
      {"  IBM  ", "IBM"},     {std::string(12, ' '), ""}, {"\0IBM"s, ""},
      {" \0 IBM"s, "IBM"},    {"IBM\0 \0  \0"s, "IBM"},   {"\xFFX\x80", "\xFFX\x80"},
      {"\tIBM\t", "\tIBM\t"},
  };
  for (const auto& [in, out] : cases)
    EXPECT_EQ(CleanSymbol(in), out) << "input of " << in.size() << " bytes: " << in;
}

TEST(SimboloTableTest, AddAcceptsOrRefusesBySymbolAndWatchList) {
  const struct {
    std::string symbol;
    int32_t on_list;  // what the watch list answers
    bool accepted;
  } cases[] = {
      {"IBM", 1, true},     {"~X", 1, true},    {"0X", 1, true},   {"\x7FX", 1, false},
      {"/X", 1, false},     {" IBM", 1, false},  // the first character as given, not cleaned
      {"\0IBM"s, 1, false}, {"", 1, false},     {"IBM", 0, false},
  };
  for (const auto& c : cases) {
    SimboloTable t;
    ASSERT_EQ(t.Add("KEY1", 9, "OLD", OnList), 1);
    const int32_t got = t.Add("KEY2", 7, c.symbol, [&](std::string_view) { return c.on_list; });
    EXPECT_EQ(got, c.accepted ? 2 : -1) << c.symbol;
    EXPECT_EQ(t.size(), c.accepted ? 2 : 1) << c.symbol;
    EXPECT_EQ(t.Find("KEY2", 7), got) << c.symbol;
  }
}

TEST(SimboloTableTest, AddAsksWatchListForCleanedSymbolAndFillsNewRecord) {
  SimboloTable t;
  std::string asked;
  const auto list = [&](std::string_view s) { return asked = s, 4; };
  ASSERT_EQ(t.Add("\x01\0a"s, -3, "ABCDEFGHIJKLMNOP  ", list), 1);
  EXPECT_EQ(asked, "ABCDEFGHIJKLMNOP");
  const SimboloRec& r = t.at(1);
  // Both texts cut to length or blank-filled, key bytes as they are.
  EXPECT_EQ(std::string(r.Simbolo, 12) + std::string(r.DatabaseKey, 4), "ABCDEFGHIJKL\x01\0a "s);
  EXPECT_EQ(r.SymbolCode, -3);
  EXPECT_EQ(r.ProcessCode, 0);  // everything else zero, the "unknown" markers included
}

// Few keys and codes, so that pairs repeat (the first record keeps the pair); binary bytes, a
// case difference, and keys of the wrong length.
TEST(SimboloTableTest, FindAgreesWithWalkThroughGrowthAndReplaceAll) {
  std::mt19937 rng(20240601);
  const std::string keys[] = {"AAAA", "AAAB", "\0\0\0\0"s, "\xFF\xFF\xFF\xFF",
                              "aaaa", "AAA",  "AAAAB"};
  std::uniform_int_distribution<int> pick_key(0, 4);
  std::uniform_int_distribution<int32_t> pick_code(-2, 300);

  SimboloTable t;
  EXPECT_EQ(t.Find("AAAA", 1), -1);
  for (int n = 0; n < 2000; ++n) {
    ASSERT_GE(t.Add(keys[pick_key(rng)], pick_code(rng), "S", OnList), 1);
    const std::string& key = keys[pick_key(rng)];
    const int32_t code = pick_code(rng);
    ASSERT_EQ(t.Find(key, code), WalkFind(t, key, code)) << "after " << t.size() << " records";
  }

  std::vector<SimboloRec> shuffled;
  for (int32_t i = 1; i <= t.size(); ++i)
    shuffled.push_back(t.at(i));
  std::shuffle(shuffled.begin(), shuffled.end(), rng);
  shuffled.resize(700);
  t.ReplaceAll(shuffled);
  for (const std::string& key : keys) {
    for (int32_t code = -2; code <= 300; ++code)
      ASSERT_EQ(t.Find(key, code), WalkFind(t, key, code)) << key << " " << code;
  }
}

TEST(SimboloTableTest, StoreMergeAndReindexKeepIndexRightWhenIdentityChanges) {
  SimboloTable t;
  t.ReplaceAll({Rec("KKKK", 1), Rec("KKKK", 2), Rec("KKKK", 1)});
  ASSERT_EQ(t.Find("KKKK", 1), 1);
  t.Store(1, Rec("NNNN", 5));
  EXPECT_EQ(t.Find("NNNN", 5), 1);
  EXPECT_EQ(t.Find("KKKK", 1), 3);  // the next record with the old pair takes over
  t.Merge(2, Rec("KKKK", 1));
  EXPECT_EQ(t.Find("KKKK", 1), 2);
  EXPECT_EQ(t.Find("KKKK", 2), -1);
  t.at(3).SymbolCode = 9;
  t.Reindex();
  EXPECT_EQ(t.Find("KKKK", 9), 3);
}

// A full table: the records beyond the limit are dropped, and neither Find nor the caption of
// its result allocates.
TEST(SimboloTableTest, HoldsAtMost32767RecordsAndFindsWithoutAllocating) {
  constexpr int32_t kMax = SimboloTable::kMaxRecords;
  std::vector<SimboloRec> many;
  for (int32_t i = 0; i < kMax + 5; ++i)
    many.push_back(Rec("KEYS", i));
  SimboloTable t;
  t.ReplaceAll(many);
  ASSERT_EQ(t.size(), kMax);
  EXPECT_EQ(t.Add("NEW1", 1, "IBM", OnList), -1);
  std::string caption = "leftover text";
  caption.reserve(64);
  const int64_t before = AllocationCount();
  int32_t wrong = 0;
  for (int32_t code = -5; code < kMax + 5; ++code)
    wrong += t.Find("KEYS", code) != (code >= 0 && code < kMax ? code + 1 : -1);
  // A result that isn't negative has a blank of its own where a sign would stand.
  const std::pair<int32_t, std::string_view> captions[] = {
      {5, "SYM  5"}, {0, "SYM  0"}, {-1, "SYM -1"}, {INT32_MIN, "SYM -2147483648"}};
  for (const auto& [result, want] : captions) {
    FormatFindCaption(&caption, "SYM", result);
    EXPECT_EQ(caption, want);
  }
  EXPECT_EQ(AllocationCount() - before, 0);
  EXPECT_EQ(wrong, 0);
}

TEST(MergeSimboloTest, FollowsNewDayAndRangeRules) {
  // Vol, Last, Previous, OpenV, High, Low.
  using Prices = std::tuple<float, float, float, float, float, float>;
  const auto prices = [](SimboloRec& r) {
    return std::tie(r.Vol, r.Last, r.Previous, r.OpenV, r.High, r.Low);
  };
  const struct {
    const char* name;
    Prices stored, incoming, want;  // want: stored after the merge
  } cases[] = {
      {"new day", {5000, 10, 9, 9, 12, 8}, {100, 11, 9, 9, 12, 8}, {100, 11, 10, 11, 11, 11}},
      {"equal volume", {500, 10, 9, 9, 11, 9}, {500, 12, 7, 8, 11, 9}, {500, 12, 7, 8, 12, 9}},
      {"last 0 keeps range", {5, 0, 0, 0, 0, 0}, {5, 0, 1, 1, 15, 3}, {5, 0, 1, 1, 15, 3}},
      {"last 0, no high", {5, 0, 0, 0, 0, 0}, {5, 0, 1, 1, 0, 0}, {5, 0, 1, 1, 0, 0}},
      {"first price", {5, 0, 0, 0, 0, 0}, {5, 8, 0, 0, 0, 0}, {5, 8, 0, 0, 8, 8}},
      {"last 0, range below 0", {5, 0, 0, 0, 0, 0}, {5, 0, 0, 0, -2, -3}, {5, 0, 0, 0, -2, -3}},
      {"own high and low", {5, 0, 0, 0, 0, 0}, {5, 12, 0, 0, 10, 13}, {5, 12, 0, 0, 12, 12}},
  };
  for (const auto& c : cases) {
    SimboloRec stored = Rec("KKKK", 1), incoming = Rec("KKKK", 1);
    prices(stored) = c.stored;
    prices(incoming) = c.incoming;
    incoming.Bid = 77;
    MergeSimbolo(incoming, stored);
    EXPECT_EQ(Prices(prices(stored)), c.want) << c.name;
    EXPECT_EQ(stored.Bid, 77) << c.name;  // the rest of the update is copied as it is
  }
}

}  // namespace
}  // namespace quotlink
