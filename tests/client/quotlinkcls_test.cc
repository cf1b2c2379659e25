#include "client/quotlinkcls.h"

#include <gtest/gtest.h>

#include <cstring>

#include "client/symbols_file.h"
#include "client/watch_list.h"
#include "quotes/quote_stream.h"
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
    q.tcp.loop = &q.loop;
    q.tcp.connect_delay_ms = 5;
    q.tcp.on_sent = [this](ByteView r) {
      if (static_cast<uint8_t>(r[1]) == 28) q.tcp.Arrive(StatusPacket(12));
    };
    obj.OnFeederReady([this] { ++ready; });
    std::filesystem::create_directories(Parent());
  }
  // The folder handed to Iniciar: the feeder's files go to its DTN/.
  std::string Parent() const { return dir.path() + "client"; }
  std::string DataFile(const std::string& name) const { return Parent() + "/DTN/" + name; }
  SimboloRec Record(const std::string& symbol, float last, float prev, float change) {
    SimboloRec r = NewWorkingRecord();
    std::string padded = symbol;
    padded.resize(12, ' ');
    std::memcpy(r.Simbolo, padded.data(), 12);
    std::memcpy(r.DatabaseKey, kEquityKey.data(), 4);
    r.SymbolCode = 42;
    r.Last = last;
    r.Previous = prev;
    r.Change = change;
    return r;
  }
};

TEST_F(ClientTest, CallsBeforeIniciarFailVisiblyAndTheFeederRunsOn) {
  int16_t ok = 7;
  EXPECT_FALSE(obj.GetComunicationOK(&ok).ok());
  EXPECT_EQ(ok, 7);
  EXPECT_FALSE(obj.ShowMe().ok());
  EXPECT_FALSE(q.bas.ended());
  EXPECT_EQ(obj.GetData("ES"), 0);
  EXPECT_EQ(ready, 0);
}

TEST_F(ClientTest, IniciarFixesTheFolderLoadsTheTableAndStartsTheSession) {
  std::filesystem::create_directories(Parent() + "/DTN");
  SimboloTable t;
  t.ReplaceAll({Record("ES", 10, 9, 0)});
  ASSERT_TRUE(WriteSymbolsFile(DataFile("SYMBOLS.DAT"), t).ok());
  ASSERT_TRUE(obj.Iniciar(Parent() + "/").ok());
  EXPECT_EQ(q.bas.settings().DataFolder, Parent() + "/DTN/");
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 1);
  EXPECT_EQ(q.bas.Link().DatabasePending, 1);
  EXPECT_TRUE(TempDir::Exists(DataFile("QUOTLINKINFO.DAT")));
  int16_t ok = 9;
  ASSERT_TRUE(obj.GetComunicationOK(&ok).ok());
  EXPECT_EQ(ok, 0);
  EXPECT_TRUE(obj.ShowMe().ok());
  // A second Iniciar keeps the folder and reads the file over the table again.
  q.bas.Quotes().Simbolos.ReplaceAll({Record("NQ", 1, 1, 0), Record("YM", 1, 1, 0)});
  ASSERT_TRUE(obj.Iniciar("/elsewhere").ok());
  EXPECT_EQ(q.bas.settings().DataFolder, Parent() + "/DTN/");
  EXPECT_EQ(q.bas.Quotes().Simbolos.size(), 1);
}

TEST_F(ClientTest, IniciarFailsWhenTheSymbolsFileCantBeOpened) {
  EXPECT_FALSE(obj.Iniciar(dir.path() + "no/such/parent").ok());
  EXPECT_FALSE(q.frm.loaded());
}

TEST_F(ClientTest, GetDataFillsFromTheTableWithItsOwnRules) {
  q.bas.Quotes().Simbolos.ReplaceAll(
      {Record("ES", 101, 100, 0), Record("NQ", 101, 100, 0.75f), Record("YM", 101, 100, 0.5f)});
  obj.SetTimeV(1234);
  EXPECT_EQ(obj.GetData("ES"), 0);
  EXPECT_EQ(ready, 1);
  EXPECT_EQ(obj.Simbolo(), "ES          ");
  EXPECT_EQ(obj.Flag(), 1);
  EXPECT_EQ(obj.Change(), 0);  // a stored 0 stays: not the publication's rule
  EXPECT_EQ(obj.TimeV(), 1234);
  obj.GetData("NQ");
  EXPECT_EQ(obj.Change(), 1);
  obj.GetData("YM");
  EXPECT_EQ(obj.Change(), 0.5f);
  // The requests follow the event, each time.
  EXPECT_EQ(q.RequestCodes(), (std::vector<int>{11, 33, 11, 33, 11, 33}));
  // Blank, unknown, or with a blank in front: nothing.
  for (const char* s : {"", "   ", "XX", " ES"})
    EXPECT_EQ(obj.GetData(s), 0);
  EXPECT_EQ(ready, 3);
}

TEST_F(ClientTest, PublicationCopiesTheBoardIntoEveryStartedObject) {
  ASSERT_TRUE(obj.Iniciar(Parent()).ok());
  QUOTLINKCls other(&q.bas);
  int other_ready = 0;
  other.OnFeederReady([&] { ++other_ready; });
  ASSERT_TRUE(other.Iniciar(Parent()).ok());
  q.bas.Quotes().Simbolos.ReplaceAll({Record("ES", 101, 100, 0)});
  q.clock.SetDate(46349.0 + (14 * 60 + 37) / 1440.0);
  q.bas.Quotes().PublishQuote(1, "ES  ");
  EXPECT_EQ(ready, 1);
  EXPECT_EQ(other_ready, 1);
  EXPECT_EQ(obj.Simbolo(), "ES");
  EXPECT_EQ(obj.Change(), 1);
  EXPECT_EQ(obj.TimeV(), 1437);
  EXPECT_EQ(obj.Flag(), 0);
  // A handler may ask for the table's values from inside: a nested event for that object.
  obj.OnFeederReady([&] {
    if (obj.Flag() == 0) obj.GetData("ES");
  });
  q.clock.Advance(1000);
  q.bas.Quotes().PublishQuote(1, "ES");
  EXPECT_EQ(obj.Flag(), 1);
  EXPECT_EQ(obj.Simbolo(), "ES          ");
  other.Release();  // ends the feeder for both
  EXPECT_TRUE(q.bas.ended());
  EXPECT_FALSE(obj.ShowMe().ok());
}

TEST_F(ClientTest, ReleaseWritesTheTableAndEndsTheFeeder) {
  ASSERT_TRUE(obj.Iniciar(Parent()).ok());
  q.bas.Quotes().Simbolos.ReplaceAll({Record("ES", 10, 9, 0)});
  obj.Release();
  EXPECT_TRUE(q.bas.ended());
  EXPECT_TRUE(q.loop.quitting());
  EXPECT_EQ(TempDir::Get(DataFile("SYMBOLS.DAT")).size(), 100u);
  EXPECT_EQ(q.tcp.calls.back(), "Close");
  // A second feeder finds the table.
  QuoteFeeder g;
  QUOTLINKCls again(&g.bas);
  g.tcp.loop = &g.loop;
  g.tcp.connect_delay_ms = 5;
  ASSERT_TRUE(again.Iniciar(Parent()).ok());
  EXPECT_EQ(g.bas.Quotes().Simbolos.size(), 1);
  again.GetData("ES");
  EXPECT_EQ(again.Last(), 10);
}

TEST_F(ClientTest, ReleaseBeforeIniciarEndsWithoutTouchingFiles) {
  obj.Release();
  EXPECT_TRUE(q.bas.ended());
  EXPECT_FALSE(TempDir::Exists(DataFile("SYMBOLS.DAT")));
  EXPECT_FALSE(obj.Iniciar(Parent()).ok());
}

TEST_F(ClientTest, WatchSimboloAddsOnceAndAsksForKnownRecords) {
  q.bas.Quotes().Simbolos.ReplaceAll({Record("ES", 1, 1, 0)});
  q.frm.Load();
  q.tcp.sent.clear();
  obj.AddSimbolos("ES");
  const int32_t pos = q.frm.DTNSYMBOLS.Find("ES");
  EXPECT_GE(pos, 1);
  EXPECT_EQ(q.frm.Mensagem.Caption(), "ADD ES " + std::to_string(pos));
  obj.AddSimbolos("ES");
  EXPECT_EQ(q.frm.DTNSYMBOLS.Find("ES"), pos);
  EXPECT_EQ(q.RequestCodes(), (std::vector<int>{11, 33, 11, 33, 11, 33, 11, 33}));
  // With blanks round it: the cleaned text goes on the list, no record is found, nothing sent.
  q.tcp.sent.clear();
  obj.AddSimbolos("  NQ ");
  EXPECT_GE(q.frm.DTNSYMBOLS.Find("NQ"), 1);
  EXPECT_TRUE(q.tcp.sent.empty());
}

}  // namespace
}  // namespace quotlink
