#include "database/record_packets.h"

#include "client/quotlinkbas.h"
#include "client/quotlinkfrm.h"
#include "database/feed_database.h"
#include "link/frame_format.h"
#include "quotes/field_walkers.h"
#include "quotes/publication.h"
#include "quotes/simbolo_table.h"

namespace quotlink {

void DecodeRecordPacket(QUOTLINKBAS& bas, ByteView frame, int codeWidth) {
  const size_t width = codeWidth == 4 ? 4 : 2;
  if (frame.size() < kHeadAndTrailer + width + 2) return;
  const ByteView key = frame.substr(kKeyOffset, 4);
  uint32_t code = BigEndian16(frame, kCodeOffset);
  if (width == 4) code = (code << 16) | BigEndian16(frame, kCodeOffset + 2);
  // A code that doesn't fit a signed 32-bit number names no instrument we can hold.
  if (code > 0x7FFFFFFFu) return;
  const int16_t db = FindDatabase(bas, key);
  if (db < 0) return;
  const DatabaseRec* rec = bas.feed_database.Database(db);
  if (rec == nullptr) return;
  const size_t n = frame.size() - (kHeadAndTrailer + width);
  const int32_t count =
      rec->LengthA >= 0 && n == static_cast<size_t>(rec->LengthA) ? rec->CountA : rec->CountB;
  int32_t index = FindSimbolo(bas, key, static_cast<int32_t>(code), ByteView());
  ReadFullRecord(bas, frame, db, &index, static_cast<int32_t>(kCodeOffset + width + 1), count, key,
                 static_cast<int32_t>(code));
  if (index < 1) return;
  // Copied out of the table: the publication's subscribers may change it.
  const SimboloRec& r = bas.Simbolos.at(index);
  const std::string symbol(CleanSymbol(std::string_view(r.Simbolo, sizeof r.Simbolo)));
  if (symbol.empty() || bas.Form().DTNSYMBOLS.Find(symbol) < 1) return;
  PublishRecord(bas, index, symbol);
}

}  // namespace quotlink
