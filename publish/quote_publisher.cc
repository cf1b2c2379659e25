#include "publish/quote_publisher.h"

#include <unistd.h>

#include "client/quotlinkcls.h"
#include "publish/nats_url.h"
#include "quotes/simbolo_table.h"

namespace quotlink {

namespace {
constexpr int kReportEveryMs = 1000;
}

Status QuotePublisher::Start(EventLoop* loop, PublishOptions options,
                             std::unique_ptr<QuotePublisher>* out, std::FILE* report) {
  if (Status st = CheckNatsUrl(options.url); !st.ok()) return st;
  if (options.feeder.empty()) {
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) != 0) host[0] = '\0';
    options.feeder = std::string(host) + ":" + std::to_string(getpid()) + ":" +
                     std::to_string(loop->clock().UnixMicros());
  }
  std::unique_ptr<QuotePublisher> p(new QuotePublisher(loop, std::move(options), report));
  if (Status st = StartPublishLink(p->options_, &p->shared_, &p->link_); !st.ok()) return st;
  p->timer_ = loop->AddTimer(kReportEveryMs, [raw = p.get()] { raw->Report(); });
  *out = std::move(p);
  return Status::Ok();
}

QuotePublisher::QuotePublisher(EventLoop* loop, PublishOptions options, std::FILE* report)
    : loop_(loop),
      options_(std::move(options)),
      report_(report != nullptr ? report : stderr),
      shared_(options_.queue_slots) {}

QuotePublisher::~QuotePublisher() {
  for (const auto& [object, id] : attached_)
    object->RemoveFeederReady(id);
  if (timer_ != 0) loop_->RemoveTimer(timer_);
  shared_.stop.store(true);
  shared_.ring.Wake();
  link_.reset();  // joins the thread
}

void QuotePublisher::Attach(QUOTLINKCls* object) {
  const int id = object->OnFeederReady([this, object] { Publish(*object); });
  attached_.emplace_back(object, id);
}

void QuotePublisher::Publish(const QUOTLINKCls& o) {
  // A link that gave up takes nothing more: its failure was told once, not every second.
  if (shared_.failed.load(std::memory_order_relaxed)) return;
  QuoteRecord q;
  const std::string_view symbol = CleanSymbol(o.Simbolo());
  // The payload carries Simbolo as the object holds it, as --json prints it; the counts and the
  // subject go by the cleaned symbol, which is how symbols are compared. A symbol longer than a
  // record holds (the table's are 12 bytes at most) can't travel and counts as lost.
  if (!q.SetSymbol(o.Simbolo())) {
    ++seq_;
    ++not_queued_;
    return;
  }
  q.Last = o.Last();
  q.LastS = o.LastS();
  q.Bid = o.Bid();
  q.BidS = o.BidS();
  q.Ask = o.Ask();
  q.AskS = o.AskS();
  q.Change = o.Change();
  q.OpenV = o.OpenV();
  q.High = o.High();
  q.Low = o.Low();
  q.Previous = o.Previous();
  q.OInt = o.OInt();
  q.Vol = o.Vol();
  q.TimeV = o.TimeV();
  q.Flag = o.Flag();
  int16_t ok = 0;
  q.ComunicationOK = o.GetComunicationOK(&ok).ok() ? ok : 0;
  q.seq = ++seq_;
  auto it = symbol_seq_.find(symbol);
  if (it == symbol_seq_.end()) it = symbol_seq_.emplace(std::string(symbol), 0).first;
  q.symbol_seq = ++it->second;
  q.time_us = loop_->clock().UnixMicros();
  if (!shared_.ring.TryPush(q)) ++not_queued_;
}

void QuotePublisher::Report() {
  const std::string url = ShownNatsUrl(options_.url);
  if (!told_waiting_ && shared_.waiting.load(std::memory_order_relaxed) &&
      shared_.connects.load(std::memory_order_relaxed) == 0 &&
      !shared_.failed.load(std::memory_order_relaxed)) {
    told_waiting_ = true;
    std::fprintf(report_, "quotlink: nats: no server at %s yet; publishing once it answers\n",
                 url.c_str());
  }
  if (!told_failure_ && shared_.failed.load(std::memory_order_acquire)) {
    told_failure_ = true;
    std::fprintf(report_, "quotlink: nats: %s; the feeder goes on without publishing\n",
                 shared_.failure.c_str());
  }
  const uint64_t lost = not_queued_ + shared_.refused.load(std::memory_order_relaxed);
  if (lost > told_lost_) {
    std::fprintf(
        report_, "quotlink: nats: %llu quotes not published in the last second (%llu in all)\n",
        static_cast<unsigned long long>(lost - told_lost_), static_cast<unsigned long long>(lost));
    told_lost_ = lost;
  }
  const uint64_t disconnects = shared_.disconnects.load(std::memory_order_relaxed);
  if (disconnects > told_disconnects_) {
    told_disconnects_ = disconnects;
    std::fprintf(report_, "quotlink: nats: lost the connection to %s; reconnecting\n", url.c_str());
  }
  const uint64_t connects = shared_.connects.load(std::memory_order_relaxed);
  if (connects > told_connects_) {
    std::fprintf(report_, "quotlink: nats: %s %s\n",
                 told_connects_ == 0 ? "publishing to" : "reconnected; publishing again to",
                 url.c_str());
    told_connects_ = connects;
  }
  if (!told_kv_ && shared_.kv_notice.load(std::memory_order_acquire)) {
    told_kv_ = true;
    std::fprintf(report_, "quotlink: nats: %s\n", shared_.notice.c_str());
  }
  std::fflush(report_);
}

}  // namespace quotlink
