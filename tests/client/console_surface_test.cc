#include "client/console_surface.h"

#include <gtest/gtest.h>

#include <string>

#include "client/console_log.h"
#include "tests/support/memory_file.h"

namespace quotlink {
namespace {

TEST(TextSignalTest, SubscribersMayChangeSubscriptionsAndRingAgainFromInside) {
  TextSignal data;
  std::vector<std::string> order;
  int second = 0;
  // Ids start above 0: the client class takes 0 for "not subscribed".
  const int first = data.Subscribe([&] {
    order.push_back("first:" + data.Text());
    if (data.Text() == "one") {
      data.Unsubscribe(second);
      data.Subscribe([&] { order.push_back("added:" + data.Text()); });
      data.SetText("two");  // a publication inside a publication
    }
  });
  second = data.Subscribe([&] { order.push_back("second:" + data.Text()); });
  data.SetText("one");
  data.SetText("two");  // the same text again rings nothing
  EXPECT_EQ(order, (std::vector<std::string>{"first:one", "first:two", "added:two", "added:two"}));
  EXPECT_GT(first, 0);
}

TEST(WatchListTest, FindsExactlyFromOneAndKeepsFindingAsItGrows) {
  WatchList list;
  EXPECT_EQ(list.Find("ES"), 0);
  EXPECT_EQ(list.Add("ES"), 1);
  EXPECT_EQ(list.Find("es"), 0);  // exact, case included
  // Growing must not move the texts that the index looks at.
  for (int i = 0; i < 5000; ++i)
    list.Add("S" + std::to_string(i));
  EXPECT_EQ(list.Find("S4999"), 5001);
  EXPECT_EQ(list.Find("ES"), 1);
  EXPECT_EQ(list.at(1), "ES");
}

TEST(ConsoleLogTest, WritesOneLinePerEventInItsExactForm) {
  MemoryFile out;
  ConsoleLog log(out.file());
  ConsoleSurface s(&log);
  s.Mensagem.SetCaption("Packets TCP/UDP = 1 , 0");
  s.Mensagem.SetCaption("Packets TCP/UDP = 1 , 0");  // no change, no line
  s.Info.SetCaption(std::string("ES\n  3\x7F", 7));
  s.Info1.SetCaption("Database OK.");
  s.DTNIPT.SetCaption("127.0.0.1");  // the operator's own input isn't logged
  s.Picture1.SetColor(LampColor::kLightRed);
  s.Picture1.SetColor(LampColor::kLightRed);
  s.Picture1.SetColor(LampColor::kLightCyan);
  s.ModalMessage("CANNOT CONNECT WITH TCP ADDRESS");
  s.Beep();
  EXPECT_EQ(out.Take(),
            "Mensagem: Packets TCP/UDP = 1 , 0\n"
            "Info: ES?  3?\n"
            "Info1: Database OK.\n"
            "Picture1: red\n"
            "Picture1: cyan\n"
            "message: CANNOT CONNECT WITH TCP ADDRESS\n"
            "beep\n");
}

}  // namespace
}  // namespace quotlink
