#include "database/field_slots.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>

namespace quotlink {
namespace {

constexpr SecTypes kTypes{10, 11, 12};  // futures, future options, spots
constexpr int32_t kOtherType = 99;

// Every member of the record, for comparing two records whole (padding left out).
auto Members(const SimboloRec& r) {
  return std::make_tuple(std::string_view(r.Simbolo, 12), std::string_view(r.DatabaseKey, 4),
                         r.SymbolCode, r.QuoteFlags, r.PrimaryFormat, r.SecondaryFormat, r.Previous,
                         r.Last, r.OpenV, r.High, r.Low, r.Ask, r.AskS, r.Bid, r.BidS,
                         r.PreviousVol, r.LastS, r.Vol, r.ProcessCode, r.OInt, r.LastUpdate,
                         r.Change, r.ChangeFieldDef);
}

// A record whose every numeric slot holds a value of its own, so a write shows wherever it lands.
SimboloRec Filled() {
  SimboloRec r = NewWorkingRecord();
  float v = 1000.0f;
  for (float* slot : {&r.Previous, &r.Last, &r.OpenV, &r.High, &r.Low, &r.Ask, &r.AskS, &r.Bid,
                      &r.BidS, &r.PreviousVol, &r.LastS, &r.Vol, &r.OInt, &r.Change}) {
    *slot = v++;
  }
  std::string_view("OLDSYMBOL   ").copy(r.Simbolo, 12);
  return r;
}

TEST(SetFieldTest, EachNameFillsItsSlotAndNoOther) {
  // 04 D5 is 1237: 12.37 under the field's code 2. Sizes read under code 0 instead, where
  // ProcessCode 1 makes the last digit eighths.
  const struct {
    const char* name;
    float SimboloRec::*slot;  // nullptr: nothing changes
    float want;
  } cases[] = {
      {"LAST", &SimboloRec::Last, 12.37f},
      {"HIGH", &SimboloRec::High, 12.37f},
      {"LOW", &SimboloRec::Low, 12.37f},
      {"OPEN", &SimboloRec::OpenV, 12.37f},
      {"ASK", &SimboloRec::Ask, 12.37f},
      {"ASK PRICE", &SimboloRec::Ask, 12.37f},
      {"BID", &SimboloRec::Bid, 12.37f},
      {"BID PRICE", &SimboloRec::Bid, 12.37f},
      {"PREVIOUS CLOSE", &SimboloRec::Previous, 12.37f},
      {"CHANGE FIELD DEF", &SimboloRec::ChangeFieldDef, 12.37f},
      {"ASK SIZE", &SimboloRec::AskS, 123.875f},
      {"BID SIZE", &SimboloRec::BidS, 123.875f},
      {"INCREMENTAL VOLUME", &SimboloRec::LastS, 123.875f},
      {"VOLUME", &SimboloRec::Vol, 123.875f},
      {"PREVIOUS VOLUME", &SimboloRec::PreviousVol, 123.875f},
      {"OPEN INTEREST", &SimboloRec::OInt, 123.875f},
      {"PROCESS CODE", nullptr, 0.0f},
      {"LAST ", nullptr, 0.0f},
  };
  for (const auto& c : cases) {
    SimboloRec want = Filled();
    want.ProcessCode = 1;
    if (c.slot != nullptr) want.*c.slot = c.want;
    SimboloRec got = Filled();
    got.ProcessCode = 1;
    SetField(got, "\x04\xD5", c.name, 2, kOtherType, kTypes);
    EXPECT_EQ(Members(got), Members(want)) << c.name;
  }
}

TEST(SetFieldTest, LastGoesWhereTheFlagsSayUnderTheSteeredTypes) {
  struct Case {
    int32_t sec_type;
    int32_t flags;
    bool last, ask, bid;
  };
  const Case cases[] = {
      {kOtherType, 0x0004, true, false, false},
      {kOtherType, 0x0000, true, false, false},
      {kTypes.FuturesSecType, 0x0000, false, false, false},
      {kTypes.FuturesSecType, 0x0001, false, false, false},
      {kTypes.SpotsSecType, 0x0006, true, true, false},
      {kTypes.FutureOptionsSecType, 0x0108, true, false, true},
      {kTypes.FuturesSecType, 0x0200, true, false, false},
      {kTypes.SpotsSecType, 0x0400, true, false, false},
      {kTypes.FutureOptionsSecType, 0x000C, false, true, true},
  };
  for (const Case& c : cases) {
    SimboloRec want = Filled();
    want.QuoteFlags = c.flags;
    if (c.last) want.Last = 12.37f;
    if (c.ask) want.Ask = 12.37f;
    if (c.bid) want.Bid = 12.37f;
    SimboloRec got = Filled();
    got.QuoteFlags = c.flags;
    SetField(got, "\x04\xD5", FieldKind::kLast, 2, c.sec_type, kTypes);
    EXPECT_EQ(Members(got), Members(want)) << "type " << c.sec_type << ", flags " << c.flags;
  }
}

TEST(SetFieldTest, ChangeIsTakenOnlyOnceChangeFieldDefIsAboveMinusOne) {
  for (float def : {-1.0f, -1.5f, -0.5f}) {
    SimboloRec got = Filled();
    got.ChangeFieldDef = def;
    SetField(got, "\x04\xD5", "CHANGE", 2, kOtherType, kTypes);
    EXPECT_EQ(got.Change, def > -1.0f ? 12.37f : Filled().Change) << def;
  }
}

TEST(SetFieldTest, SymbolIsCutOrPaddedToTwelve) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"ABCDEFGHIJKLMN", "ABCDEFGHIJKL"},
      {"ABC", "ABC         "},
  };
  for (const auto& [bytes, want] : cases) {
    SimboloRec got = Filled();
    SetField(got, bytes, "SYMBOL", 7, kOtherType, kTypes);
    EXPECT_EQ(std::string_view(got.Simbolo, 12), want);
  }
}

}  // namespace
}  // namespace quotlink
