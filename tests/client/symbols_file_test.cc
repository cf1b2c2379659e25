#include "client/symbols_file.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

using std::string_literals::operator""s;

constexpr double kDay = 45000.0;  // a date stamp, whole days since 30 December 1899
constexpr double kSecond = 1.0 / 86400.0;

SimboloRec Rec(std::string_view symbol, int32_t code, double last_update = 0) {
  SimboloRec r = NewWorkingRecord();
  std::memset(r.Simbolo, ' ', sizeof r.Simbolo);
  std::memcpy(r.Simbolo, symbol.data(), std::min(symbol.size(), sizeof r.Simbolo));
  std::memcpy(r.DatabaseKey, "KEY\x01", 4);
  r.SymbolCode = code;
  r.Last = static_cast<float>(code) + 0.5f;
  r.LastUpdate = last_update;
  return r;
}

ByteString Encoded(const std::vector<SimboloRec>& recs) {
  ByteString out;
  for (const SimboloRec& r : recs)
    EncodeSymbolRecord(r, &out);
  return out;
}

class SymbolsFileTest : public ::testing::Test {
 protected:
  std::vector<SimboloRec> Read(double now) {
    std::vector<SimboloRec> out;
    EXPECT_TRUE(ReadSymbolsFile(path_, now, &out).ok());
    return out;
  }
  TempDir dir_;
  const std::string path_ = dir_.File("SYMBOLS.DAT");
};

TEST(SymbolRecordTest, StandsAtOffsetsOfTheFileLayout) {
  // Built by hand from the layout, not from the format constants.
  ByteString b(100, '\0');
  std::memcpy(&b[0], "IBM         ", 12);
  std::memcpy(&b[12], "\x00\x80\xFFz", 4);
  auto put = [&](size_t at, uint64_t v, size_t n) {
    for (size_t i = 0; i < n; ++i)
      b[at + i] = static_cast<char>((v >> (8 * i)) & 0xFF);
  };
  put(16, static_cast<uint32_t>(-2), 4);  // SymbolCode
  put(20, 0x0102, 4);                     // QuoteFlags
  put(24, static_cast<uint16_t>(-1), 2);  // PrimaryFormat
  put(26, 7, 2);                          // SecondaryFormat
  for (size_t at = 28; at <= 72; at += 4) {
    put(at, std::bit_cast<uint32_t>(static_cast<float>(at)), 4);  // Previous .. Vol
  }
  put(76, static_cast<uint32_t>(-1), 4);             // ProcessCode
  put(80, std::bit_cast<uint32_t>(80.0f), 4);        // OInt
  put(84, std::bit_cast<uint64_t>(kDay + 0.25), 8);  // LastUpdate
  put(92, std::bit_cast<uint32_t>(92.0f), 4);        // Change
  put(96, std::bit_cast<uint32_t>(-1.0f), 4);        // ChangeFieldDef

  SimboloRec r;
  ASSERT_TRUE(DecodeSymbolRecord(b, &r));
  EXPECT_EQ(std::string(r.DatabaseKey, 4), "\x00\x80\xFFz"s);
  EXPECT_EQ(r.SymbolCode, -2);
  EXPECT_EQ(r.QuoteFlags, 0x0102);
  EXPECT_EQ(r.PrimaryFormat, -1);
  EXPECT_EQ(r.SecondaryFormat, 7);
  const float prices[] = {r.Previous, r.Last, r.OpenV, r.High,        r.Low,   r.Ask,
                          r.AskS,     r.Bid,  r.BidS,  r.PreviousVol, r.LastS, r.Vol};
  for (size_t i = 0; i < std::size(prices); ++i)
    EXPECT_EQ(prices[i], 28.0f + 4 * i);
  EXPECT_EQ(r.ProcessCode, -1);
  EXPECT_EQ(r.OInt, 80.0f);
  EXPECT_EQ(r.LastUpdate, kDay + 0.25);
  EXPECT_EQ(r.Change, 92.0f);
  EXPECT_EQ(r.ChangeFieldDef, -1.0f);

  ByteString again;
  EncodeSymbolRecord(r, &again);
  EXPECT_EQ(again, b);
  EXPECT_FALSE(DecodeSymbolRecord(ByteView(b).substr(0, 99), &r));
}

TEST(SymbolRecordTest, CountRoundsHalfToEven) {
  const struct {
    uint64_t length;
    int64_t count;
  } cases[] = {{0, 0},   {49, 0},  {50, 0},  {51, 1},  {100, 1}, {149, 1},
               {150, 2}, {249, 2}, {250, 2}, {251, 3}, {350, 4}, {450, 4}};
  for (const auto& c : cases)
    EXPECT_EQ(SymbolRecordCount(c.length), c.count) << c.length;
}

TEST_F(SymbolsFileTest, MissingFileIsCreatedEmpty) {
  EXPECT_TRUE(Read(kDay).empty());
  EXPECT_TRUE(TempDir::Exists(path_));
  EXPECT_EQ(TempDir::Get(path_), "");

  std::vector<SimboloRec> out;
  EXPECT_FALSE(ReadSymbolsFile(dir_.File("no/SYMBOLS.DAT"), kDay, &out).ok());
}

TEST_F(SymbolsFileTest, RecordsAgeOutOnlyAfterTheMidnightThatBeginsDay30) {
  TempDir::Put(path_, Encoded({Rec("OLD", 1, kDay), Rec("NEVER", 2, 0)}));
  const struct {
    double now;
    size_t kept;
  } cases[] = {
      {kDay + 29, 2},           {kDay + 29 + 0.999, 2},
      {kDay + 30, 2},                             // exactly midnight: not yet below
      {kDay + 30 + kSecond, 1}, {kDay + 400, 1},  // a record that never had a quote never ages
  };
  for (const auto& c : cases) {
    const std::vector<SimboloRec> got = Read(c.now);
    ASSERT_EQ(got.size(), c.kept) << c.now - kDay;
    EXPECT_EQ(std::string(got.back().Simbolo, 12), "NEVER       ");
  }
}

TEST_F(SymbolsFileTest, SymbolsAreCleanedAndBlankOnesDropped) {
  SimboloRec padded = Rec("", 1);
  std::memcpy(padded.Simbolo, " \0IBM\0\0 \0\0\0\0", 12);
  SimboloRec never_written = Rec("", 2);
  std::memcpy(never_written.Simbolo, "\0XYZ        ", 12);
  TempDir::Put(path_, Encoded({padded, Rec("", 3), never_written, Rec("MSFT", 4)}));

  const std::vector<SimboloRec> got = Read(kDay);
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(std::string(got[0].Simbolo, 12), "IBM         ");
  EXPECT_EQ(got[0].SymbolCode, 1);
  EXPECT_EQ(got[1].SymbolCode, 4);
}

TEST_F(SymbolsFileTest, ReadsOnlyWholeRecords) {
  const ByteString two = Encoded({Rec("A", 1), Rec("B", 2)});
  const struct {
    size_t length;
    size_t records;
  } cases[] = {{0, 0}, {49, 0}, {99, 0}, {100, 1}, {150, 1}, {199, 1}, {200, 2}};
  for (const auto& c : cases) {
    TempDir::Put(path_, two.substr(0, c.length));
    EXPECT_EQ(Read(kDay).size(), c.records) << c.length;
  }
}

TEST_F(SymbolsFileTest, GarbageOfAnyLengthReadsSafely) {
  std::mt19937 rng(7);
  ByteString garbage;
  for (int i = 0; i < 1234; ++i)
    garbage.push_back(static_cast<char>(rng() & 0xFF));
  for (size_t length = 0; length <= garbage.size(); length += (length < 300 ? 1 : 97)) {
    TempDir::Put(path_, garbage.substr(0, length));
    std::vector<SimboloRec> got;
    ASSERT_TRUE(ReadSymbolsFile(path_, kDay, &got).ok());
    ASSERT_LE(got.size(), length / 100);
    for (const SimboloRec& r : got) {
      const std::string_view text(r.Simbolo, 12);
      EXPECT_FALSE(CleanSymbol(text).empty());
      EXPECT_EQ(text.substr(0, CleanSymbol(text).size()), CleanSymbol(text));
    }
  }
}

TEST_F(SymbolsFileTest, WriteThenReadGivesTheTableBack) {
  SimboloTable table;
  SimboloRec odd = Rec("BRK A", -7, kDay);
  odd.Vol = std::nanf("");
  odd.Change = -0.0f;
  table.ReplaceAll({Rec("IBM", 1, kDay - 3), odd, Rec("~X", 65536)});
  ASSERT_TRUE(WriteSymbolsFile(path_, table).ok());
  EXPECT_EQ(TempDir::Get(path_).size(), 300u);

  // Through the bytes: every field counts, NaN and -0 included, and padding doesn't.
  const std::vector<SimboloRec> got = Read(kDay);
  ASSERT_EQ(got.size(), 3u);
  for (int32_t i = 1; i <= 3; ++i) {
    EXPECT_EQ(Encoded({got[static_cast<size_t>(i - 1)]}), Encoded({table.at(i)})) << i;
  }
}

TEST_F(SymbolsFileTest, WriteKeepsRecordsBehindTheTable) {
  // Five records, two of them aged out: the table gets three, and writing it back covers the
  // first three places of the file and leaves the last two as they were.
  const ByteString before = Encoded({Rec("A", 1, kDay - 40), Rec("B", 2), Rec("C", 3, kDay - 40),
                                     Rec("D", 4), Rec("E", 5)}) +
                            "partial tail";
  TempDir::Put(path_, before);
  SimboloTable table;
  table.ReplaceAll(Read(kDay));
  ASSERT_EQ(table.size(), 3);
  ASSERT_TRUE(WriteSymbolsFile(path_, table).ok());

  const std::string after = TempDir::Get(path_);
  EXPECT_EQ(after.size(), before.size());
  EXPECT_EQ(after.substr(0, 300), Encoded({Rec("B", 2), Rec("D", 4), Rec("E", 5)}));
  EXPECT_EQ(after.substr(300), before.substr(300));
  EXPECT_EQ(Read(kDay).size(), 5u);  // the next start sees them again
}

TEST_F(SymbolsFileTest, EmptyTableWritesNothing) {
  SimboloTable table;
  ASSERT_TRUE(WriteSymbolsFile(path_, table).ok());
  EXPECT_FALSE(TempDir::Exists(path_));
  TempDir::Put(path_, "old");
  ASSERT_TRUE(WriteSymbolsFile(path_, table).ok());
  EXPECT_EQ(TempDir::Get(path_), "old");
}

TEST_F(SymbolsFileTest, FailedWriteLeavesOldFileWhole) {
  const ByteString before = Encoded({Rec("A", 1), Rec("B", 2)});
  TempDir::Put(path_, before);
  SimboloTable table;
  table.ReplaceAll({Rec("NEW", 9)});
  // The new content can't be laid down beside the file: the failure comes before the rename.
  std::filesystem::create_directory(path_ + ".tmp");
  EXPECT_FALSE(WriteSymbolsFile(path_, table).ok());
  EXPECT_EQ(TempDir::Get(path_), before);
}

}  // namespace
}  // namespace quotlink
