// QuoteReader on the NATS C client.
#include <nats/nats.h>

#include <chrono>
#include <thread>

#include "publish/nats_error.h"
#include "publish/nats_url.h"
#include "publish/quote_reader.h"
#include "publish/subject.h"

namespace quotlink {
namespace {

constexpr int kConnectTimeoutMs = 2000;
constexpr int kReconnectWaitMs = 500;
constexpr int kLastValueWaitMs = 5000;
// What the client may hold for a reader that falls behind before it drops: a few seconds of a
// fast feed.
constexpr int kPendingMessages = 1 << 20;
constexpr int kPendingBytes = 512 << 20;

class NatsQuoteReader : public QuoteReader {
 public:
  ~NatsQuoteReader() override {
    if (sub_ != nullptr) natsSubscription_Destroy(sub_);
    if (js_ != nullptr) jsCtx_Destroy(js_);
    if (nc_ != nullptr) {
      closing_.store(true);
      natsConnection_Close(nc_);
      // The client's callbacks run on its own thread with this object as their closure: the
      // closed handler is the last of them.
      for (int i = 0; i < 2000 && !closed_.load(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      natsConnection_Destroy(nc_);
    }
    if (opts_ != nullptr) natsOptions_Destroy(opts_);
  }

  Status Connect(const std::string& url) {
    natsStatus s = natsOptions_Create(&opts_);
    if (s == NATS_OK) s = natsOptions_SetURL(opts_, url.c_str());
    if (s != NATS_OK)
      return Status::Error("bad NATS URL '" + ShownNatsUrl(url) + "': " + NatsError(s));
    natsOptions_SetName(opts_, "quotlink tail");
    natsOptions_SetTimeout(opts_, kConnectTimeoutMs);
    natsOptions_SetMaxReconnect(opts_, -1);
    natsOptions_SetReconnectWait(opts_, kReconnectWaitMs);
    natsOptions_SetMaxPendingMsgs(opts_, kPendingMessages);
    natsOptions_SetDisconnectedCB(opts_, &NatsQuoteReader::Disconnected, this);
    natsOptions_SetReconnectedCB(opts_, &NatsQuoteReader::Reconnected, this);
    natsOptions_SetClosedCB(opts_, &NatsQuoteReader::Closed, this);
    s = natsConnection_Connect(&nc_, opts_);
    if (s != NATS_OK) {
      return Status::Error("cannot connect to " + ShownNatsUrl(url) + ": " + NatsError(s));
    }
    return Status::Ok();
  }

  Status Subscribe(const std::string& subject) override {
    natsStatus s = natsConnection_SubscribeSync(&sub_, nc_, subject.c_str());
    if (s == NATS_OK) s = natsSubscription_SetPendingLimits(sub_, kPendingMessages, kPendingBytes);
    if (s != NATS_OK) return Status::Error("cannot subscribe to " + subject + ": " + NatsError(s));
    return Status::Ok();
  }

  Status ReadLastValues(const std::string& keys,
                        const std::function<void(std::string_view)>& each) override {
    natsStatus s = js_ != nullptr ? NATS_OK : natsConnection_JetStream(&js_, nc_, nullptr);
    kvStore* kv = nullptr;
    if (s == NATS_OK) s = js_KeyValue(&kv, js_, std::string(kLastValueBucket).c_str());
    if (s == NATS_NOT_FOUND) return Status::Ok();  // no feeder has published here yet
    if (s != NATS_OK) return Status::Error("cannot read the last values: " + NatsError(s));
    kvWatchOptions wo;
    kvWatchOptions_Init(&wo);
    wo.IgnoreDeletes = true;
    kvWatcher* w = nullptr;
    s = kvStore_Watch(&w, kv, keys.c_str(), &wo);
    // The watcher gives each key's last value, then an empty entry: the end of what is stored.
    while (s == NATS_OK) {
      kvEntry* e = nullptr;
      s = kvWatcher_Next(&e, w, kLastValueWaitMs);
      if (s != NATS_OK || e == nullptr) break;
      each(std::string_view(static_cast<const char*>(kvEntry_Value(e)),
                            static_cast<size_t>(kvEntry_ValueLen(e))));
      kvEntry_Destroy(e);
    }
    if (w != nullptr) kvWatcher_Destroy(w);
    kvStore_Destroy(kv);
    if (s != NATS_OK) return Status::Error("cannot read the last values: " + NatsError(s));
    return Status::Ok();
  }

  Next NextQuote(int timeout_ms, std::string* payload, uint64_t* dropped) override {
    natsMsg* msg = nullptr;
    const natsStatus s = natsSubscription_NextMsg(&msg, sub_, timeout_ms);
    if (s == NATS_OK) {
      payload->assign(natsMsg_GetData(msg), static_cast<size_t>(natsMsg_GetDataLength(msg)));
      natsMsg_Destroy(msg);
      return Next::kQuote;
    }
    if (s == NATS_TIMEOUT) return Next::kNothing;
    if (s == NATS_SLOW_CONSUMER) {
      int64_t n = 0;
      natsSubscription_GetDropped(sub_, &n);
      *dropped = static_cast<uint64_t>(n);
      return Next::kDropped;
    }
    return Next::kClosed;
  }

 private:
  static void Disconnected(natsConnection*, void* closure) {
    auto* self = static_cast<NatsQuoteReader*>(closure);
    if (!self->closing_.load()) self->disconnects_.fetch_add(1);
  }
  static void Reconnected(natsConnection*, void* closure) {
    static_cast<NatsQuoteReader*>(closure)->reconnects_.fetch_add(1);
  }
  static void Closed(natsConnection*, void* closure) {
    static_cast<NatsQuoteReader*>(closure)->closed_.store(true);
  }

  natsOptions* opts_ = nullptr;
  natsConnection* nc_ = nullptr;
  jsCtx* js_ = nullptr;
  natsSubscription* sub_ = nullptr;
  std::atomic<bool> closing_{false};
  std::atomic<bool> closed_{false};
};

}  // namespace

Status QuoteReader::Open(const std::string& url, std::unique_ptr<QuoteReader>* out) {
  if (Status st = CheckNatsUrl(url); !st.ok()) return st;
  auto r = std::make_unique<NatsQuoteReader>();
  if (Status st = r->Connect(url); !st.ok()) return st;
  *out = std::move(r);
  return Status::Ok();
}

}  // namespace quotlink
