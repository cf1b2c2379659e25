// The publishing thread on the NATS C client.
#include <nats/nats.h>

#include <chrono>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "publish/nats_error.h"
#include "publish/nats_url.h"
#include "publish/publish_link.h"
#include "publish/subject.h"
#include "quotes/simbolo_table.h"

namespace quotlink {
namespace {

// The last values go to the bucket at most this often while quotes stream without a pause, so
// that the store takes a put per symbol and period instead of one per quote; when the stream
// pauses they go at once.
constexpr auto kLastValuePeriod = std::chrono::milliseconds(10);
constexpr int kConnectTimeoutMs = 2000;
constexpr int kCloseWaitMs = 2000;

class NatsPublishLink : public PublishLink {
 public:
  NatsPublishLink(const PublishOptions& options, LinkShared* shared)
      : options_(options), shared_(shared) {}

  ~NatsPublishLink() override {
    if (thread_.joinable()) thread_.join();
    if (nc_ != nullptr) {
      closing_.store(true);
      natsConnection_Close(nc_);
      // The client calls the closed handler on a thread of its own, with this object as its
      // closure: wait for it before the object goes.
      for (int i = 0; i < kCloseWaitMs && !closed_.load(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      natsConnection_Destroy(nc_);
    }
    if (js_ != nullptr) jsCtx_Destroy(js_);
    if (opts_ != nullptr) natsOptions_Destroy(opts_);
  }

  Status Open() {
    natsStatus s = natsOptions_Create(&opts_);
    if (s == NATS_OK) s = natsOptions_SetURL(opts_, options_.url.c_str());
    if (s != NATS_OK) {
      return Status::Error("bad NATS URL '" + ShownNatsUrl(options_.url) + "': " + NatsError(s));
    }
    natsOptions_SetName(opts_, "quotlink feeder");
    natsOptions_SetTimeout(opts_, kConnectTimeoutMs);
    natsOptions_SetMaxReconnect(opts_, -1);  // forever: the feeder outlives any server restart
    natsOptions_SetReconnectWait(opts_, options_.reconnect_wait_ms);
    natsOptions_SetReconnectBufSize(opts_, options_.reconnect_buffer_bytes);
    natsOptions_SetReconnectedCB(opts_, &NatsPublishLink::Connected, this);
    natsOptions_SetDisconnectedCB(opts_, &NatsPublishLink::Disconnected, this);
    natsOptions_SetClosedCB(opts_, &NatsPublishLink::Closed, this);
    natsOptions_SetErrorHandler(opts_, &NatsPublishLink::AsyncError, this);
    thread_ = std::thread([this] { Run(); });
    return Status::Ok();
  }

 private:
  // The client's callbacks: on its threads, they touch atomics only.
  static void Connected(natsConnection*, void* closure) {
    auto* self = static_cast<NatsPublishLink*>(closure);
    self->shared_->connects.fetch_add(1);
    self->need_bucket_.store(true);
    self->shared_->ring.Wake();
  }
  static void Disconnected(natsConnection*, void* closure) {
    auto* self = static_cast<NatsPublishLink*>(closure);
    if (self->shared_->connects.load() > 0 && !self->closing_.load()) {
      self->shared_->disconnects.fetch_add(1);
    }
  }
  static void Closed(natsConnection* nc, void* closure) {
    auto* self = static_cast<NatsPublishLink*>(closure);
    if (!self->closing_.load()) {
      const char* last = nullptr;
      natsConnection_GetLastError(nc, &last);
      self->Fail("the connection to " + ShownNatsUrl(self->options_.url) + " was closed" +
                 (last != nullptr && *last != '\0' ? std::string(": ") + last : std::string()));
    }
    self->closed_.store(true);
  }
  static void AsyncError(natsConnection*, natsSubscription*, natsStatus, void*) {
    // Errors of the publishing connection show as refused publishes or a closed connection;
    // it has no subscriptions whose errors would come here alone.
  }

  void Fail(std::string why) {
    if (failed_once_.exchange(true)) return;
    shared_->failure = std::move(why);
    shared_->failed.store(true, std::memory_order_release);
    shared_->ring.Wake();
  }

  void Run() {
    // A first try without retrying tells a server that isn't there (tried again in the
    // background until it comes) from one that refuses: credentials, or no NATS at that port.
    natsStatus s = natsConnection_Connect(&nc_, opts_);
    if (s == NATS_NO_SERVER) {
      natsOptions_SetRetryOnFailedConnect(opts_, true, &NatsPublishLink::Connected, this);
      s = natsConnection_Connect(&nc_, opts_);
    }
    if (s == NATS_OK) {
      shared_->connects.fetch_add(1);
      need_bucket_.store(true);
    } else if (s == NATS_NOT_YET_CONNECTED) {
      shared_->waiting.store(true);
    } else {
      Fail("cannot publish to " + ShownNatsUrl(options_.url) + ": " + NatsError(s));
    }
    auto last_flush = std::chrono::steady_clock::now();
    for (;;) {
      const bool stopping = shared_->stop.load();
      QuoteRecord q;
      if (shared_->failed.load()) {
        // Nothing more is sent; the ring is emptied so that it never looks stuck.
        while (shared_->ring.TryPop(&q)) {
        }
      } else {
        if (need_bucket_.exchange(false)) KeepBucket();
        for (int n = 1; shared_->ring.TryPop(&q); ++n) {
          Send(q);
          if (n % 256 == 0 && std::chrono::steady_clock::now() - last_flush >= kLastValuePeriod) {
            PutLastValues();
            last_flush = std::chrono::steady_clock::now();
          }
        }
        PutLastValues();
        last_flush = std::chrono::steady_clock::now();
      }
      if (stopping) break;
      shared_->ring.WaitForWork();
    }
    if (nc_ != nullptr && natsConnection_Status(nc_) == NATS_CONN_STATUS_CONNECTED) {
      natsConnection_FlushTimeout(nc_, 1000);
    }
  }

  // Binds the bucket of last values, making it when the server has none. A server without
  // JetStream gets the live quotes alone, and the feeder says so once.
  void KeepBucket() {
    if (js_ == nullptr && natsConnection_JetStream(&js_, nc_, nullptr) != NATS_OK) return;
    const std::string bucket(kLastValueBucket);
    kvStore* kv = nullptr;
    natsStatus s = js_KeyValue(&kv, js_, bucket.c_str());
    if (s == NATS_NOT_FOUND) {
      kvConfig cfg;
      kvConfig_Init(&cfg);
      cfg.Bucket = bucket.c_str();
      cfg.Description = "the last quote of each symbol, by its subject token";
      cfg.History = 1;
      cfg.StorageType = js_FileStorage;
      s = js_CreateKeyValue(&kv, js_, &cfg);
    }
    if (kv != nullptr) kvStore_Destroy(kv);
    if (s == NATS_OK) return;
    // Lost the connection meanwhile: the reconnection asks again.
    if (natsConnection_Status(nc_) != NATS_CONN_STATUS_CONNECTED) return;
    if (!shared_->kv_notice.load()) {
      shared_->notice = "no bucket " + bucket + " for the last values (" + NatsError(s) +
                        "; does the server run JetStream?): publishing the live quotes alone";
      shared_->kv_notice.store(true, std::memory_order_release);
    }
  }

  void Send(const QuoteRecord& q) {
    token_.clear();
    AppendSymbolToken(CleanSymbol(q.symbol()), &token_);
    subject_.assign(kQuoteSubjectPrefix).append(token_);
    payload_.clear();
    AppendQuotePayload(q, options_.feeder, &payload_);
    const natsStatus s = natsConnection_Publish(nc_, subject_.c_str(), payload_.data(),
                                                static_cast<int>(payload_.size()));
    if (s != NATS_OK) {
      // NATS_INSUFFICIENT_BUFFER: the reconnect buffer is full. The quote is lost; its number
      // is missing from the stream, which is how consumers learn of it.
      shared_->refused.fetch_add(1, std::memory_order_relaxed);
      return;
    }
    shared_->published.fetch_add(1, std::memory_order_relaxed);
    auto it = last_.find(token_);
    if (it == last_.end()) it = last_.emplace(token_, LastValue{}).first;
    it->second.payload.assign(payload_);
    if (!it->second.dirty) {
      it->second.dirty = true;
      dirty_.push_back(&*it);
    }
  }

  // A key-value put is a publish to the key's subject in the bucket's stream; sent like the live
  // quotes, it never waits for the store's answer.
  void PutLastValues() {
    for (auto* entry : dirty_) {
      subject_.assign(kLastValueSubjectPrefix).append(entry->first);
      natsConnection_Publish(nc_, subject_.c_str(), entry->second.payload.data(),
                             static_cast<int>(entry->second.payload.size()));
      entry->second.dirty = false;
    }
    dirty_.clear();
  }

  const PublishOptions options_;
  LinkShared* const shared_;
  natsOptions* opts_ = nullptr;
  natsConnection* nc_ = nullptr;
  jsCtx* js_ = nullptr;
  std::thread thread_;
  std::atomic<bool> need_bucket_{false};
  std::atomic<bool> closing_{false};
  std::atomic<bool> closed_{false};
  std::atomic<bool> failed_once_{false};

  // The publishing thread's own.
  std::string token_, subject_, payload_;
  struct LastValue {
    std::string payload;
    bool dirty = false;
  };
  std::unordered_map<std::string, LastValue> last_;  // by subject token
  std::vector<std::pair<const std::string, LastValue>*> dirty_;
};

}  // namespace

bool NatsAvailable() {
  return true;
}

Status StartPublishLink(const PublishOptions& options, LinkShared* shared,
                        std::unique_ptr<PublishLink>* link) {
  auto l = std::make_unique<NatsPublishLink>(options, shared);
  if (Status st = l->Open(); !st.ok()) return st;
  *link = std::move(l);
  return Status::Ok();
}

}  // namespace quotlink
