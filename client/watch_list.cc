#include "client/watch_list.h"

#include <charconv>
#include <cstring>
#include <vector>

#include "client/quotlinkbas.h"
#include "client/symbols_file.h"
#include "link/feed_requests_format.h"

namespace quotlink {

int32_t FindBySymbolText(QUOTLINKBAS& bas, std::string_view S) {
  SimboloTable& table = bas.Quotes().Simbolos;
  for (int32_t i = 1; i <= table.size(); ++i) {
    SimboloRec r = table.at(i);
    const std::string_view clean = CleanSymbol(std::string_view(r.Simbolo, sizeof r.Simbolo));
    char padded[sizeof r.Simbolo];
    std::memset(padded, ' ', sizeof padded);
    std::memcpy(padded, clean.data(), clean.size());
    const bool equal = clean == S;
    std::memcpy(r.Simbolo, padded, sizeof padded);
    table.Store(i, r);
    if (equal) return i;
  }
  return 0;
}

void WatchSimbolo(QUOTLINKBAS& bas, std::string_view S) {
  QUOTLINKFRM& frm = bas.Form();
  const std::string T(CleanSymbol(S));
  int32_t position = frm.DTNSYMBOLS.Find(T);
  if (position < 1) position = frm.DTNSYMBOLS.Add(T);
  if (position > 0) {
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, position).ptr;
    frm.Mensagem.SetCaption("ADD " + T + " " + std::string(digits, end));
    frm.Mensagem.Refresh();
  }
  const int32_t i = FindBySymbolText(bas, S);
  if (i < 1) return;  // its record comes from the stream, which asks for it then
  const SimboloRec r = bas.Quotes().Simbolos.at(i);
  const ByteView key(r.DatabaseKey, sizeof r.DatabaseKey);
  const ByteString code = NumberToBytes(r.SymbolCode);
  for (int k = 0; k < 2; ++k) {
    bas.Link().SendRequest(kRequestDatabaseKey, key);
    bas.Link().SendRequest(kRequestWatchCode, code);
  }
}

Status ReadSymbols(QUOTLINKBAS& bas) {
  std::vector<SimboloRec> survivors;
  Status st =
      ReadSymbolsFile(bas.settings().DataFolder + kSymbolsFileName, bas.clock().Now(), &survivors);
  if (!st.ok()) return st;
  if (!survivors.empty()) bas.Quotes().Simbolos.ReplaceAll(std::move(survivors));
  return Status::Ok();
}

Status WriteSymbols(QUOTLINKBAS& bas) {
  const SimboloTable& table = bas.Quotes().Simbolos;
  if (table.size() < 1) return Status::Ok();
  const Status st = WriteSymbolsFile(bas.settings().DataFolder + kSymbolsFileName, table);
  if (st.ok()) return st;
  bas.Form().Mensagem.SetCaption("SYMBOLS.DAT not saved - " + st.message());
  bas.Form().Mensagem.Refresh();
  return st;
}

}  // namespace quotlink
