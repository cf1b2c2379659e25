// SYMBOLS.DAT: reading it into the quote table at start, and writing the table back.
// The layout is in client/symbols_file_format.h.
#ifndef QUOTLINK_CLIENT_SYMBOLS_FILE_H_
#define QUOTLINK_CLIENT_SYMBOLS_FILE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "quotes/simbolo_rec.h"
#include "quotes/simbolo_table.h"
#include "util/bytes.h"
#include "util/status.h"

namespace quotlink {

// Appends the kSymbolRecordSize bytes of `rec` to `*dst`.
void EncodeSymbolRecord(const SimboloRec& rec, ByteString* dst);

// Reads one record from the first kSymbolRecordSize bytes of `bytes`; false (and `*rec`
// untouched) when `bytes` is shorter than that.
bool DecodeSymbolRecord(ByteView bytes, SimboloRec* rec);

// Number of records the file of `length` bytes is taken to hold: length / 100 rounded to the
// nearest whole number, a tie to the even one (150 bytes: 2, 250: 2, 49: 0).
int64_t SymbolRecordCount(uint64_t length);

// Reads the file at `path` (created empty when missing) and puts into `*survivors` (cleared
// first), in file order, every record that is kept:
//   - a record whose LastUpdate isn't 0 and lies below `now` - 30 days has aged out and is
//     skipped: stamped on day D, it survives all of day D + 29 and midnight at the start of
//     D + 30, and is dropped from the first moment after that;
//   - its Simbolo is cleaned and stored back blank-filled; a record whose Simbolo cleans to
//     nothing is skipped;
//   - at most SimboloTable::kMaxRecords records are kept; reading stops there.
// A record that the rounded count reaches but that the file holds only in part (a file of 150
// bytes) is skipped: its missing bytes were never written, and a LastUpdate of 0 read from them
// would keep it alive for ever. The caller keeps its table as it was when no record survives,
// and otherwise lets the survivors take it over from index 1 (SimboloTable::ReplaceAll).
// `now` is a date: days since 30 December 1899, local clock.
// Returns an error when the file can't be created, opened or read; `*survivors` is then empty.
Status ReadSymbolsFile(const std::string& path, double now, std::vector<SimboloRec>* survivors);

// Writes records 1 to n of `table` as the first n records of the file at `path`. The file isn't
// cut: what stood behind byte n * 100 stays, so records that the table no longer holds remain in
// the file. An empty table writes nothing at all. The file is replaced whole or not at all
// (util/atomic_file.h): a failure leaves the old file as it was. Returns an error when the old
// file can't be read (it stays untouched) or the new one can't be written.
Status WriteSymbolsFile(const std::string& path, const SimboloTable& table);

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_SYMBOLS_FILE_H_
