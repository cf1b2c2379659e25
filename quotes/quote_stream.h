// QuoteStream: the feeder's table of quote records, Simbolos, and everything that changes it
// from the feed: the field walkers, the live quote packet, and the publication of a quote to
// the client objects through the console's QuoteBoard and its bell `Data`.
//
// It reads the feed's database (the layouts of the image) and the console's watch list, stamps
// quotes from the clock, and asks the feed about unknown instruments through a RequestSink. It
// keeps the texts that the hot path reuses, so that a quote allocates nothing.
#ifndef QUOTLINK_QUOTES_QUOTE_STREAM_H_
#define QUOTLINK_QUOTES_QUOTE_STREAM_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "client/console_surface.h"
#include "database/feed_database.h"
#include "database/field_slots.h"
#include "database/record_packets.h"
#include "link/feed_requests.h"
#include "platform/clock.h"
#include "quotes/simbolo_rec.h"
#include "quotes/simbolo_table.h"
#include "util/bytes.h"

namespace quotlink {

class QuoteStream final : public RecordWalker {
 public:
  // None is owned; all must outlive the stream. `database` may be replaced by a new image at
  // any time the loop runs (so the walkers look a layout up afresh after every publication).
  QuoteStream(const FeedDatabase* database, ConsoleSurface* console, const Clock* clock,
              RequestSink* requests);
  QuoteStream(const QuoteStream&) = delete;
  QuoteStream& operator=(const QuoteStream&) = delete;

  // The table of quote records, counting from 1.
  SimboloTable Simbolos;

  // --- The field walkers (field_walkers.cc) ---

  // The index of the layout for a packet's 4 key bytes (wire order), or -1.
  int16_t FindDatabase(ByteView key) const;

  // The index of the record for (key, code), or -1. Shows `shownSymbol` and the result on Info.
  int32_t FindSimbolo(ByteView key, int32_t code, ByteView shownSymbol) override;

  // Adds a record for an instrument on the watch list; -1 when refused (see SimboloTable::Add).
  int32_t AddSimbolo(ByteView key, int32_t code, ByteView symbol);

  // The format code of field `fieldNumber` (0 to 255) of layout `db` for a field-list entry of
  // record `index` (below 1: none): the indirect codes 45 and 47 resolved through the table's
  // record. -1 says the record hasn't been told that format yet.
  int16_t ResolveFormat(int16_t db, int fieldNumber, int32_t index) const;

  // Reads the positional record that starts at position `start` (from 1) of `text` (a packet's
  // working text, with the frame's trailer still at its end; the trailer is never read as field
  // bytes), with the first `count` fields of layout `db`. An existing record (`*index` >= 1) is
  // replaced; otherwise a record is added if the watch list allows, holding only its key, code,
  // symbol and definition fields, and `*index` gives its index (or -1).
  void ReadFullRecord(ByteView text, int16_t db, int32_t* index, int32_t start, int32_t count,
                      ByteView key, int32_t code) override;

  // Applies one field-list entry to the caller's working record `record`. `kind` is where the
  // field's name stores it; `format` is the code ResolveFormat gave. Nothing happens for an
  // `index` below 1 or an empty `value`.
  void ApplyField(ByteView value, int16_t format, FieldKind kind, int32_t index, int16_t db,
                  SimboloRec& record) const;

  // --- The live quote packet (quote_packet.cc) ---

  // Walks the quotes of one whole type-20 frame, keeps the table up to date, asks the feed about
  // watched instruments it doesn't know, and publishes each quote of a known record.
  void DecodeQuotePacket(ByteView frame);

  // --- Publication (publication.cc) ---

  // Publishes record `index` (1 or more) for a quote of packet 20: fills the board, stamps the
  // time, rings `Data` (every subscriber runs before this returns, and may call back into the
  // feeder), then stamps the record's LastUpdate on a fresh look at the table. `symbol` is the
  // symbol field of the quote head; it must not point into the table.
  void PublishQuote(int32_t index, ByteView symbol);

  // The same for a record of packet 13 or 28: the flag 1, and neither the time nor LastUpdate.
  void PublishRecord(int32_t index, ByteView symbol) override;

  // What a record packet asks of the table besides the walkers.
  std::string CleanSymbolOf(int32_t index) const override;
  bool Watched(std::string_view symbol) const override;

 private:
  void AskAbout(ByteView key, int32_t code);
  void Publish(int32_t index, ByteView symbol, bool record_packet);
  void RingData(const SimboloRec& r, double now);

  const FeedDatabase* const database_;
  ConsoleSurface* const console_;
  const Clock* const clock_;
  RequestSink* const requests_;

  // Storage that the hot path reuses for its caption and the bell's text.
  std::string find_caption_;
  std::string data_text_;
};

// Appends a number as the platform prints it: a blank for the sign when not negative, at most
// 7 significant digits for a 32-bit float, no leading 0 before the point.
void AppendPlainNumber(std::string* out, double value, int significant_digits);

}  // namespace quotlink

#endif  // QUOTLINK_QUOTES_QUOTE_STREAM_H_
