#include "bench/memory_feeder.h"

#include <algorithm>

#include "bench/bench_report.h"

namespace quotlink::bench {

void CopyQuote(const QUOTLINKCls& c, QuoteCopy* out) {
  out->Simbolo.assign(c.Simbolo());
  out->Last = c.Last();
  out->LastS = c.LastS();
  out->Bid = c.Bid();
  out->Ask = c.Ask();
  out->AskS = c.AskS();
  out->BidS = c.BidS();
  out->Change = c.Change();
  out->OpenV = c.OpenV();
  out->High = c.High();
  out->Low = c.Low();
  out->Previous = c.Previous();
  out->OInt = c.OInt();
  out->Vol = c.Vol();
  out->TimeV = c.TimeV();
  out->Flag = c.Flag();
  (void)c.GetComunicationOK(&out->ComunicationOK);
}

MemoryFeeder::MemoryFeeder(const feedsim::Universe* u)
    : responder_(u, feedsim::ResponderOptions{}) {
  FakeSocket& t = tcp();
  t.loop = &loop_;
  t.connect_delay_ms = 1;
  t.on_sent = [this](ByteView request) { Answer(request); };
  client_.OnFeederReady([this] {
    CopyQuote(client_, &copy_);
    ++ready_;
  });

  const Status started = client_.Iniciar(dir_.path());
  if (!started.ok()) Fail("the feeder didn't start: " + started.message());
  SendAnswers();  // the image
  const FeedLink& l = bas_.Link();
  if (l.QuotesEnabled != 1 || l.DatabasePending != 0) {
    Fail("the image wasn't taken: " + bas_.Form().Info1.Caption() + " / " +
         bas_.Form().Mensagem.Caption());
  }
  for (size_t i = 0; i < u->size(); ++i)
    client_.AddSimbolos(u->at(i).symbol);
  ArriveTcp(RecordFrames(*u).bytes);
  SendAnswers();
  if (bas_.Quotes().Simbolos.size() != static_cast<int32_t>(u->size())) {
    Fail("the record packets made " + std::to_string(bas_.Quotes().Simbolos.size()) +
         " records of " + std::to_string(u->size()));
  }
}

MemoryFeeder::~MemoryFeeder() {
  client_.Release();  // shuts the feeder down while everything it may call still stands
}

void MemoryFeeder::Answer(ByteView request) {
  requests_.Append(request);
  feedsim::Request r;
  while (requests_.Next(&r)) {
    const feedsim::Answer a = responder_.Handle(r);
    for (const ByteString& f : a.frames)
      answers_ += f;
    // The session start waits for the answer to its watch list reset: that one comes at once.
    // The image waits until the start has returned, as it takes the feed a while.
    if (!a.image) SendAnswers();
  }
}

void MemoryFeeder::SendAnswers() {
  if (answers_.empty()) return;
  const ByteString bytes = std::move(answers_);
  answers_.clear();
  ArriveTcp(bytes);
}

void MemoryFeeder::ArriveTcp(ByteView bytes) {
  constexpr size_t kRead = Socket::kMaxTcpRead;
  for (size_t pos = 0; pos < bytes.size(); pos += kRead)
    tcp().Arrive(bytes.substr(pos, std::min(kRead, bytes.size() - pos)));
}

}  // namespace quotlink::bench
