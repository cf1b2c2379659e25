// The watch list and SYMBOLS.DAT: what the client asks for in this run, and the table carried
// from one run to the next.
#ifndef QUOTLINK_CLIENT_WATCH_LIST_H_
#define QUOTLINK_CLIENT_WATCH_LIST_H_

#include <string_view>

#include "util/status.h"

namespace quotlink {

class QUOTLINKBAS;

constexpr const char* kSymbolsFileName = "SYMBOLS.DAT";

// Puts the cleaned symbol on the watch list and, for a symbol that has a record already, asks
// the feed for it (11, 33, 11, 33). The record is found by the text exactly as given.
void WatchSimbolo(QUOTLINKBAS& bas, std::string_view S);

// Loads SYMBOLS.DAT (created empty when missing): the surviving records take the table over
// from index 1; with none, the table stays as it was. Fails when the file can't be opened.
Status ReadSymbols(QUOTLINKBAS& bas);

// Writes the table over the first records of SYMBOLS.DAT, whole or not at all; an empty table
// writes nothing. A failure is shown on the console, returned, and changes nothing else.
Status WriteSymbols(QUOTLINKBAS& bas);

// Walks the table from index 1 for the record whose cleaned symbol equals `S` exactly, writing
// each visited record's symbol back in clean form. Returns its index, or 0.
int32_t FindBySymbolText(QUOTLINKBAS& bas, std::string_view S);

}  // namespace quotlink

#endif  // QUOTLINK_CLIENT_WATCH_LIST_H_
