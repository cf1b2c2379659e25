#include "database/field_slots.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/quote_rig.h"

namespace quotlink {
namespace {

constexpr SecTypes kTypes{10, 11, 12};  // futures, future options, spots
constexpr int32_t kOther = 99;

// What SetField changed in a record whose every slot holds a value of its own, as text.
std::string Changes(FieldKind kind, std::string_view bytes, int32_t sec_type = kOther,
                    int32_t flags = 0, float change_def = -1.0f) {
#define QUOTLINK_SLOT(name) std::make_pair(#name, &SimboloRec::name)
  static const std::pair<const char*, float SimboloRec::*> kSlots[] = {
      QUOTLINK_SLOT(Previous),    QUOTLINK_SLOT(Last),   QUOTLINK_SLOT(OpenV),
      QUOTLINK_SLOT(High),        QUOTLINK_SLOT(Low),    QUOTLINK_SLOT(Ask),
      QUOTLINK_SLOT(AskS),        QUOTLINK_SLOT(Bid),    QUOTLINK_SLOT(BidS),
      QUOTLINK_SLOT(PreviousVol), QUOTLINK_SLOT(LastS),  QUOTLINK_SLOT(Vol),
      QUOTLINK_SLOT(OInt),        QUOTLINK_SLOT(Change), QUOTLINK_SLOT(ChangeFieldDef),
  };
#undef QUOTLINK_SLOT
  SimboloRec before = NewWorkingRecord();
  float v = 1000.0f;
  for (const auto& [name, slot] : kSlots)
    before.*slot = v++;
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

// 04 D5 is 1237: 12.37 under the field's code 2; sizes read under code 0, where ProcessCode 1
// makes the last digit eighths. "LAST" under the steered types goes where QuoteFlags say.
TEST(SetFieldTest, EachNameFillsItsSlotAndNoOther) {
  const struct {
    std::vector<std::string_view> names;
    std::string want;
    int32_t sec_type = kOther;
    int32_t flags = 0;
    float change_def = -1.0f;
  } cases[] = {
      {{"ASK", "ASK PRICE"}, "Ask=12.37 "},
      {{"BID PRICE"}, "Bid=12.37 "},
      {{"PREVIOUS VOLUME"}, "PreviousVol=123.875 "},
      {{"SYMBOL"}, "Simbolo=\x04\xD5           "},
      {{"CHANGE", "PROCESS CODE", "LAST ", "symbol"}, ""},  // CHANGE waits for ChangeFieldDef
      {{"CHANGE"}, "Change=12.37 ", kOther, 0, -0.5f},
      {{"LAST"}, "Last=12.37 ", kOther, 0x0004},
      {{"LAST"}, "", kTypes.FuturesSecType, 0x0001},
      {{"LAST"}, "Last=12.37 Bid=12.37 ", kTypes.FutureOptionsSecType, 0x0108},
      {{"LAST"}, "Last=12.37 ", kTypes.FuturesSecType, 0x0200},
      {{"LAST"}, "Last=12.37 Ask=12.37 ", kTypes.SpotsSecType, 0x0404},
  };
  for (const auto& c : cases) {
    for (std::string_view name : c.names) {
      EXPECT_EQ(Changes(FieldKindOf(name), "\x04\xD5", c.sec_type, c.flags, c.change_def), c.want)
          << name << ", type " << c.sec_type << ", flags " << c.flags;
    }
  }
  EXPECT_EQ(Changes(FieldKind::kSymbol, "ABCDEFGHIJKLMN"), "Simbolo=ABCDEFGHIJKL ");
  // Until an image names the steered types their numbers are 0: type 1 keeps LAST as Last.
  SimboloRec r = NewWorkingRecord();
  SetField(r, "\x04\xD5", FieldKind::kLast, 2, 1, SecTypes{});
  EXPECT_FLOAT_EQ(r.Last, 12.37f);
}

}  // namespace
}  // namespace quotlink
