#include "quotes/simbolo_table.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/alloc_counter.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

const auto OnList = [](std::string_view) { return 1; };
const auto NotOnList = [](std::string_view) { return 0; };

SimboloRec Rec(ByteView key, int32_t code, std::string_view symbol = "SYM") {
  SimboloRec r = ZeroSimboloRec();
  std::memcpy(r.DatabaseKey, key.data(), 4);
  r.SymbolCode = code;
  std::memset(r.Simbolo, ' ', sizeof r.Simbolo);
  std::memcpy(r.Simbolo, symbol.data(), symbol.size());
  return r;
}

// What a walk from record 1 finds: the answer the index must give.
int32_t WalkFind(const SimboloTable& t, ByteView key, int32_t code) {
  for (int32_t i = 1; i <= t.size(); ++i) {
    if (ByteView(t.at(i).DatabaseKey, 4) == key && t.at(i).SymbolCode == code) return i;
  }
  return -1;
}

TEST(CleanSymbolTest, TakesBlanksAndNulsOffBothEnds) {
  const struct {
    std::string in;
    std::string out;
  } cases[] = {
      {"", ""},
      {"  IBM  ", "IBM"},
      {std::string(12, ' '), ""},
      {"\0IBM"s, ""},              // never written: empty whatever follows
      {"IBM\0 \0  \0"s, "IBM"},    // NULs and blanks mixed at the end
      {" \0 IBM"s, "IBM"},         // and at the start
      {"BRK A", "BRK A"},          // inside the text nothing is touched
      {"\xFFX\x80", "\xFFX\x80"},  // high bytes are characters, not "code 0 or less"
      {"\tIBM\t", "\tIBM\t"},      // a tab isn't a blank
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CleanSymbol(c.in), c.out) << "input of " << c.in.size() << " bytes: " << c.in;
  }
}

TEST(SimboloTableTest, AddAcceptsOrRefusesBySymbolAndWatchList) {
  const struct {
    std::string symbol;
    bool on_list;
    bool accepted;
  } cases[] = {
      {"IBM", true, true},    {"~X", true, true},  // 126 is the last accepted first character
      {"0X", true, true},                          // 48 the first
      {"\x7FX", true, false},                      // 127
      {"/X", true, false},                         // 47
      {" IBM", true, false},  // the first character of the text as given, not cleaned
      {"-X", true, false},    {"\0IBM"s, true, false},
      {"", true, false},      {"IBM", false, false},  // nobody asked for it
  };
  for (const auto& c : cases) {
    SimboloTable t;
    ASSERT_EQ(t.Add("KEY1", 9, "OLD", OnList), 1);
    const int32_t got = t.Add("KEY2", 7, c.symbol, c.on_list ? OnList : NotOnList);
    EXPECT_EQ(got, c.accepted ? 2 : -1) << c.symbol;
    EXPECT_EQ(t.size(), c.accepted ? 2 : 1) << c.symbol;
    EXPECT_EQ(t.Find("KEY2", 7), c.accepted ? 2 : -1) << c.symbol;
  }
}

TEST(SimboloTableTest, AddAsksWatchListForCleanedSymbolAndFillsNewRecord) {
  SimboloTable t;
  const std::string key{'\x01', '\0', '\xFF', 'a'};
  std::string asked;
  const int32_t i = t.Add(key, -3, "ABCDEFGHIJKLMNOP  ", [&](std::string_view s) {
    asked = s;
    return 4;
  });
  ASSERT_EQ(i, 1);
  EXPECT_EQ(asked, "ABCDEFGHIJKLMNOP");
  const SimboloRec& r = t.at(1);
  EXPECT_EQ(std::string(r.Simbolo, 12), "ABCDEFGHIJKL");
  EXPECT_EQ(std::string(r.DatabaseKey, 4), key);
  EXPECT_EQ(r.SymbolCode, -3);
  // Everything else is zero, the "unknown" markers of a working record included.
  EXPECT_EQ(r.ProcessCode, 0);
  EXPECT_EQ(r.ChangeFieldDef, 0.0f);

  ASSERT_EQ(t.Add("K", 1, "AB", OnList), 2);
  EXPECT_EQ(std::string(t.at(2).Simbolo, 12), "AB          ");  // blank-filled, not NUL
  EXPECT_EQ(std::string(t.at(2).DatabaseKey, 4), "K   ");
}

TEST(SimboloTableTest, FindComparesKeyBytesExactlyAndCode) {
  SimboloTable t;
  EXPECT_EQ(t.Find("ABCD", 1), -1);  // empty table
  const std::string binary = "\0\x01\xFF\x80"s;
  ASSERT_EQ(t.Add(binary, 7, "A", OnList), 1);
  ASSERT_EQ(t.Add("ABCD", 7, "B", OnList), 2);
  ASSERT_EQ(t.Add("ABCD", 8, "C", OnList), 3);
  ASSERT_EQ(t.Add("ABCD", 7, "D", OnList), 4);  // same pair again: Find keeps naming the first

  const struct {
    std::string key;
    int32_t code;
    int32_t index;
  } cases[] = {
      {binary, 7, 1},       {"\0\x01\xFF\x81"s, 7, -1},
      {"ABCD", 7, 2},       {"ABCD", 8, 3},
      {"abcd", 7, -1},      {binary, 8, -1},
      {"ABC", 7, -1},       {"ABCDE", 7, -1},
      {"\0\0\0\0"s, 0, -1},
  };
  for (const auto& c : cases)
    EXPECT_EQ(t.Find(c.key, c.code), c.index) << c.key << " " << c.code;
}

TEST(SimboloTableTest, FindAgreesWithWalkThroughGrowthAndReplaceAll) {
  std::mt19937 rng(20240601);
  // Few keys and codes, so that pairs repeat and the first-record rule is exercised.
  const std::string keys[] = {"AAAA", "AAAB", "\0\0\0\0"s, "\xFF\xFF\xFF\xFF", "aaaa"};
  std::uniform_int_distribution<int> pick_key(0, 4);
  std::uniform_int_distribution<int32_t> pick_code(-2, 300);

  SimboloTable t;
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
  ASSERT_EQ(t.size(), 700);
  for (const std::string& key : keys) {
    for (int32_t code = -2; code <= 300; ++code) {
      ASSERT_EQ(t.Find(key, code), WalkFind(t, key, code)) << key << " " << code;
    }
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

TEST(SimboloTableTest, HoldsAtMost32767Records) {
  SimboloTable t;
  std::vector<SimboloRec> many;
  for (int32_t i = 0; i < SimboloTable::kMaxRecords + 5; ++i)
    many.push_back(Rec("KEYS", i));
  t.ReplaceAll(many);
  ASSERT_EQ(t.size(), SimboloTable::kMaxRecords);
  EXPECT_EQ(t.Find("KEYS", SimboloTable::kMaxRecords - 1), SimboloTable::kMaxRecords);
  EXPECT_EQ(t.Find("KEYS", SimboloTable::kMaxRecords), -1);
  EXPECT_EQ(t.Add("NEW1", 1, "IBM", OnList), -1);
  EXPECT_EQ(t.size(), SimboloTable::kMaxRecords);
}

TEST(MergeSimboloTest, FollowsNewDayAndRangeRules) {
  // Each row: Vol, Last, Previous, OpenV, High, Low.
  using Prices = std::array<float, 6>;
  const struct {
    const char* name;
    Prices stored, incoming, want;  // want: stored after the merge
  } cases[] = {
      {"falling volume: new day",
       {5000, 10, 9, 9, 12, 8},
       {100, 11, 9, 9, 12, 8},
       {100, 11, 10, 11, 11, 11}},
      {"equal volume: range only",
       {500, 10, 9, 9, 11, 9},
       {500, 12, 7, 8, 11, 9},
       {500, 12, 7, 8, 12, 9}},
      {"last 0 keeps range", {5, 0, 0, 0, 0, 0}, {5, 0, 1, 1, 15, 3}, {5, 0, 1, 1, 15, 3}},
      {"last 0, no high", {5, 0, 0, 0, 0, 0}, {5, 0, 1, 1, 0, 0}, {5, 0, 1, 1, 0, 0}},
      {"first price", {5, 0, 0, 0, 0, 0}, {5, 8, 0, 0, 0, 0}, {5, 8, 0, 0, 8, 8}},
      {"last 0, negative range", {5, 0, 0, 0, 0, 0}, {5, 0, 0, 0, -2, -3}, {5, 0, 0, 0, -2, -3}},
      {"update's own high/low", {5, 0, 0, 0, 0, 0}, {5, 12, 0, 0, 10, 13}, {5, 12, 0, 0, 12, 12}},
  };
  auto make = [](const Prices& p) {
    SimboloRec r = Rec("KKKK", 1);
    std::tie(r.Vol, r.Last, r.Previous, r.OpenV, r.High, r.Low) =
        std::tie(p[0], p[1], p[2], p[3], p[4], p[5]);
    r.Bid = 77;  // the rest of the update is copied as it is
    return r;
  };
  for (const auto& c : cases) {
    SimboloRec stored = make(c.stored);
    stored.Bid = 0;
    MergeSimbolo(make(c.incoming), stored);
    EXPECT_EQ(
        Prices({stored.Vol, stored.Last, stored.Previous, stored.OpenV, stored.High, stored.Low}),
        c.want)
        << c.name;
    EXPECT_EQ(stored.Bid, 77) << c.name;
  }
}

TEST(FormatFindCaptionTest, PutsBlankWhereSignWouldStand) {
  const struct {
    std::string_view shown;
    int32_t result;
    std::string_view want;
  } cases[] = {{"SYM", 5, "SYM  5"}, {"SYM", -1, "SYM -1"}, {"X", INT32_MIN, "X -2147483648"}};
  std::string out = "leftover text";
  for (const auto& c : cases) {
    FormatFindCaption(&out, c.shown, c.result);
    EXPECT_EQ(out, c.want);
  }
}

TEST(SimboloTableTest, FindAndCaptionAllocateNothing) {
  SimboloTable t;
  std::vector<SimboloRec> recs;
  for (int32_t i = 0; i < 1000; ++i)
    recs.push_back(Rec("KEYS", i));
  t.ReplaceAll(recs);
  std::string caption;
  caption.reserve(64);

  const long before = AllocationCount();
  int32_t found = 0;
  for (int32_t code = -5; code < 1005; ++code) {
    const int32_t i = t.Find("KEYS", code);
    FormatFindCaption(&caption, "SYMBOL", i);
    found += i > 0 ? 1 : 0;
  }
  EXPECT_EQ(AllocationCount() - before, 0);
  EXPECT_EQ(found, 1000);
}

}  // namespace
}  // namespace quotlink
