#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "client/settings.h"
#include "client/symbols_file.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

constexpr double kDay = 45000.0;  // a date stamp, whole days since 30 December 1899

SimboloRec Rec(std::string_view symbol, int32_t code, double last_update = 0) {
  SimboloRec r = NewWorkingRecord();
  std::memset(r.Simbolo, ' ', sizeof r.Simbolo);
  std::memcpy(r.Simbolo, symbol.data(), std::min(symbol.size(), sizeof r.Simbolo));
  r.SymbolCode = code;
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

TEST(DataFolderTest, IsDtnBelowTheParentAndAFailureToMakeItSaysWhy) {
  EXPECT_EQ(DataFolderFrom("/home/u"), "/home/u/DTN/");
  EXPECT_EQ(DataFolderFrom(""), "DTN/");
  TempDir dir;
  EXPECT_TRUE(CreateDataFolder(dir.File("DTN/")).ok());
  EXPECT_TRUE(CreateDataFolder(dir.File("DTN/")).ok());  // there already: the normal case
  dir.Write("file", "x");
  const struct {
    std::string folder, cause;
  } failures[] = {{dir.File("file/"), "a file stands in its place"},
                  {dir.File("no/DTN/"), "No such file or directory"}};
  for (const auto& f : failures)
    EXPECT_EQ(CreateDataFolder(f.folder).message(),
              "cannot create the folder " + f.folder + ": " + f.cause);
}

TEST(SettingsTest, WriterLaysDownItsFormWholeOrNotAtAll) {
  TempDir dir;
  const std::string written = "feed.example\r\n-5 \r\n 0 \r\n";
  ASSERT_TRUE(WriteSettings(dir.path(), {"feed.example", -5, 0, "", ""}).ok());
  EXPECT_EQ(dir.Read(kSettingsFileName), written);
  // The new content can't be laid down beside the file: the old one stays whole.
  std::filesystem::create_directory(dir.File(kSettingsFileName) + ".tmp");
  EXPECT_FALSE(WriteSettings(dir.path(), {"10.9.9.9", 1, 1, "", ""}).ok());
  EXPECT_EQ(dir.Read(kSettingsFileName), written);
}

// The UDP sources live in a file of their own, so the settings file keeps its three lines.
TEST(SettingsTest, UdpSourcesFileReadsItsFirstLineTrimmedOrNothing) {
  TempDir dir;
  Settings s;
  s.UdpFrom = "old";
  ReadUdpFrom(dir.path(), &s);
  EXPECT_EQ(s.UdpFrom, "");  // no file: the feed server's host alone
  ASSERT_TRUE(WriteUdpFrom(dir.path(), " h1,\th2 ").ok());
  EXPECT_EQ(dir.Read(kUdpFromFileName), " h1,\th2 \r\n");
  ReadUdpFrom(dir.path(), &s);
  EXPECT_EQ(s.UdpFrom, "h1,\th2");
  dir.Write(kUdpFromFileName, " \t\nany\n");
  ReadUdpFrom(dir.path(), &s);
  EXPECT_EQ(s.UdpFrom, "");
  EXPECT_FALSE(TempDir::Exists(dir.File(kSettingsFileName)));
}

TEST(SettingsTest, ReaderTakesEveryFormOfTheLines) {
  const struct {
    const char* content;
    const char* address;
    int32_t feed, local;
  } cases[] = {
      {"1.2.3.4\r\n 21560 \r\n 20547 \r\n", "1.2.3.4", 21560, 20547},  // as written
      {"  1.2.3.4\n21560\n20547", "1.2.3.4", 21560, 20547},            // LF, no last line end
      {"1.2.3.4,21560,20547\r\n", "1.2.3.4", 21560, 20547},            // commas end values too
      {"feed host\r\n21560 \r\n", "feed host", 21560, 2},              // short file
      {"", "old", 1, 2},
      {"1.2.3.4\r\nabc\r\n\r\n", "1.2.3.4", 0, 0},  // no number reads 0
      {"h\r\n+2147483647\r\n-2147483648\r\n", "h", INT32_MAX, INT32_MIN},
      {"h\r\n2147483648\r\n-2147483649\r\n", "h", 1, 2},  // too wide: kept
  };
  TempDir dir;
  for (const auto& c : cases) {
    dir.Write(kSettingsFileName, c.content);
    Settings s{"old", 1, 2, "", ""};
    ASSERT_TRUE(ReadSettings(dir.path(), &s).ok());
    EXPECT_EQ(std::tie(s.FeedAddress, s.FeedPort, s.LocalPort),
              std::make_tuple(c.address, c.feed, c.local))
        << c.content;
  }
  // A missing file is replaced by the defaults (see the form's load); where it can't be, it fails.
  Settings s;
  EXPECT_FALSE(ReadSettings(dir.File("missing/"), &s).ok());
}

TEST(ParsePortTextTest, AcceptsOnlyAWhole32BitNumber) {
  const struct {
    const char* text;
    bool ok;
    int32_t port;
  } cases[] = {{"  21560  ", true, 21560}, {"+80", true, 80},    {"-2147483648", true, INT32_MIN},
               {"2147483648", false, 0},   {"21560x", false, 0}, {"+-5", false, 0}};
  for (const auto& c : cases) {
    int32_t port = 4242;
    EXPECT_EQ(ParsePortText(c.text, &port), c.ok) << c.text;
    EXPECT_EQ(port, c.ok ? c.port : 4242) << c.text;
  }
}

TEST(SymbolRecordTest, StandsAtOffsetsOfTheFileLayout) {
  SimboloRec r = Rec("IBM", -2, kDay + 0.25);
  std::memcpy(r.DatabaseKey, "\x00\x80\xFFz", 4);
  r.QuoteFlags = 0x0102;
  r.PrimaryFormat = -1;
  r.SecondaryFormat = 7;
  float* const floats[] = {&r.Previous, &r.Last, &r.OpenV, &r.High,        &r.Low,   &r.Ask,
                           &r.AskS,     &r.Bid,  &r.BidS,  &r.PreviousVol, &r.LastS, &r.Vol};
  for (size_t i = 0; i < std::size(floats); ++i)
    *floats[i] = 28.0f + 4 * i;
  r.ProcessCode = -1;
  r.OInt = 80;
  r.Change = 92;
  r.ChangeFieldDef = -1;
  // The record as files of earlier runs hold it, worked out by hand from the layout.
  const std::string hex =
      "49424d2020202020202020200080ff7afeffffff02010000ffff07000000e041"
      "0000004200001042000020420000304200004042000050420000604200007042"
      "000080420000884200009042ffffffff0000a0420000000008f9e5400000b842"
      "000080bf";
  ByteString file;
  for (size_t i = 0; i < hex.size(); i += 2)
    file.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  EXPECT_EQ(Encoded({r}), file);
  SimboloRec back;
  ASSERT_TRUE(DecodeSymbolRecord(file, &back));
  EXPECT_EQ(Encoded({back}), file);
}

// The count rounds the length half to even; a counted record held only in part is skipped.
TEST_F(SymbolsFileTest, MissingFileIsCreatedEmptyAndOnlyWholeRecordsAreRead) {
  EXPECT_TRUE(Read(kDay).empty());
  EXPECT_TRUE(TempDir::Exists(path_));
  std::vector<SimboloRec> out;
  EXPECT_FALSE(ReadSymbolsFile(dir_.File("no/SYMBOLS.DAT"), kDay, &out).ok());
  const ByteString four = Encoded({Rec("A", 1), Rec("B", 2), Rec("C", 3), Rec("D", 4)});
  const struct {
    size_t length;
    int64_t count;
    size_t records;
  } cases[] = {{50, 0, 0},  {51, 1, 0},  {100, 1, 1}, {149, 1, 1},
               {150, 2, 1}, {250, 2, 2}, {350, 4, 3}};
  for (const auto& c : cases) {
    EXPECT_EQ(SymbolRecordCount(c.length), c.count) << c.length;
    TempDir::Put(path_, four.substr(0, c.length));
    EXPECT_EQ(Read(kDay).size(), c.records) << c.length;
  }
}

TEST_F(SymbolsFileTest, ReadKeepsTheCleanedSymbolsOfRecordsThatHaveNotAgedOut) {
  SimboloRec padded = Rec("", 1);
  std::memcpy(padded.Simbolo, " \0IBM\0\0 \0\0\0\0", 12);
  SimboloRec never_written = Rec("", 2);
  std::memcpy(never_written.Simbolo, "\0XYZ        ", 12);
  TempDir::Put(
      path_, Encoded({Rec("OLD", 3, kDay), padded, Rec("", 4), never_written, Rec("NEVER", 5, 0)}));
  // Stamped on day D, a record lives through midnight starting D + 30; one never quoted never ages.
  auto symbols = [this](double now) {
    std::string text;
    for (const SimboloRec& r : Read(now))
      text += std::string(r.Simbolo, 12) + "|";
    return text;
  };
  EXPECT_EQ(symbols(kDay + 30), "OLD         |IBM         |NEVER       |");
  EXPECT_EQ(symbols(kDay + 30 + 1.0 / 86400), "IBM         |NEVER       |");
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

TEST_F(SymbolsFileTest, WriteGivesTheTableBackWholeOrNotAtAllAndKeepsWhatStandsBehind) {
  SimboloTable table;
  ASSERT_TRUE(WriteSymbolsFile(path_, table).ok());
  EXPECT_FALSE(TempDir::Exists(path_));  // an empty table writes nothing

  table.ReplaceAll({Rec("IBM", 1, kDay - 3), Rec("BRK A", -7, kDay), Rec("~X", 65536)});
  ASSERT_TRUE(WriteSymbolsFile(path_, table).ok());
  const ByteString three = Encoded({table.at(1), table.at(2), table.at(3)});
  EXPECT_EQ(Encoded(Read(kDay)), three);

  // A shorter table covers its own places and leaves the rest, a partial tail included.
  TempDir::Put(path_, three + "partial tail");
  table.ReplaceAll({Rec("NEW", 9)});
  ASSERT_TRUE(WriteSymbolsFile(path_, table).ok());
  const std::string after = TempDir::Get(path_);
  EXPECT_EQ(after, Encoded({Rec("NEW", 9)}) + three.substr(100) + "partial tail");

  // The new content can't be laid down beside the file: the old file stays whole.
  std::filesystem::create_directory(path_ + ".tmp");
  EXPECT_FALSE(WriteSymbolsFile(path_, table).ok());
  EXPECT_EQ(TempDir::Get(path_), after);
}

}  // namespace
}  // namespace quotlink
