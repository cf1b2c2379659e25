// Packets 13 and 28: one whole record of one instrument.
#ifndef QUOTLINK_DATABASE_RECORD_PACKETS_H_
#define QUOTLINK_DATABASE_RECORD_PACKETS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "database/feed_database.h"
#include "util/bytes.h"

namespace quotlink {

// What a record packet needs of the quote table and its publication; the quote stream is one.
// The operations are those of the table's field walkers (see quotes/field_walkers.h).
class RecordWalker {
 public:
  virtual ~RecordWalker() = default;
  virtual int32_t FindSimbolo(ByteView key, int32_t code, ByteView shownSymbol) = 0;
  virtual void ReadFullRecord(ByteView text, int16_t db, int32_t* index, int32_t start,
                              int32_t count, ByteView key, int32_t code) = 0;
  // The cleaned symbol of record `index` (1 or more), copied out of the table.
  virtual std::string CleanSymbolOf(int32_t index) const = 0;
  // Whether `symbol` stands on the watch list.
  virtual bool Watched(std::string_view symbol) const = 0;
  virtual void PublishRecord(int32_t index, ByteView symbol) = 0;
};

// Stores the record of one whole type-13 (`codeWidth` 2) or type-28 (`codeWidth` 4) frame,
// read with the layouts of `database`, and publishes it for an instrument on the watch list.
void DecodeRecordPacket(const FeedDatabase& database, RecordWalker& walker, ByteView frame,
                        int codeWidth);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_RECORD_PACKETS_H_
