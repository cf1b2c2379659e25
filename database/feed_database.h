// The feed database: the feed's own description of its data, read from the image that the
// server sends at the start of every session. It names all fields, the security types, and one
// record layout (a "database") for each kind of record the server sends. No field layout is
// compiled into the system: until an image has been accepted no quote packet can be read.
#ifndef QUOTLINK_DATABASE_FEED_DATABASE_H_
#define QUOTLINK_DATABASE_FEED_DATABASE_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "database/field_slots.h"
#include "database/image_format.h"
#include "util/bytes.h"

namespace quotlink {

// One field of a record layout. Members up to Reserved3 are the image's entry as read; the last
// two are worked out from the field's name when the image is read, so that walking a packet
// compares no strings. A slot that the image didn't fill is all zero with kind kNone.
struct FieldSlot {
  int16_t Format = 0;      // format code of the field's bytes
  int16_t Length = 0;      // width of the field in a positional record, in bytes
  int16_t Reserved1 = 0;   // stored as read; nothing reads it
  int16_t Reserved2 = 0;   // stored as read; nothing reads it
  int16_t NameIndex = 0;   // FieldName(NameIndex + 1) of the FeedDatabase is the field's name
  uint32_t Reserved3 = 0;  // stored as read; nothing reads it
  FieldKind kind = FieldKind::kNone;  // where SetField stores the field; kNone for an unknown
                                      // name or a NameIndex outside the names
  bool process_code = false;          // the name contains "PROCESS CODE": its first byte is the
                                      // record's ProcessCode
};

// One record layout. Counts and lengths are held as read: CountA and CountB may be negative,
// exceed each other or exceed the 256 slots held. Readers go through Slot().
struct DatabaseRec {
  char Key1[4] = {};       // key as stored in the image; a packet carries it reversed
  char Key2[4] = {};       // second key, searched like Key1
  char Reserved1[4] = {};  // stored as read; nothing reads it
  char Reserved2[4] = {};  // stored as read; nothing reads it
  char Reserved3[4] = {};  // stored as read; nothing reads it
  int16_t LengthA = 0;     // payload length that selects CountA in single-record packets
  int16_t LengthB = 0;     // stored as read; nothing reads it
  char Reserved4[8] = {};  // stored as read; nothing reads it
  uint16_t SecType = 0;    // security type, compared with the three SecTypes numbers
  char Name[40] = {};      // untrimmed; nothing reads it
  int16_t CountA = 0;      // leading slots read when a packet's size or form selects them
  int16_t CountB = 0;      // number of field entries the image gave (not capped at 256)
  // Slots are numbered from 1, as a field number from the wire indexes them, so element 0 is
  // never filled; then 1..min(CountB, 256) in wire order. Only the slots the image names are
  // held, so that the layouts' memory follows the image's size.
  std::vector<FieldSlot> Slots;

  // Slot `j`; an unfilled slot for any `j` outside 1..256. The reference lives as long as this
  // record (or the program, for the unfilled slot).
  const FieldSlot& Slot(int32_t j) const;
};

// The image's first 80 bytes, as read. Only Version means anything.
struct ImageHeader {
  char Version[4] = {};
  char Reserved1[4] = {};
  char Reserved2[8] = {};
  char Reserved3[39] = {};
  char Reserved4[1] = {};
  char Reserved5[4] = {};
  char Reserved6[4] = {};
  char Reserved7[16] = {};
};

class FeedDatabase;

enum class ImageParseKind : uint8_t {
  kAccepted,      // the database was replaced by the image
  kWrongVersion,  // the image is of another version than asked for; nothing changed
  kMalformed,     // the image contradicts itself (see reason); nothing changed
};

struct [[nodiscard]] ImageParse {
  ImageParseKind kind = ImageParseKind::kAccepted;
  std::string reason;  // for kMalformed (and kWrongVersion): what was wrong, for people
};

// Reads `image`, the whole database transfer, into `*db`.
// The first four bytes must equal `expectedVersion4` byte for byte, else kWrongVersion. An image
// whose counts are negative or promise more bytes than it holds is kMalformed. On either refusal
// `*db` is left exactly as it was. On kAccepted `*db` is replaced whole, except that each of the
// three security type numbers keeps its old value when the new image doesn't name its type.
// `caption` (may be empty) is told the progress as the parse goes: "FIELD NAMES i of F",
// "SEC TYPES i of N", "END SEC TYPES ", "DATABASE i of D"; a view it is given is valid only
// during that call. It is called also for an image that turns out malformed further on.
// REQUIRES: db != nullptr.
ImageParse ParseFeedImage(ByteView image, ByteView expectedVersion4, FeedDatabase* db,
                          const std::function<void(std::string_view caption)>& caption);

// Everything an accepted image told, for as long as the process lives. Starts empty. Lists count
// from 1; an index out of range reads as an empty name, number 0 or a null record. Views and
// pointers it gives stay valid until the next accepted image replaces its contents.
class FeedDatabase {
 public:
  const ImageHeader& Header() const { return header_; }

  int32_t FieldNameCount() const { return static_cast<int32_t>(field_names_.size()); }
  std::string_view FieldName(int32_t i) const;

  int32_t SecTypeCount() const { return static_cast<int32_t>(sec_type_ids_.size()); }
  int32_t SecTypeId(int32_t i) const;
  std::string_view SecTypeName(int32_t i) const;
  // The numbers of the types named "FUTURES", "FUTURE_OPTIONS" and "SPOTS"; 0 until seen.
  const SecTypes& SecTypeNumbers() const { return sec_types_; }

  int32_t DatabaseCount() const { return static_cast<int32_t>(databases_.size()); }
  const DatabaseRec* Database(int32_t i) const;

  // The first database (lowest index) whose Key1 or Key2 is `storedKey`, in the image's byte
  // order; -1 if none or `storedKey` isn't 4 bytes.
  int16_t FindStoredKey(ByteView storedKey) const;

 private:
  friend ImageParse ParseFeedImage(ByteView, ByteView, FeedDatabase*,
                                   const std::function<void(std::string_view)>&);

  ImageHeader header_;
  std::vector<std::string> field_names_;  // element 0 is name 1
  std::vector<int32_t> sec_type_ids_;     // element 0 is type 1
  std::vector<std::string> sec_type_names_;
  SecTypes sec_types_;
  std::vector<DatabaseRec> databases_;  // element 0 is database 1
  // Each key to the first database that carries it, as Key1 or Key2: a lookup gives what a
  // walk from the first database would.
  std::unordered_map<uint32_t, int16_t> first_with_key_;
};

// The database for a key as a packet carries it (first byte last): the 4 bytes are reversed and
// looked up. Returns the 1-based index, or -1 when no database has it or `wireKey` isn't 4 bytes.
int16_t FindDatabaseIndex(const FeedDatabase& db, ByteView wireKey);

// A fixed-width name of the image as text: empty if `text` is empty or starts with NUL; else
// without the blanks and NULs at its two ends (those inside stay).
std::string TrimFieldText(ByteView text);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_FEED_DATABASE_H_
