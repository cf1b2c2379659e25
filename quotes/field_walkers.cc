// The field walkers: the steps that turn the bytes of a quote into fields of a quote record,
// steered by the layout that the feed's database image holds for the packet's key.
//
// ReadFullRecord reads a positional record (fields in layout order, no field numbers);
// ApplyField takes one entry of a field list. Beside them, the lookups of a layout, a record,
// and the format of a field-list entry. Nothing here keeps state between calls.
#include <algorithm>

#include "quotes/quote_stream.h"

namespace quotlink {
namespace {

// Format codes that the walkers treat by number. DO NOT CHANGE: they come from the feed's image.
constexpr int16_t kFormatFlags = 44;
constexpr int16_t kFormatPrimary = 45;
constexpr int16_t kFormatDefinePrimary = 46;
constexpr int16_t kFormatSecondary = 47;
constexpr int16_t kFormatDefineSecondary = 48;

// A slot that the image didn't fill: format 0, length 0, and the name of name index 0, the
// image's first name.
FieldSlot UnfilledSlot(const FeedDatabase& db) {
  FieldSlot slot;
  const std::string_view name = db.FieldName(1);
  slot.kind = FieldKindOf(name);
  slot.process_code = name.find("PROCESS CODE") != std::string_view::npos;
  return slot;
}

size_t Width(const FieldSlot& slot) {
  return slot.Length > 0 ? static_cast<size_t>(slot.Length) : 0;
}

}  // namespace

int16_t QuoteStream::FindDatabase(ByteView key) const {
  return FindDatabaseIndex(*database_, key);
}

int32_t QuoteStream::FindSimbolo(ByteView key, int32_t code, ByteView shownSymbol) {
  const int32_t result = Simbolos.size() < 1 ? -1 : Simbolos.Find(key, code);
  FormatFindCaption(&find_caption_, shownSymbol, result);
  console_->Info.SetCaption(find_caption_);
  return result;
}

int32_t QuoteStream::AddSimbolo(ByteView key, int32_t code, ByteView symbol) {
  const WatchList& list = console_->DTNSYMBOLS;
  return Simbolos.Add(key, code, symbol,
                      [&list](std::string_view cleaned) { return list.Find(cleaned); });
}

int16_t QuoteStream::ResolveFormat(int16_t db, int fieldNumber, int32_t index) const {
  const DatabaseRec* rec = database_->Database(db);
  if (rec == nullptr) return 0;
  int16_t format = rec->Slot(fieldNumber).Format;
  const bool has_record = index >= 1 && index <= Simbolos.size();
  // From the table's record, not the working one: a format that arrives in the same field list
  // takes effect from the next quote.
  if (format == kFormatPrimary) format = has_record ? Simbolos.at(index).PrimaryFormat : 0;
  if (format == kFormatSecondary) format = has_record ? Simbolos.at(index).SecondaryFormat : 0;
  return format;
}

void QuoteStream::ReadFullRecord(ByteView text, int16_t db, int32_t* index, int32_t start,
                                 int32_t count, ByteView key, int32_t code) {
  const DatabaseRec* rec = database_->Database(db);
  if (rec == nullptr) return;
  const bool existing = *index >= 1 && *index <= Simbolos.size();
  SimboloRec work = existing ? Simbolos.at(*index) : NewWorkingRecord();
  // The frame's trailer is no field: the walk ends before it.
  const ByteView fields = text.size() >= 2 ? text.substr(0, text.size() - 2) : ByteView();
  const SecTypes& types = database_->SecTypeNumbers();
  size_t cursor = start >= 1 ? static_cast<size_t>(start - 1) : 0;
  // A layout has at most 256 slots; numbers beyond read as unfilled slots, which add nothing
  // that the 256th didn't.
  const int32_t last = std::min<int32_t>(count, 256);
  const int32_t filled = std::clamp<int32_t>(rec->CountB, 0, 256);
  for (int32_t j = 1; j <= last; ++j) {
    if (cursor >= fields.size()) break;
    const FieldSlot slot = j <= filled ? rec->Slot(j) : UnfilledSlot(*database_);
    const ByteView value = Slice(fields, cursor, Width(slot));
    // A code field without bytes leaves the process code as it was.
    if (slot.process_code && !value.empty()) work.ProcessCode = ByteAt(value, 0);
    if (slot.Format == kFormatDefinePrimary && value.size() == 1) {
      work.PrimaryFormat = ByteAt(value, 0);
    } else if (slot.Format == kFormatDefineSecondary && value.size() == 1) {
      work.SecondaryFormat = ByteAt(value, 0);
    } else if (slot.Format == kFormatFlags && value.size() == 2) {
      // Positional records carry the flag word high byte first.
      work.QuoteFlags = 256 * ByteAt(value, 0) + ByteAt(value, 1);
    }
    SetField(work, value, slot.kind, slot.Format, rec->SecType, types);
    cursor += Width(slot);
  }
  if (existing) {
    Simbolos.Store(*index, work);
    return;
  }
  *index = AddSimbolo(key, code, ByteView(work.Simbolo, sizeof work.Simbolo));
  if (*index < 1) return;
  // The first record of a new instrument gives only how its fields read; its prices are left
  // for the next record or field update.
  SimboloRec stored = Simbolos.at(*index);
  stored.ProcessCode = work.ProcessCode;
  stored.QuoteFlags = work.QuoteFlags;
  stored.PrimaryFormat = work.PrimaryFormat;
  stored.SecondaryFormat = work.SecondaryFormat;
  stored.ChangeFieldDef = work.ChangeFieldDef;
  Simbolos.Store(*index, stored);
}

void QuoteStream::ApplyField(ByteView value, int16_t format, FieldKind kind, int32_t index,
                             int16_t db, SimboloRec& record) const {
  if (index < 1 || value.empty()) return;
  switch (format) {
    case kFormatFlags:
      // Field lists carry the flag word low byte first.
      record.QuoteFlags = ByteAt(value, 0) + 256 * ByteAt(value, value.size() - 1);
      return;
    case kFormatPrimary:
      record.PrimaryFormat = ByteAt(value, 0);
      return;
    case kFormatSecondary:
      record.SecondaryFormat = ByteAt(value, 0);
      return;
    default:
      break;
  }
  const DatabaseRec* rec = database_->Database(db);
  if (rec == nullptr) return;
  SetField(record, value, kind, format, rec->SecType, database_->SecTypeNumbers());
}

}  // namespace quotlink
