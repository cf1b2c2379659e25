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

TEST(SimboloTableTest, AddAcceptsOrRefusesBySymbolAndWatchList) {
  // Symbol, the watch list's answer, accepted: the first character as given, '0' to '~'.
  const std::tuple<std::string, int32_t, bool> cases[] = {
      {"0X", 1, true},    {"~X", 1, true}, {"/X", 1, false},  {"\x7FX", 1, false},
      {" IBM", 1, false}, {"", 1, false},  {"IBM", 0, false},
  };
  for (const auto& [symbol, on_list, accepted] : cases) {
    SimboloTable t;
    const int32_t got = t.Add("KEY2", 7, symbol, [on = on_list](std::string_view) { return on; });
    EXPECT_EQ(got, accepted ? 1 : -1) << symbol;
    EXPECT_EQ(t.Find("KEY2", 7), got) << symbol;
  }
  // The watch list is asked for the cleaned symbol; both texts are cut or blank-filled.
  SimboloTable t;
  std::string asked;
  const auto list = [&](std::string_view s) { return asked = s, 4; };
  ASSERT_EQ(t.Add("\x01\0a"s, -3, "ABCDEFGHIJKLMNOP \0 "s, list), 1);
  EXPECT_EQ(asked, "ABCDEFGHIJKLMNOP");
  const SimboloRec& r = t.at(1);
  EXPECT_EQ(std::string(r.Simbolo, 12) + std::string(r.DatabaseKey, 4), "ABCDEFGHIJKL\x01\0a "s);
  EXPECT_EQ(CleanSymbol("\0IBM"s), "");  // a leading NUL means never written
}

// Few keys and codes so that pairs repeat; binary bytes, a case difference, wrong lengths.
TEST(SimboloTableTest, FindAgreesWithWalkThroughGrowthReplaceAllAndNewIdentities) {
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
  t.Store(1, Rec("aaaa", -2));
  t.Merge(2, Rec("AAAA", 1));
  t.at(3).SymbolCode = 300;
  t.Reindex();
  for (const std::string& key : keys) {
    for (int32_t code = -2; code <= 300; ++code)
      ASSERT_EQ(t.Find(key, code), WalkFind(t, key, code)) << key << " " << code;
  }
}

// Beyond the limit records are dropped; neither Find nor the caption of its result allocates.
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
  FormatFindCaption(&caption, "SYM", 0);
  EXPECT_EQ(caption, "SYM  0");  // a blank of its own where a sign would stand
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
      {"first price", {5, 0, 0, 0, 0, 0}, {5, 8, 0, 0, 0, 0}, {5, 8, 0, 0, 8, 8}},
      {"last 0, range below 0", {5, 0, 0, 0, 0, 0}, {5, 0, 0, 0, -2, -3}, {5, 0, 0, 0, -2, -3}},
      {"own high and low", {5, 0, 0, 0, 0, 0}, {5, 12, 0, 0, 10, 13}, {5, 12, 0, 0, 12, 12}},
      {"inside the range", {5, 0, 0, 0, 0, 0}, {5, .5, 0, 0, 1, .25}, {5, .5, 0, 0, 1, .25}},
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
