// The field walkers: the steps that turn the bytes of a quote into fields of a quote record,
// steered by the layout that the feed's database image holds for the packet's key.
//
// ReadFullRecord reads a positional record (fields in layout order, no field numbers);
// ApplyField takes one entry of a field list. Beside them, the lookups of a layout, a record,
// and the format of a field-list entry. Nothing here keeps state between calls.
#ifndef QUOTLINK_QUOTES_FIELD_WALKERS_H_
#define QUOTLINK_QUOTES_FIELD_WALKERS_H_

#include <cstdint>

#include "database/field_slots.h"
#include "quotes/simbolo_rec.h"
#include "util/bytes.h"

namespace quotlink {

class QUOTLINKBAS;

// The index of the layout for a packet's 4 key bytes (wire order), or -1.
int16_t FindDatabase(const QUOTLINKBAS& bas, ByteView key);

// The index of the record for (key, code), or -1. Shows `shownSymbol` and the result on Info.
int32_t FindSimbolo(QUOTLINKBAS& bas, ByteView key, int32_t code, ByteView shownSymbol);

// Adds a record for an instrument on the watch list; -1 when refused (see SimboloTable::Add).
int32_t AddSimbolo(QUOTLINKBAS& bas, ByteView key, int32_t code, ByteView symbol);

// The format code of field `fieldNumber` (0 to 255) of layout `db` for a field-list entry of
// record `index` (below 1: none): the indirect codes 45 and 47 resolved through the table's
// record. -1 says the record hasn't been told that format yet.
int16_t ResolveFormat(const QUOTLINKBAS& bas, int16_t db, int fieldNumber, int32_t index);

// Reads the positional record that starts at position `start` (from 1) of `text` (a packet's
// working text, with the frame's trailer still at its end; the trailer is never read as field
// bytes), with the first `count` fields of layout `db`. An existing record (`*index` >= 1) is
// replaced; otherwise a record is added if the watch list allows, holding only its key, code,
// symbol and definition fields, and `*index` gives its index (or -1).
void ReadFullRecord(QUOTLINKBAS& bas, ByteView text, int16_t db, int32_t* index, int32_t start,
                    int32_t count, ByteView key, int32_t code);

// Applies one field-list entry to the caller's working record `record`. `kind` is where the
// field's name stores it; `format` is the code ResolveFormat gave. Nothing happens for an
// `index` below 1 or an empty `value`.
void ApplyField(const QUOTLINKBAS& bas, ByteView value, int16_t format, FieldKind kind,
                int32_t index, int16_t db, SimboloRec& record);

}  // namespace quotlink

#endif  // QUOTLINK_QUOTES_FIELD_WALKERS_H_
