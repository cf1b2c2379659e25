#include "database/field_slots.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/support/quote_rig.h"

namespace quotlink {
namespace {

constexpr SecTypes kTypes{10, 11, 12};  // futures, future options, spots
constexpr int32_t kOther = 99;

// What SetField changed in a record whose every slot holds a value of its own, as text.
std::string Changes(FieldKind kind, std::string_view bytes, int32_t sec_type = kOther,
                    int32_t flags = 0, float change_def = -1.0f) {
  static const std::pair<const char*, float SimboloRec::*> kSlots[] = {
      {"Previous", &SimboloRec::Previous},
      {"Last", &SimboloRec::Last},
      {"OpenV", &SimboloRec::OpenV},
      {"High", &SimboloRec::High},
      {"Low", &SimboloRec::Low},
      {"Ask", &SimboloRec::Ask},
      {"AskS", &SimboloRec::AskS},
      {"Bid", &SimboloRec::Bid},
      {"BidS", &SimboloRec::BidS},
      {"PreviousVol", &SimboloRec::PreviousVol},
      {"LastS", &SimboloRec::LastS},
      {"Vol", &SimboloRec::Vol},
      {"OInt", &SimboloRec::OInt},
      {"Change", &SimboloRec::Change},
      {"ChangeFieldDef", &SimboloRec::ChangeFieldDef}};
  SimboloRec before = NewWorkingRecord();
  float v = 1000.0f;
  for (const auto& [name, slot] : kSlots)
    before.*slot = v++;
  std::string_view("OLDSYMBOL   ").copy(before.Simbolo, 12);
  before.ProcessCode = 1;  // makes the last digit of a size eighths
  before.QuoteFlags = flags;
  before.ChangeFieldDef = change_def;
  SimboloRec after = before;
  SetField(after, bytes, kind, 2, sec_type, kTypes);
  std::string out;
  if (std::string_view(after.Simbolo, 12) != std::string_view(before.Simbolo, 12))
    out += "Simbolo=" + std::string(after.Simbolo, 12) + " ";
  for (const auto& [name, slot] : kSlots) {
    if (after.*slot != before.*slot) out += name + ("=" + Num(after.*slot)) + " ";
  }
  return out;
}

// 04 D5 is 1237: 12.37 under the field's code 2. Sizes read under code 0 instead, where
// ProcessCode 1 makes the last digit eighths.
TEST(SetFieldTest, EachNameFillsItsSlotAndNoOther) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"LAST", "Last=12.37 "},
      {"HIGH", "High=12.37 "},
      {"LOW", "Low=12.37 "},
      {"OPEN", "OpenV=12.37 "},
      {"ASK", "Ask=12.37 "},
      {"ASK PRICE", "Ask=12.37 "},
      {"BID", "Bid=12.37 "},
      {"BID PRICE", "Bid=12.37 "},
      {"PREVIOUS CLOSE", "Previous=12.37 "},
      {"CHANGE FIELD DEF", "ChangeFieldDef=12.37 "},
      {"ASK SIZE", "AskS=123.875 "},
      {"BID SIZE", "BidS=123.875 "},
      {"INCREMENTAL VOLUME", "LastS=123.875 "},
      {"VOLUME", "Vol=123.875 "},
      {"PREVIOUS VOLUME", "PreviousVol=123.875 "},
      {"OPEN INTEREST", "OInt=123.875 "},
      {"SYMBOL", "Simbolo=\x04\xD5           "},
      {"CHANGE", ""},  // not while ChangeFieldDef is -1
      {"PROCESS CODE", ""},
      {"LAST ", ""},
      {"symbol", ""},
  };
  for (const auto& [name, want] : cases)
    EXPECT_EQ(Changes(FieldKindOf(name), "\x04\xD5"), want) << name;
}

TEST(SetFieldTest, LastGoesWhereTheFlagsSayUnderTheSteeredTypes) {
  const struct {
    int32_t sec_type, flags;
    std::string want;
  } cases[] = {
      {kOther, 0x0004, "Last=12.37 "},
      {kTypes.FuturesSecType, 0x0000, ""},
      {kTypes.FuturesSecType, 0x0001, ""},
      {kTypes.SpotsSecType, 0x0006, "Last=12.37 Ask=12.37 "},
      {kTypes.FutureOptionsSecType, 0x0108, "Last=12.37 Bid=12.37 "},
      {kTypes.FuturesSecType, 0x0200, "Last=12.37 "},
      {kTypes.SpotsSecType, 0x0400, "Last=12.37 "},
      {kTypes.FutureOptionsSecType, 0x000C, "Ask=12.37 Bid=12.37 "},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Changes(FieldKind::kLast, "\x04\xD5", c.sec_type, c.flags), c.want)
        << "type " << c.sec_type << ", flags " << c.flags;
  }
}

TEST(SetFieldTest, ChangeAndSymbol) {
  EXPECT_EQ(Changes(FieldKind::kChange, "\x04\xD5", kOther, 0, -1.5f), "");
  EXPECT_EQ(Changes(FieldKind::kChange, "\x04\xD5", kOther, 0, -0.5f), "Change=12.37 ");
  EXPECT_EQ(Changes(FieldKind::kSymbol, "ABCDEFGHIJKLMN"), "Simbolo=ABCDEFGHIJKL ");
}

}  // namespace
}  // namespace quotlink
