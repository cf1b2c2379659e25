// `quotlink watch --publish URL`: the option and the publisher it starts for the watched object.
#ifndef QUOTLINK_TOOLS_QUOTLINK_PUBLISHING_H_
#define QUOTLINK_TOOLS_QUOTLINK_PUBLISHING_H_

#include <cstdint>
#include <memory>
#include <string>

#include "platform/event_loop.h"
#include "publish/quote_publisher.h"
#include "util/status.h"

namespace quotlink {

class QUOTLINKCls;

inline constexpr char kPublishUsage[] =
    "  --publish nats://HOST[:PORT]  publish every quote to the NATS server there, on the\n"
    "                     subject quotlink.quote.SYMBOL, and keep the last one of each symbol\n"
    "                     in its key-value bucket quotlink_last (doc/nats_subjects.md); the\n"
    "                     feeder runs on whether or not the server answers\n"
    "  --publish-buffer BYTES  what the NATS client holds while it reconnects (default 8 MiB);\n"
    "                     quotes beyond it are dropped, counted on standard error\n";

inline constexpr int32_t kDefaultPublishBuffer = 8 << 20;

// Reads the value of --publish-buffer: 1 to 1 GiB.
bool ParsePublishBuffer(const std::string& text, int32_t* bytes);

// Why `url` can't be given to --publish (a malformed URL, a build without NATS), or Ok.
Status CheckPublishOption(const std::string& url);

// Starts publishing what reaches FeederReady of `object`. A failure is told on standard error
// in one line, and the feeder goes on without publishing (`*out` stays empty).
// REQUIRES: `loop` and `object` outlive `*out`.
void StartPublishing(EventLoop* loop, const std::string& url, int32_t buffer, QUOTLINKCls* object,
                     std::unique_ptr<QuotePublisher>* out);

}  // namespace quotlink

#endif  // QUOTLINK_TOOLS_QUOTLINK_PUBLISHING_H_
