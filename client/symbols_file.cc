#include "client/symbols_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <utility>

#include "client/symbols_file_format.h"
#include "util/atomic_file.h"

namespace quotlink {
namespace {

static_assert(sizeof(float) == 4 && sizeof(double) == 8, "the file holds IEEE 754 floats");
static_assert(sizeof(SimboloRec::Simbolo) == kDatabaseKeyOffset - kSimboloOffset);
static_assert(sizeof(SimboloRec::DatabaseKey) == kSymbolCodeOffset - kDatabaseKeyOffset);

// Readers of little-endian numbers at a fixed offset. The caller has checked that the record is
// whole; ByteAt still reads 0 rather than outside the view.
uint64_t LittleAt(ByteView s, size_t pos, size_t n) {
  uint64_t v = 0;
  for (size_t i = 0; i < n; ++i)
    v |= uint64_t{ByteAt(s, pos + i)} << (8 * i);
  return v;
}
int16_t Int16At(ByteView s, size_t pos) {
  return static_cast<int16_t>(static_cast<uint16_t>(LittleAt(s, pos, 2)));
}
int32_t Int32At(ByteView s, size_t pos) {
  return static_cast<int32_t>(static_cast<uint32_t>(LittleAt(s, pos, 4)));
}
float FloatAt(ByteView s, size_t pos) {
  return std::bit_cast<float>(static_cast<uint32_t>(LittleAt(s, pos, 4)));
}
double DoubleAt(ByteView s, size_t pos) {
  return std::bit_cast<double>(LittleAt(s, pos, 8));
}

void PutLittle64(ByteString* dst, uint64_t v) {
  for (int i = 0; i < 8; ++i)
    dst->push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}
void PutFloat(ByteString* dst, float v) {
  PutLittle32(dst, std::bit_cast<uint32_t>(v));
}
void PutInt32(ByteString* dst, int32_t v) {
  PutLittle32(dst, static_cast<uint32_t>(v));
}
void PutInt16(ByteString* dst, int16_t v) {
  PutLittle16(dst, static_cast<uint16_t>(v));
}

Status CreateEmpty(const std::string& path) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return Status::Error("cannot create " + path + ": " + std::strerror(errno));
  ::close(fd);
  return Status::Ok();
}

}  // namespace

void EncodeSymbolRecord(const SimboloRec& rec, ByteString* dst) {
  dst->append(rec.Simbolo, sizeof rec.Simbolo);
  dst->append(rec.DatabaseKey, sizeof rec.DatabaseKey);
  PutInt32(dst, rec.SymbolCode);
  PutInt32(dst, rec.QuoteFlags);
  PutInt16(dst, rec.PrimaryFormat);
  PutInt16(dst, rec.SecondaryFormat);
  for (float v : {rec.Previous, rec.Last, rec.OpenV, rec.High, rec.Low, rec.Ask, rec.AskS, rec.Bid,
                  rec.BidS, rec.PreviousVol, rec.LastS, rec.Vol}) {
    PutFloat(dst, v);
  }
  PutInt32(dst, rec.ProcessCode);
  PutFloat(dst, rec.OInt);
  PutLittle64(dst, std::bit_cast<uint64_t>(rec.LastUpdate));
  PutFloat(dst, rec.Change);
  PutFloat(dst, rec.ChangeFieldDef);
}

bool DecodeSymbolRecord(ByteView bytes, SimboloRec* rec) {
  if (bytes.size() < kSymbolRecordSize) return false;
  SimboloRec r{};
  for (size_t i = 0; i < sizeof r.Simbolo; ++i) {
    r.Simbolo[i] = static_cast<char>(ByteAt(bytes, kSimboloOffset + i));
  }
  for (size_t i = 0; i < sizeof r.DatabaseKey; ++i) {
    r.DatabaseKey[i] = static_cast<char>(ByteAt(bytes, kDatabaseKeyOffset + i));
  }
  r.SymbolCode = Int32At(bytes, kSymbolCodeOffset);
  r.QuoteFlags = Int32At(bytes, kQuoteFlagsOffset);
  r.PrimaryFormat = Int16At(bytes, kPrimaryFormatOffset);
  r.SecondaryFormat = Int16At(bytes, kSecondaryFormatOffset);
  r.Previous = FloatAt(bytes, kPreviousOffset);
  r.Last = FloatAt(bytes, kLastOffset);
  r.OpenV = FloatAt(bytes, kOpenVOffset);
  r.High = FloatAt(bytes, kHighOffset);
  r.Low = FloatAt(bytes, kLowOffset);
  r.Ask = FloatAt(bytes, kAskOffset);
  r.AskS = FloatAt(bytes, kAskSOffset);
  r.Bid = FloatAt(bytes, kBidOffset);
  r.BidS = FloatAt(bytes, kBidSOffset);
  r.PreviousVol = FloatAt(bytes, kPreviousVolOffset);
  r.LastS = FloatAt(bytes, kLastSOffset);
  r.Vol = FloatAt(bytes, kVolOffset);
  r.ProcessCode = Int32At(bytes, kProcessCodeOffset);
  r.OInt = FloatAt(bytes, kOIntOffset);
  r.LastUpdate = DoubleAt(bytes, kLastUpdateOffset);
  r.Change = FloatAt(bytes, kChangeOffset);
  r.ChangeFieldDef = FloatAt(bytes, kChangeFieldDefOffset);
  *rec = r;
  return true;
}

int64_t SymbolRecordCount(uint64_t length) {
  const uint64_t whole = length / kSymbolRecordSize;
  const uint64_t rest = length % kSymbolRecordSize;
  const uint64_t half = kSymbolRecordSize / 2;
  const bool up = rest > half || (rest == half && whole % 2 == 1);
  return static_cast<int64_t>(whole + (up ? 1 : 0));
}

Status ReadSymbolsFile(const std::string& path, double now, std::vector<SimboloRec>* survivors) {
  survivors->clear();
  ByteString content;
  std::string error;
  switch (ReadWholeFile(path, &content, &error)) {
    case FileRead::kRead:
      break;
    case FileRead::kMissing:
      return CreateEmpty(path);
    case FileRead::kFailed:
      return Status::Error(error);
  }

  const int64_t count = SymbolRecordCount(content.size());
  const double oldest = now - kSymbolAgeLimitDays;
  for (int64_t n = 0; n < count; ++n) {
    if (survivors->size() >= static_cast<size_t>(SimboloTable::kMaxRecords)) break;
    SimboloRec rec;
    // Only the last counted record can be short; see the header for why it is skipped.
    if (!DecodeSymbolRecord(
            Slice(content, static_cast<size_t>(n) * kSymbolRecordSize, kSymbolRecordSize), &rec)) {
      break;
    }
    if (rec.LastUpdate != 0 && rec.LastUpdate < oldest) continue;
    const std::string_view clean = CleanSymbol(std::string_view(rec.Simbolo, sizeof rec.Simbolo));
    if (clean.empty()) continue;
    char padded[sizeof rec.Simbolo];
    std::memset(padded, ' ', sizeof padded);
    std::memcpy(padded, clean.data(), clean.size());
    std::memcpy(rec.Simbolo, padded, sizeof padded);
    survivors->push_back(rec);
  }
  return Status::Ok();
}

Status WriteSymbolsFile(const std::string& path, const SimboloTable& table) {
  if (table.size() < 1) return Status::Ok();
  ByteString old;
  std::string error;
  // Without the old content the records behind the table's would be lost: don't write then.
  if (ReadWholeFile(path, &old, &error) == FileRead::kFailed) return Status::Error(error);

  const size_t written = static_cast<size_t>(table.size()) * kSymbolRecordSize;
  ByteString content;
  content.reserve(std::max(written, old.size()));
  for (int32_t i = 1; i <= table.size(); ++i)
    EncodeSymbolRecord(table.at(i), &content);
  if (old.size() > written) content.append(old, written);
  return ReplaceFileContent(path, content);
}

}  // namespace quotlink
