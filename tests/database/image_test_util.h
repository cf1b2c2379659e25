// Shared by the tests of the database image: a sample layout and a summary of a FeedDatabase
// that tells whether a refused image left it as it was.
#ifndef QUOTLINK_TESTS_DATABASE_IMAGE_TEST_UTIL_H_
#define QUOTLINK_TESTS_DATABASE_IMAGE_TEST_UTIL_H_

#include <string>

#include "database/feed_database.h"
#include "tools/imagegen/image_writer.h"

namespace quotlink {

inline const ByteString kVersion("\x09\x03\x00\x01", 4);

// Three field names, two security types, two databases of two and three fields.
inline ImageLayout SampleLayout() {
  ImageLayout layout;
  layout.field_names = {"SYMBOL", "LAST", "PROCESS CODE"};
  layout.sec_types = {{5, "FUTURES"}, {6, "EQUITY"}};
  DatabaseLayout first;
  first.key1 = "DCBA";
  first.key2 = "HGFE";
  first.sec_type = 5;
  first.count_a = 1;
  first.slots = {{0, 12, 0}, {2, 4, 1}};
  DatabaseLayout second;
  second.key1 = "LKJI";
  second.key2 = "PONM";
  second.sec_type = 6;
  second.count_a = 2;
  second.slots = {{48, 1, 2}, {0, 12, 0}, {13, 3, 1}};
  layout.databases = {first, second};
  return layout;
}

// Everything a parse may set, as text.
inline std::string Describe(const FeedDatabase& db) {
  std::string out(db.Header().Version, 4);
  for (int32_t i = 1; i <= db.FieldNameCount(); ++i)
    out += "|" + std::string(db.FieldName(i));
  for (int32_t i = 1; i <= db.SecTypeCount(); ++i) {
    out += "|" + std::to_string(db.SecTypeId(i)) + "=" + std::string(db.SecTypeName(i));
  }
  const SecTypes& types = db.SecTypeNumbers();
  out += "|" + std::to_string(types.FuturesSecType) + "," +
         std::to_string(types.FutureOptionsSecType) + "," + std::to_string(types.SpotsSecType);
  for (int32_t i = 1; i <= db.DatabaseCount(); ++i) {
    const DatabaseRec& rec = *db.Database(i);
    out += "|" + std::string(rec.Key1, 4) + std::string(rec.Key2, 4) + " " +
           std::to_string(rec.LengthA) + "," + std::to_string(rec.LengthB) + " " +
           std::to_string(rec.SecType) + " " + std::to_string(rec.CountA) + " " +
           std::to_string(rec.CountB);
    for (int32_t j = 1; j <= rec.CountB && j <= 256; ++j) {
      const FieldSlot& s = rec.Slot(j);
      out += " " + std::to_string(s.Format) + "/" + std::to_string(s.Length) + "/" +
             std::to_string(s.NameIndex) + "/" + std::to_string(static_cast<int>(s.kind)) +
             (s.process_code ? "p" : "");
    }
  }
  return out;
}

}  // namespace quotlink

#endif  // QUOTLINK_TESTS_DATABASE_IMAGE_TEST_UTIL_H_
