// The input as a database image, read into a database that already holds the simulator's.
//
// Checked: an image refused for any reason leaves the database exactly as it was; an image whose
// first 4 bytes aren't the version asked for is refused as of another version; an accepted one
// answers every index, in range and out, without reading outside itself: names, security types,
// layouts and their slots, a slot whose name index lies outside the names knows no field, and
// each layout's keys lead to a layout that carries them.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "database/feed_database.h"
#include "database/feed_database_text.h"
#include "fuzz/fuzz_support.h"

namespace quotlink::fuzz {
namespace {

// Indices round the ends of a list of `count`, and the extremes.
template <typename Visit>
void ForEdges(int32_t count, Visit visit) {
  for (const int32_t i : {std::numeric_limits<int32_t>::min(), -1, 0, 1, count, count + 1,
                          std::numeric_limits<int32_t>::max()})
    visit(i, i >= 1 && i <= count);
}

void Probe(const FeedDatabase& db) {
  ForEdges(db.FieldNameCount(), [&](int32_t i, bool in) {
    if (!in && !db.FieldName(i).empty()) Fail("field name " + std::to_string(i) + " out of range");
  });
  ForEdges(db.SecTypeCount(), [&](int32_t i, bool in) {
    if (!in && (db.SecTypeId(i) != 0 || !db.SecTypeName(i).empty()))
      Fail("security type " + std::to_string(i) + " out of range");
  });
  ForEdges(db.DatabaseCount(), [&](int32_t i, bool in) {
    if ((db.Database(i) != nullptr) != in) Fail("layout " + std::to_string(i));
  });
  for (int32_t i = 1; i <= db.DatabaseCount(); ++i) {
    const DatabaseRec& r = *db.Database(i);
    for (int32_t j : {std::numeric_limits<int32_t>::min(), -1, 0, 257, 65536})
      if (r.Slot(j).kind != FieldKind::kNone || r.Slot(j).Length != 0)
        Fail("slot " + std::to_string(j) + " of layout " + std::to_string(i) + " is filled");
    for (int32_t j = 1; j <= 256; ++j) {
      const FieldSlot& s = r.Slot(j);
      const int32_t name = s.NameIndex + 1;
      const bool named = name >= 1 && name <= db.FieldNameCount();
      (void)db.FieldName(name);
      if (!named && s.kind != FieldKind::kNone)
        Fail("slot " + std::to_string(j) + " of layout " + std::to_string(i) +
             " names no field but has a kind");
    }
    for (const char* key : {r.Key1, r.Key2}) {
      const int16_t at = db.FindStoredKey(ByteView(key, 4));
      const DatabaseRec* found = db.Database(at);
      if (at < 1 || at > i || found == nullptr ||
          (std::string_view(found->Key1, 4) != std::string_view(key, 4) &&
           std::string_view(found->Key2, 4) != std::string_view(key, 4)))
        Fail("key of layout " + std::to_string(i) + " leads to " + std::to_string(at));
    }
  }
}

void Run(const uint8_t* data, size_t size) {
  const ByteView image(reinterpret_cast<const char*>(data), size);
  FeedDatabase db;
  if (ParseFeedImage(GoodImage(), kImageVersion, &db, nullptr).kind != ImageParseKind::kAccepted)
    Fail("the simulator's image was refused");
  const std::string before = DescribeFeedDatabase(db);
  const ImageParse r = ParseFeedImage(image, kImageVersion, &db, [](std::string_view caption) {
    if (caption.empty()) Fail("an empty progress caption");
  });
  const bool version_matches = image.substr(0, 4) == kImageVersion;
  if (!version_matches && r.kind != ImageParseKind::kWrongVersion)
    Fail("an image of another version was not refused as such");
  if (r.kind != ImageParseKind::kAccepted) {
    if (r.reason.empty()) Fail("a refusal without a reason");
    if (DescribeFeedDatabase(db) != before) Fail("a refused image changed the database");
    return;
  }
  Probe(db);
}

}  // namespace
}  // namespace quotlink::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  quotlink::fuzz::Run(data, size);
  return 0;
}
