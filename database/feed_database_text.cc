#include "database/feed_database_text.h"

namespace quotlink {

std::string DescribeFeedDatabase(const FeedDatabase& db) {
  using std::to_string;
  std::string out(db.Header().Version, 4);
  for (int32_t i = 1; i <= db.FieldNameCount(); ++i)
    out += "|" + std::string(db.FieldName(i));
  for (int32_t i = 1; i <= db.SecTypeCount(); ++i)
    out += "|" + to_string(db.SecTypeId(i)) + "=" + std::string(db.SecTypeName(i));
  const SecTypes& t = db.SecTypeNumbers();
  out += "|" + to_string(t.FuturesSecType) + "," + to_string(t.FutureOptionsSecType) + "," +
         to_string(t.SpotsSecType);
  for (int32_t i = 1; i <= db.DatabaseCount(); ++i) {
    const DatabaseRec& r = *db.Database(i);
    out += "|" + std::string(r.Key1, 4) + std::string(r.Key2, 4) + " " + to_string(r.LengthA) +
           "," + to_string(r.LengthB) + " " + to_string(r.SecType) + " " + to_string(r.CountA) +
           " " + to_string(r.CountB);
    for (int32_t j = 1; j <= r.CountB && j <= 256; ++j) {
      const FieldSlot& s = r.Slot(j);
      out += " " + to_string(s.Format) + "/" + to_string(s.Length) + "/" + to_string(s.NameIndex) +
             "/" + to_string(static_cast<int>(s.kind)) + (s.process_code ? "p" : "");
    }
  }
  return out;
}

}  // namespace quotlink
