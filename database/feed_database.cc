#include "database/feed_database.h"

#include <algorithm>
#include <utility>

namespace quotlink {
namespace {

namespace fmt = image_format;

// Four bytes, least significant first, as the image holds its numbers.
uint32_t Little32(ByteView b) {
  return uint32_t{ByteAt(b, 0)} | (uint32_t{ByteAt(b, 1)} << 8) | (uint32_t{ByteAt(b, 2)} << 16) |
         (uint32_t{ByteAt(b, 3)} << 24);
}

// A key as a hash key. Keys are opaque and are never read as numbers: the packing only has to be
// the same for the stored key and the one looked up.
uint32_t PackKey(ByteView key) {
  return Little32(key);
}

bool IsPad(char c) {
  return c == ' ' || c == '\0';
}

template <size_t N>
void CopyInto(ByteView bytes, char (&dst)[N]) {
  std::copy_n(bytes.data(), std::min(bytes.size(), N), dst);
}

// Reads the image front to back, once. Every read is checked: an image that ends before its
// counts say, or gives a negative count, fails, and the caller keeps nothing of it.
class ImageReader {
 public:
  ImageReader(ByteView image, const std::function<void(std::string_view)>& caption)
      : in_(image), caption_(caption) {}

  bool ReadHeader(ImageHeader* header);
  bool ReadFieldNames(std::vector<std::string>* names);
  bool ReadSecTypes(std::vector<int32_t>* ids, std::vector<std::string>* names, SecTypes* numbers);
  bool ReadDatabases(const std::vector<std::string>& field_names,
                     std::vector<DatabaseRec>* databases);
  const std::string& error() const { return error_; }

 private:
  bool ReadCount(const char* what, int16_t* count);
  bool ReadDatabase(const std::vector<std::string>& field_names, DatabaseRec* rec);
  bool ReadSlot(const std::vector<std::string>& field_names, FieldSlot* slot);
  bool Fail(const char* what);
  void Caption(const char* what, int32_t i, int32_t n);

  ByteReader in_;
  const std::function<void(std::string_view)>& caption_;
  std::string caption_text_;
  std::string error_;
};

bool ImageReader::Fail(const char* what) {
  error_ = "image ends inside ";
  error_ += what;
  error_ += " at offset ";
  error_ += std::to_string(in_.position());
  return false;
}

void ImageReader::Caption(const char* what, int32_t i, int32_t n) {
  if (!caption_) return;
  caption_text_ = what;
  caption_text_ += std::to_string(i);
  caption_text_ += " of ";
  caption_text_ += std::to_string(n);
  caption_(caption_text_);
}

bool ImageReader::ReadCount(const char* what, int16_t* count) {
  const size_t at = in_.position();
  if (!in_.GetLittle16(count)) return Fail(what);
  if (*count < 0) {
    error_ = std::string("negative ") + what + " (" + std::to_string(*count) + ") at offset " +
             std::to_string(at);
    return false;
  }
  return true;
}

bool ImageReader::ReadHeader(ImageHeader* header) {
  ByteView field[8];
  for (size_t i = 0; i < 8; ++i) {
    if (!in_.GetBytes(fmt::kHeaderFieldSizes[i], &field[i])) return Fail("the header");
  }
  CopyInto(field[0], header->Version);
  CopyInto(field[1], header->Reserved1);
  CopyInto(field[2], header->Reserved2);
  CopyInto(field[3], header->Reserved3);
  CopyInto(field[4], header->Reserved4);
  CopyInto(field[5], header->Reserved5);
  CopyInto(field[6], header->Reserved6);
  CopyInto(field[7], header->Reserved7);
  return true;
}

bool ImageReader::ReadFieldNames(std::vector<std::string>* names) {
  int16_t count = 0;
  if (!ReadCount("count of field names", &count)) return false;
  // A hostile count must not reserve more than the rest of the image could hold.
  names->reserve(std::min<size_t>(count, in_.remaining() / fmt::kFieldNameSize));
  for (int32_t i = 1; i <= count; ++i) {
    Caption("FIELD NAMES ", i, count);
    ByteView text;
    if (!in_.GetBytes(fmt::kFieldNameSize, &text)) return Fail("the field names");
    names->push_back(TrimFieldText(text));
  }
  return true;
}

bool ImageReader::ReadSecTypes(std::vector<int32_t>* ids, std::vector<std::string>* names,
                               SecTypes* numbers) {
  int16_t count = 0;
  if (!ReadCount("count of security types", &count)) return false;
  const size_t fits = in_.remaining() / fmt::kSecTypeEntrySize;
  ids->reserve(std::min<size_t>(count, fits));
  names->reserve(std::min<size_t>(count, fits));
  for (int32_t i = 1; i <= count; ++i) {
    Caption("SEC TYPES ", i, count);
    int16_t id = 0;
    ByteView text;
    if (!in_.GetLittle16(&id) || !in_.GetBytes(fmt::kSecTypeNameSize, &text)) {
      return Fail("the security types");
    }
    ids->push_back(id);
    names->push_back(TrimFieldText(text));
    // Only these three types mean anything to the system (they steer "LAST"); a later entry of
    // the same name wins.
    const std::string& name = names->back();
    if (name == "FUTURES") numbers->FuturesSecType = id;
    if (name == "FUTURE_OPTIONS") numbers->FutureOptionsSecType = id;
    if (name == "SPOTS") numbers->SpotsSecType = id;
  }
  if (caption_) caption_("END SEC TYPES ");
  return true;
}

bool ImageReader::ReadDatabases(const std::vector<std::string>& field_names,
                                std::vector<DatabaseRec>* databases) {
  int16_t count = 0;
  if (!ReadCount("count of databases", &count)) return false;
  databases->reserve(std::min<size_t>(count, in_.remaining() / fmt::kDbFixedSize));
  for (int32_t i = 1; i <= count; ++i) {
    Caption("DATABASE ", i, count);
    databases->emplace_back();
    if (!ReadDatabase(field_names, &databases->back())) return false;
  }
  return true;
}

bool ImageReader::ReadDatabase(const std::vector<std::string>& field_names, DatabaseRec* rec) {
  ByteView key1, key2, r1, r2, r3, r4, name;
  if (!in_.GetBytes(fmt::kDbKeySize, &key1) || !in_.GetBytes(fmt::kDbKeySize, &key2) ||
      !in_.GetBytes(fmt::kDbUnreadASize, &r1) || !in_.GetBytes(fmt::kDbUnreadASize, &r2) ||
      !in_.GetBytes(fmt::kDbUnreadASize, &r3) || !in_.GetLittle16(&rec->LengthA) ||
      !in_.GetLittle16(&rec->LengthB) || !in_.GetBytes(fmt::kDbUnreadBSize, &r4) ||
      !in_.GetLittleU16(&rec->SecType) || !in_.GetBytes(fmt::kDbNameSize, &name) ||
      !in_.GetLittle16(&rec->CountA)) {
    return Fail("a database record");
  }
  CopyInto(key1, rec->Key1);
  CopyInto(key2, rec->Key2);
  CopyInto(r1, rec->Reserved1);
  CopyInto(r2, rec->Reserved2);
  CopyInto(r3, rec->Reserved3);
  CopyInto(r4, rec->Reserved4);
  CopyInto(name, rec->Name);
  if (!ReadCount("count of fields in a database record", &rec->CountB)) return false;

  const size_t count = static_cast<size_t>(rec->CountB);
  const size_t kept = std::min(count, fmt::kMaxSlots);
  // Only as many as the bytes left can hold: a count that runs past the end costs nothing.
  rec->Slots.resize(std::min(kept, in_.remaining() / fmt::kSlotEntrySize) + 1);
  for (size_t j = 1; j <= kept; ++j) {
    // Past the slots the bytes can hold the read fails, where the bytes end.
    FieldSlot beyond;
    if (!ReadSlot(field_names, j < rec->Slots.size() ? &rec->Slots[j] : &beyond)) return false;
  }
  // A record can hold only 256 fields, and no field number on the wire can name more. The
  // entries beyond are stepped over by the count, which is what places the next record.
  if (!in_.Skip((count - kept) * fmt::kSlotEntrySize)) return Fail("the fields of a database");
  return true;
}

bool ImageReader::ReadSlot(const std::vector<std::string>& field_names, FieldSlot* slot) {
  ByteView tail;
  if (!in_.GetLittle16(&slot->Format) || !in_.GetLittle16(&slot->Length) ||
      !in_.GetLittle16(&slot->Reserved1) || !in_.GetLittle16(&slot->Reserved2) ||
      !in_.GetLittle16(&slot->NameIndex) || !in_.GetBytes(4, &tail)) {
    return Fail("the fields of a database");
  }
  slot->Reserved3 = Little32(tail);
  // A name index outside the names reads as an empty name, which no slot and no special
  // treatment knows.
  if (slot->NameIndex >= 0 && static_cast<size_t>(slot->NameIndex) < field_names.size()) {
    const std::string& name = field_names[static_cast<size_t>(slot->NameIndex)];
    slot->kind = FieldKindOf(name);
    slot->process_code = name.find("PROCESS CODE") != std::string::npos;
  }
  return true;
}

}  // namespace

const FieldSlot& DatabaseRec::Slot(int32_t j) const {
  static const FieldSlot kUnfilled;
  if (j < 1 || static_cast<size_t>(j) >= Slots.size()) return kUnfilled;
  return Slots[static_cast<size_t>(j)];
}

std::string_view FeedDatabase::FieldName(int32_t i) const {
  if (i < 1 || i > FieldNameCount()) return {};
  return field_names_[static_cast<size_t>(i - 1)];
}

int32_t FeedDatabase::SecTypeId(int32_t i) const {
  if (i < 1 || i > SecTypeCount()) return 0;
  return sec_type_ids_[static_cast<size_t>(i - 1)];
}

std::string_view FeedDatabase::SecTypeName(int32_t i) const {
  if (i < 1 || i > SecTypeCount()) return {};
  return sec_type_names_[static_cast<size_t>(i - 1)];
}

const DatabaseRec* FeedDatabase::Database(int32_t i) const {
  if (i < 1 || i > DatabaseCount()) return nullptr;
  return &databases_[static_cast<size_t>(i - 1)];
}

int16_t FeedDatabase::FindStoredKey(ByteView storedKey) const {
  if (storedKey.size() != fmt::kDbKeySize) return -1;
  const auto it = first_with_key_.find(PackKey(storedKey));
  return it == first_with_key_.end() ? int16_t{-1} : it->second;
}

ImageParse ParseFeedImage(ByteView image, ByteView expectedVersion4, FeedDatabase* db,
                          const std::function<void(std::string_view caption)>& caption) {
  if (expectedVersion4.size() != fmt::kVersionSize ||
      image.substr(0, fmt::kVersionSize) != expectedVersion4) {
    return {ImageParseKind::kWrongVersion, "the image is of another version"};
  }

  FeedDatabase fresh;
  fresh.sec_types_ = db->sec_types_;  // a type the image doesn't name keeps its number
  ImageReader reader(image, caption);
  if (!reader.ReadHeader(&fresh.header_) || !reader.ReadFieldNames(&fresh.field_names_) ||
      !reader.ReadSecTypes(&fresh.sec_type_ids_, &fresh.sec_type_names_, &fresh.sec_types_) ||
      !reader.ReadDatabases(fresh.field_names_, &fresh.databases_)) {
    return {ImageParseKind::kMalformed, reader.error()};
  }
  // Bytes behind the last database are ignored: the image carries no length of its own to hold
  // them against.

  fresh.first_with_key_.reserve(fresh.databases_.size() * 2);
  for (size_t i = 0; i < fresh.databases_.size(); ++i) {
    const DatabaseRec& rec = fresh.databases_[i];
    const auto index = static_cast<int16_t>(i + 1);  // at most 32767 databases
    fresh.first_with_key_.try_emplace(PackKey(ByteView(rec.Key1, 4)), index);
    fresh.first_with_key_.try_emplace(PackKey(ByteView(rec.Key2, 4)), index);
  }
  *db = std::move(fresh);
  return {};
}

int16_t FindDatabaseIndex(const FeedDatabase& db, ByteView wireKey) {
  if (wireKey.size() != fmt::kDbKeySize) return -1;
  // A packet carries the key with its first byte last.
  const char stored[4] = {wireKey[3], wireKey[2], wireKey[1], wireKey[0]};
  return db.FindStoredKey(ByteView(stored, 4));
}

std::string TrimFieldText(ByteView text) {
  // A name that starts with NUL is empty, whatever follows: the feed pads unused entries so.
  if (text.empty() || text[0] == '\0') return std::string();
  size_t end = text.size();
  while (end > 0 && IsPad(text[end - 1]))
    --end;
  size_t begin = 0;
  while (begin < end && IsPad(text[begin]))
    ++begin;
  return std::string(text.substr(begin, end - begin));
}

}  // namespace quotlink
