// The subject rule: one token per symbol, nothing NATS reads as structure, and back again.
#include "publish/subject.h"

#include <gtest/gtest.h>

#include <string>

namespace quotlink {
namespace {

using namespace std::string_literals;

TEST(SubjectTest, EveryByteOutsideTheKeptSetIsEscapedAndTheTokenReadsBack) {
  const struct {
    std::string symbol;
    std::string token;
  } cases[] = {
      {"ES", "ES"},
      {"EUR/USD", "EUR/USD"},
      {"X=Y-1", "X=Y-1"},
      {"BRK.B", "BRK_2EB"},
      {"A*", "A_2A"},
      {">", "_3E"},
      {"S P", "S_20P"},
      {"a_b", "a_5Fb"},
      {"_2E", "_5F2E"},  // an escape's own text escapes its '_', so it can't be mistaken
      {"%$", "_25_24"},
      {"\xC3\xA9t\xE9", "_C3_A9t_E9"},
      {"\x00\x7F\xFF"s, "_00_7F_FF"},
      {"", "_"},
  };
  for (const auto& c : cases) {
    const std::string token = SymbolToken(c.symbol);
    EXPECT_EQ(token, c.token) << c.symbol;
    // A valid subject token and bucket key: no separator, wildcard, blank or other byte.
    EXPECT_EQ(token.find_first_not_of(
                  "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-/=_"),
              std::string::npos)
        << token;
    std::string back = "stale";
    ASSERT_TRUE(SymbolOfToken(token, &back)) << token;
    EXPECT_EQ(back, c.symbol) << token;
  }
}

TEST(SubjectTest, TextThatNoSymbolGivesIsRefused) {
  for (const std::string& token : {""s, "_2"s, "A_"s, "_2e"s, "_41"s, "_2F"s, "_ZZ"s, "a.b"s,
                                   "a b"s, "*"s, ">"s, "\xE9"s, "__"s}) {
    std::string symbol;
    EXPECT_FALSE(SymbolOfToken(token, &symbol)) << token;
  }
}

}  // namespace
}  // namespace quotlink
