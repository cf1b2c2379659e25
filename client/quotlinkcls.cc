#include "client/quotlinkcls.h"

#include <cmath>

#include "client/quotlinkbas.h"
#include "client/settings.h"
#include "client/watch_list.h"
#include "link/feed_requests_format.h"

namespace quotlink {
namespace {

const Status kNotStarted = Status::Error("the feeder's console isn't open: call Iniciar first");
const Status kEnded = Status::Error("the feeder has shut down");

}  // namespace

QUOTLINKCls::QUOTLINKCls(QUOTLINKBAS* bas) : bas_(bas) {
  InstanceCount_ += 1;
}

QUOTLINKCls::~QUOTLINKCls() {
  Release();
}

void QUOTLINKCls::Release() {
  if (released_) return;
  released_ = true;
  Class_Terminate();
}

Status QUOTLINKCls::Iniciar(std::string_view S) {
  if (bas_->ended()) return kEnded;
  std::string& folder = bas_->settings().DataFolder;
  Status made = Status::Ok();
  if (folder.empty()) {
    folder = DataFolderFrom(S);
    made = CreateDataFolder(folder);
  }
  // Every start loads the file again, over the table. When the folder couldn't be made, its
  // cause is the one worth telling.
  Status st = ReadSymbols(*bas_);
  if (!st.ok()) return made.ok() ? st : made;
  QUOTLINKFRM& frm = bas_->Form();
  console_ref_ = true;
  frm.ShowForm();  // the first show loads the form and runs a session start
  // Only now does the object hear of publications: none reaches it while it is starting.
  if (new_data_ == 0 && !bas_->ended()) {
    new_data_ = frm.Data.Subscribe([this] { NewData_Change(); });
  }
  return bas_->ended() ? kEnded : Status::Ok();
}

int32_t QUOTLINKCls::AddSimbolos(std::string_view S) {
  if (bas_->ended()) return 0;
  // The watch list lives on the console: its first use loads the form, as a start would.
  bas_->Form().Load();
  if (bas_->ended()) return 0;
  WatchSimbolo(*bas_, S);
  return 0;
}

int32_t QUOTLINKCls::GetData(std::string_view S) {
  if (bas_->ended()) return 0;
  const auto first = S.find_first_not_of(' ');
  if (first == std::string_view::npos) return 0;
  const int32_t i = FindBySymbolText(*bas_, S);
  if (i < 1) return 0;
  const SimboloRec r = bas_->Quotes().Simbolos.at(i);
  SetSimbolo(std::string_view(r.Simbolo, sizeof r.Simbolo));
  SetLast(r.Last);
  SetLastS(r.LastS);
  SetBid(r.Bid);
  SetBidS(r.BidS);
  SetAsk(r.Ask);
  SetAskS(r.AskS);
  SetOpenV(r.OpenV);
  SetHigh(r.High);
  SetLow(r.Low);
  SetPrevious(r.Previous);
  SetChange(r.Change);
  // Not the publication's rule: a stored change that rounds (to even) to a whole number other
  // than 0 is replaced, one of 0.5 or less in size stays.
  if (r.Previous != 0 && std::nearbyint(r.Change) != 0) SetChange(r.Last - r.Previous);
  SetOInt(r.OInt);
  SetVol(r.Vol);
  SetFlag(1);
  feeder_ready_.Fire();
  if (bas_->ended()) return 0;
  FeedLink& link = bas_->Link();
  link.SendRequest(kRequestDatabaseKey, ByteView(r.DatabaseKey, sizeof r.DatabaseKey));
  link.SendRequest(kRequestWatchCode, NumberToBytes(r.SymbolCode));
  return 0;
}

Status QUOTLINKCls::ShowMe() {
  if (bas_->ended()) return kEnded;
  if (!console_ref_) return kNotStarted;
  QUOTLINKFRM& frm = bas_->Form();
  frm.ShowForm();
  frm.SetNormal();
  frm.BringToFront();
  return Status::Ok();
}

Status QUOTLINKCls::GetComunicationOK(int16_t* value) const {
  if (bas_->ended()) return kEnded;
  if (!console_ref_) return kNotStarted;
  *value = bas_->Form().ComunicationOK;
  return Status::Ok();
}

void QUOTLINKCls::NewData_Change() {
  const QUOTLINKFRM& frm = bas_->Form();
  const QuoteBoard& b = frm.board;
  SetSimbolo(b.vSimbolo);
  SetLast(b.vLast);
  SetBid(b.vBid);
  SetAsk(b.vAsk);
  SetLastS(b.vLastS);
  SetChange(b.vChange);
  SetBidS(b.vBidS);
  SetAskS(b.vAskS);
  SetOpenV(b.vOpen);
  SetHigh(b.vHi);
  SetLow(b.vLow);
  SetPrevious(b.vPrevious);
  SetOInt(b.vOInt);
  SetVol(b.vVol);
  SetTimeV(b.vTime);
  SetComunicationOK(frm.ComunicationOK);
  SetFlag(b.fFlag);
  feeder_ready_.Fire();
}

void QUOTLINKCls::Class_Terminate() {
  InstanceCount_ -= 1;
  if (InstanceCount_ >= 1) return;
  if (bas_->ended()) {
    // Another object has shut the feeder down already; only stop hearing of it.
    if (new_data_ != 0) bas_->Form().Data.Unsubscribe(new_data_);
    new_data_ = 0;
    return;
  }
  // Each step by itself: a failing one doesn't hold back the shutdown.
  save_status_ = WriteSymbols(*bas_);
  QUOTLINKFRM& frm = bas_->Form();
  bas_->Link().CloseSockets();
  if (new_data_ != 0) frm.Data.Unsubscribe(new_data_);
  new_data_ = 0;
  if (frm.loaded()) frm.Unload();
  console_ref_ = false;
  bas_->End();
}

}  // namespace quotlink
