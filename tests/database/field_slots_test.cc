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

TEST(FieldKindOfTest, OnlyExactNamesMatch) {
  const std::pair<std::string_view, FieldKind> cases[] = {
      {"SYMBOL", FieldKind::kSymbol},
      {"LAST", FieldKind::kLast},
      {"ASK", FieldKind::kAsk},
      {"ASK PRICE", FieldKind::kAskPrice},
      {"VOLUME", FieldKind::kVolume},
      {"INCREMENTAL VOLUME", FieldKind::kIncrementalVolume},
      {"CHANGE", FieldKind::kChange},
      {"CHANGE FIELD DEF", FieldKind::kChangeFieldDef},
      {"symbol", FieldKind::kNone},
      {"LAST ", FieldKind::kNone},
      {" LAST", FieldKind::kNone},
      {"ASK  PRICE", FieldKind::kNone},
      {"PROCESS CODE", FieldKind::kNone},
      {"", FieldKind::kNone},
      {std::string_view("LAST\0", 5), FieldKind::kNone},
  };
  for (const auto& [name, kind] : cases)
    EXPECT_EQ(FieldKindOf(name), kind) << name;
}

TEST(SetFieldTest, EachNameFillsItsSlotAndNoOther) {
  // 04 D5 is 1237: 12.37 under the field's code 2. Sizes read under code 0 instead, where
  // ProcessCode 1 makes the last digit eighths.
  const struct {
    const char* name;
    std::string_view bytes;
    int32_t process_code;
    float SimboloRec::*slot;  // nullptr: nothing changes
    float want;
  } cases[] = {
      {"LAST", "\x04\xD5", 1, &SimboloRec::Last, 12.37f},
      {"HIGH", "\x04\xD5", 1, &SimboloRec::High, 12.37f},
      {"LOW", "\x04\xD5", 1, &SimboloRec::Low, 12.37f},
      {"OPEN", "\x04\xD5", 1, &SimboloRec::OpenV, 12.37f},
      {"ASK", "\x04\xD5", 1, &SimboloRec::Ask, 12.37f},
      {"ASK PRICE", "\x04\xD5", 1, &SimboloRec::Ask, 12.37f},
      {"BID", "\x04\xD5", 1, &SimboloRec::Bid, 12.37f},
      {"BID PRICE", "\x04\xD5", 1, &SimboloRec::Bid, 12.37f},
      {"PREVIOUS CLOSE", "\x04\xD5", 1, &SimboloRec::Previous, 12.37f},
      {"CHANGE FIELD DEF", "\x04\xD5", 1, &SimboloRec::ChangeFieldDef, 12.37f},
      {"ASK SIZE", "\x04\xD5", -1, &SimboloRec::AskS, 1237.0f},
      {"ASK SIZE", "\x04\xD5", 1, &SimboloRec::AskS, 123.875f},
      {"BID SIZE", "\x04\xD5", 1, &SimboloRec::BidS, 123.875f},
      {"INCREMENTAL VOLUME", "\x04\xD5", 1, &SimboloRec::LastS, 123.875f},
      {"VOLUME", "\x04\xD5", 1, &SimboloRec::Vol, 123.875f},
      {"PREVIOUS VOLUME", "\x04\xD5", 1, &SimboloRec::PreviousVol, 123.875f},
      {"OPEN INTEREST", "\x04\xD5", 1, &SimboloRec::OInt, 123.875f},
      {"HIGH", "", 1, &SimboloRec::High, 0.0f},
      {"VOLUME", "", 1, &SimboloRec::Vol, 0.0f},
      {"PROCESS CODE", "\x04\xD5", 1, nullptr, 0.0f},
      {"symbol", "\x04\xD5", 1, nullptr, 0.0f},
      {"LAST ", "\x04\xD5", 1, nullptr, 0.0f},
      {"TICK ID", "\x04\xD5", 1, nullptr, 0.0f},
  };
  for (const auto& c : cases) {
    SimboloRec want = Filled();
    want.ProcessCode = c.process_code;
    if (c.slot != nullptr) want.*c.slot = c.want;
    SimboloRec got = Filled();
    got.ProcessCode = c.process_code;
    SetField(got, c.bytes, c.name, 2, kOtherType, kTypes);
    EXPECT_EQ(Members(got), Members(want)) << c.name << ", process code " << c.process_code;
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
  for (float def : {-1.0f, -1.5f, 0.0f, -0.5f, 3.0f}) {
    SimboloRec got = Filled();
    got.ChangeFieldDef = def;
    SetField(got, "\x04\xD5", "CHANGE", 2, kOtherType, kTypes);
    EXPECT_EQ(got.Change, def > -1.0f ? 12.37f : Filled().Change) << def;
  }
  // A "CHANGE FIELD DEF" of 0 earlier in the packet opens the gate.
  SimboloRec got = Filled();
  SetField(got, std::string_view("\0", 1), "CHANGE FIELD DEF", 0, kOtherType, kTypes);
  SetField(got, "\x04\xD5", "CHANGE", 2, kOtherType, kTypes);
  EXPECT_EQ(got.Change, 12.37f);
}

TEST(SetFieldTest, SymbolIsCutOrPaddedToTwelve) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"ABCDEFGHIJKLMN", "ABCDEFGHIJKL"},
      {"ABC", "ABC         "},
      {"", "            "},
      {std::string_view("A\0B", 3), std::string_view("A\0B         ", 12)},
  };
  for (const auto& [bytes, want] : cases) {
    SimboloRec got = Filled();
    SetField(got, bytes, "SYMBOL", 7, kOtherType, kTypes);
    EXPECT_EQ(std::string_view(got.Simbolo, 12), want);
  }
}

TEST(SetFieldTest, ByNameAndByKindAgree) {
  const char* names[] = {"SYMBOL",
                         "LAST",
                         "HIGH",
                         "LOW",
                         "OPEN",
                         "ASK",
                         "ASK PRICE",
                         "ASK SIZE",
                         "BID",
                         "BID PRICE",
                         "BID SIZE",
                         "INCREMENTAL VOLUME",
                         "VOLUME",
                         "PREVIOUS CLOSE",
                         "PREVIOUS VOLUME",
                         "OPEN INTEREST",
                         "CHANGE FIELD DEF",
                         "CHANGE",
                         "Last",
                         "PROCESS CODE"};
  for (const char* name : names) {
    for (int32_t sec_type : {kOtherType, kTypes.SpotsSecType}) {
      SimboloRec by_name = Filled();
      SimboloRec by_kind = Filled();
      by_name.QuoteFlags = by_kind.QuoteFlags = 0x0004;
      by_name.ChangeFieldDef = by_kind.ChangeFieldDef = 0.0f;
      SetField(by_name, "\x81\x23", name, 3, sec_type, kTypes);
      SetField(by_kind, "\x81\x23", FieldKindOf(name), 3, sec_type, kTypes);
      EXPECT_EQ(Members(by_name), Members(by_kind)) << name;
    }
  }
}

}  // namespace
}  // namespace quotlink
