#include "client/quotlinkcls.h"

#include <gtest/gtest.h>

#include <cstring>

#include "client/symbols_file.h"
#include "tests/support/quote_feeder.h"
#include "tests/support/temp_dir.h"

namespace quotlink {
namespace {

struct ClientTest : ::testing::Test {
  TempDir dir;
  QuoteFeeder q;
  QUOTLINKCls obj{&q.bas};
  int ready = 0;

  ClientTest() {
    q.AnswerFeed(5);
    obj.OnFeederReady([this] { ++ready; });
  }
  // The object's release writes SYMBOLS.DAT: into the test's folder, even without a start.
  ~ClientTest() override {
    if (q.bas.settings().DataFolder.empty()) q.bas.settings().DataFolder = dir.path();
  }
  // Iniciar is handed the test's folder: the feeder's files go to its DTN/.
  std::string DataFile(const std::string& name) const { return dir.path() + "DTN/" + name; }
  // Puts records of `symbols` in the table, each with last 101, previous 100 and its change.
  void Table(const std::vector<std::pair<std::string, float>>& symbols) {
    std::vector<SimboloRec> recs = EquityTable(static_cast<int>(symbols.size()));
    for (size_t i = 0; i < recs.size(); ++i) {
      std::memcpy(recs[i].Simbolo, (symbols[i].first + "          ").data(), 12);
      recs[i].Last = 101;
      recs[i].Previous = 100;
      recs[i].Change = symbols[i].second;
    }
    q.bas.Quotes().Simbolos.ReplaceAll(std::move(recs));
  }
};

TEST_F(ClientTest, CallsBeforeAStartFailAndReleaseEndsTheFeederWithoutFiles) {
  // Only the last level is made: below a missing parent SYMBOLS.DAT can't be opened.
  const Status st = obj.Iniciar(dir.path() + "no/such/parent");
  EXPECT_EQ(st.message().rfind("cannot create the folder", 0), 0u) << st.message();
  EXPECT_FALSE(q.frm.loaded());
  // Until a quote comes, the object holds none.
  for (float v : {obj.Last(), obj.LastS(), obj.Bid(), obj.Ask(), obj.AskS(), obj.BidS(),
                  obj.Change(), obj.OpenV(), obj.High(), obj.Low(), obj.Previous(), obj.OInt(),
                  obj.Vol(), obj.TimeV(), static_cast<float>(obj.Flag())})
    EXPECT_EQ(v, 0.0f);
  int16_t ok = 7;
  EXPECT_FALSE(obj.GetComunicationOK(&ok).ok());
  EXPECT_FALSE(obj.ShowMe().ok());
  q.bas.settings().DataFolder.clear();  // so that a start would make the folder again
  obj.Release();
  EXPECT_TRUE(q.bas.ended());
  EXPECT_FALSE(obj.Iniciar(dir.path()).ok());
  EXPECT_FALSE(TempDir::Exists(DataFile("")));
}

TEST_F(ClientTest, IniciarLoadsTheTableAndReleaseWritesIt) {
  std::filesystem::create_directories(DataFile(""));
  Table({{"ES", 0}});
  ASSERT_TRUE(WriteSymbolsFile(DataFile("SYMBOLS.DAT"), q.bas.Quotes().Simbolos).ok());
  Table({});
  ASSERT_TRUE(obj.Iniciar(dir.path()).ok());
  EXPECT_EQ(q.bas.settings().DataFolder, DataFile(""));
  int16_t ok = 9;
  ASSERT_TRUE(obj.GetComunicationOK(&ok).ok());
  EXPECT_EQ(ok, 0);
  EXPECT_TRUE(obj.ShowMe().ok());
  // Another start keeps the folder, reads the file over the table again and subscribes once.
  Table({{"NQ", 0}, {"YM", 0}});
  ASSERT_TRUE(obj.Iniciar("/elsewhere").ok());
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 1);
  q.clock.SetDate(46349.0 + (14 * 60 + 37) / 1440.0);
  q.bas.Quotes().PublishQuote(1, "ES  ");
  EXPECT_EQ(ready, 1);
  EXPECT_EQ(obj.TimeV(), 1437);  // the other fields are in the recorded session's output
  // A handler asking for the table's values from inside: a nested event for that object.
  obj.OnFeederReady([&] {
    if (obj.Flag() == 0) obj.GetData("ES");
  });
  q.clock.Advance(1000);
  q.bas.Quotes().PublishQuote(1, "ES");
  EXPECT_EQ(obj.Simbolo() + std::to_string(obj.Flag()), "ES          1");
  EXPECT_EQ(ready, 3);
  // Every started object hears each quote, and any one's release ends the feeder for all.
  QUOTLINKCls other(&q.bas);
  int other_ready = 0;
  other.OnFeederReady([&] { ++other_ready; });
  ASSERT_TRUE(other.Iniciar(dir.path()).ok());
  q.clock.Advance(1000);
  q.bas.Quotes().PublishQuote(1, "ES");
  EXPECT_EQ(other_ready, 1);

  Table({{"NQ", 0}});  // a table of one record is saved too
  other.Release();
  EXPECT_TRUE(q.bas.ended() && other.save_status().ok());
  EXPECT_FALSE(obj.ShowMe().ok());
  EXPECT_EQ(q.tcp.calls.back(), "Close");
  EXPECT_EQ(TempDir::Get(DataFile("SYMBOLS.DAT")).substr(0, 3), "NQ ");
}

TEST_F(ClientTest, GetDataAndAddSimbolosFindRecordsByTheirText) {
  Table({{"ES", 0}, {"NQ", 0.75f}, {"YM", 0.5f}});
  // The stored change stays when it rounds (to even) to 0, else it is worked out again.
  const std::pair<const char*, float> cases[] = {{"ES", 0}, {"NQ", 1}, {"YM", 0.5f}};
  for (const auto& [symbol, change] : cases) {
    EXPECT_EQ(obj.GetData(symbol), 0);
    EXPECT_EQ(obj.Simbolo() + std::to_string(obj.Flag()), std::string(symbol) + "          1");
    EXPECT_EQ(obj.Change(), change) << symbol;
  }
  // Blank, unknown, or with a blank in front: nothing.
  for (const char* s : {"", "   ", "XX", " ES"})
    EXPECT_EQ(obj.GetData(s), 0);
  EXPECT_EQ(ready, 3);
  // The requests follow each event; AddSimbolos asks twice, once per call.
  q.bas.settings().DataFolder = dir.path();  // the form's load reads and writes its files there
  EXPECT_EQ(q.tcp.RequestCodes(), (std::vector<int>{11, 33, 11, 33, 11, 33}));
  obj.AddSimbolos("ES");  // the first use loads the form, as a start would
  ASSERT_TRUE(q.frm.loaded());
  q.tcp.sent.clear();
  obj.AddSimbolos("ES");
  EXPECT_EQ(q.frm.DTNSYMBOLS.size(), 1);
  EXPECT_EQ(q.tcp.RequestCodes(), (std::vector<int>{11, 33, 11, 33}));
  // With blanks round it: the cleaned text goes on the list, no record is found, nothing sent.
  q.tcp.sent.clear();
  obj.AddSimbolos("  NQ ");
  EXPECT_EQ(q.frm.DTNSYMBOLS.Find("NQ"), 2);
  EXPECT_TRUE(q.tcp.sent.empty());
  // A table that can't be saved at the end is told to the host, not only on the console.
  std::filesystem::create_directory(dir.File("SYMBOLS.DAT.tmp"));
  obj.Release();
  EXPECT_FALSE(obj.save_status().ok());
  EXPECT_EQ(q.frm.Mensagem.Caption(), "SYMBOLS.DAT not saved - " + obj.save_status().message());
}

}  // namespace
}  // namespace quotlink
