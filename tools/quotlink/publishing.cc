#include "tools/quotlink/publishing.h"

#include <charconv>
#include <cstdio>

#include "publish/nats_url.h"

namespace quotlink {

Status CheckPublishOption(const std::string& url) {
  if (!NatsAvailable()) return Status::Error(kNoNatsMessage);
  return CheckNatsUrl(url);
}

bool ParsePublishBuffer(const std::string& text, int32_t* bytes) {
  int32_t v = 0;
  const auto r = std::from_chars(text.data(), text.data() + text.size(), v);
  if (r.ec != std::errc() || r.ptr != text.data() + text.size() || v < 1 || v > (1 << 30)) {
    return false;
  }
  *bytes = v;
  return true;
}

void StartPublishing(EventLoop* loop, const std::string& url, int32_t buffer, QUOTLINKCls* object,
                     std::unique_ptr<QuotePublisher>* out) {
  PublishOptions options;
  options.url = url;
  options.reconnect_buffer_bytes = buffer;
  if (Status st = QuotePublisher::Start(loop, options, out); !st.ok()) {
    std::fprintf(stderr, "quotlink: nats: %s; the feeder goes on without publishing\n",
                 st.message().c_str());
    return;
  }
  (*out)->Attach(object);
}

}  // namespace quotlink
