#include "database/record_packets.h"

#include "link/frame_format.h"

namespace quotlink {

void DecodeRecordPacket(const FeedDatabase& database, RecordWalker& walker, ByteView frame,
                        int codeWidth) {
  const size_t width = codeWidth == 4 ? 4 : 2;
  if (frame.size() < kHeadAndTrailer + width + 2) return;
  const ByteView key = frame.substr(kKeyOffset, 4);
  uint32_t code = BigEndian16(frame, kCodeOffset);
  if (width == 4) code = (code << 16) | BigEndian16(frame, kCodeOffset + 2);
  // A code that doesn't fit a signed 32-bit number names no instrument we can hold.
  if (code > 0x7FFFFFFFu) return;
  const int16_t db = FindDatabaseIndex(database, key);
  if (db < 0) return;
  const DatabaseRec* rec = database.Database(db);
  if (rec == nullptr) return;
  const size_t n = frame.size() - (kHeadAndTrailer + width);
  const int32_t count =
      rec->LengthA >= 0 && n == static_cast<size_t>(rec->LengthA) ? rec->CountA : rec->CountB;
  int32_t index = walker.FindSimbolo(key, static_cast<int32_t>(code), ByteView());
  walker.ReadFullRecord(frame, db, &index, static_cast<int32_t>(kCodeOffset + width + 1), count,
                        key, static_cast<int32_t>(code));
  if (index < 1) return;
  // Copied out of the table: the publication's subscribers may change it.
  const std::string symbol = walker.CleanSymbolOf(index);
  if (symbol.empty() || !walker.Watched(symbol)) return;
  walker.PublishRecord(index, symbol);
}

}  // namespace quotlink
