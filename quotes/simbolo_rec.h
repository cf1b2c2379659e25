// The quote record: one instrument's whole market state.
//
// The members stand in the order of the record in SYMBOLS.DAT (100 bytes on disk, little-endian;
// see client/symbols_file.h). DO NOT CHANGE THE ORDER OR THE TYPES: they are the file's layout.
#ifndef QUOTLINK_QUOTES_SIMBOLO_REC_H_
#define QUOTLINK_QUOTES_SIMBOLO_REC_H_

#include <cstdint>
#include <type_traits>

namespace quotlink {

struct SimboloRec {
  char Simbolo[12];       // symbol text, left-justified, blank-filled (all NUL when never written)
  char DatabaseKey[4];    // key of the record's layout, in wire order; opaque bytes
  int32_t SymbolCode;     // the feed's number of the instrument within that layout
  int32_t QuoteFlags;     // flag word of format code 44; steers a "LAST" field
  int16_t PrimaryFormat;  // stands in for format code 45; -1 while unknown
  int16_t SecondaryFormat;  // stands in for format code 47; -1 while unknown
  float Previous;
  float Last;
  float OpenV;
  float High;
  float Low;
  float Ask;
  float AskS;
  float Bid;
  float BidS;
  float PreviousVol;
  float LastS;
  float Vol;
  int32_t ProcessCode;  // fraction form of prices; -1 while unknown
  float OInt;
  double LastUpdate;  // day of the last published type-20 tick (days since 30 Dec 1899); 0: none
  float Change;
  float ChangeFieldDef;  // -1.0 while unset; "CHANGE" is taken only above -1.0
};

static_assert(std::is_trivially_copyable_v<SimboloRec>);

// All zero: a new element of the table.
inline SimboloRec ZeroSimboloRec() {
  return SimboloRec{};
}

// The working record of a walker for an instrument without a record: all zero but for the
// definition fields, which start unset.
inline SimboloRec NewWorkingRecord() {
  SimboloRec r{};
  r.QuoteFlags = 0;
  r.PrimaryFormat = -1;
  r.SecondaryFormat = -1;
  r.ProcessCode = -1;
  r.ChangeFieldDef = -1.0f;
  return r;
}

}  // namespace quotlink

#endif  // QUOTLINK_QUOTES_SIMBOLO_REC_H_
