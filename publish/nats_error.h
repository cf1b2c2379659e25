// The text of a NATS client's failure, for a one-line message.
#ifndef QUOTLINK_PUBLISH_NATS_ERROR_H_
#define QUOTLINK_PUBLISH_NATS_ERROR_H_

#include <nats/nats.h>

#include <string>
#include <string_view>

namespace quotlink {

// The status's text and the client's last error on this thread, without the client's source
// position: "Authorization Violation", not "(conn.c:1905): Authorization Violation".
inline std::string NatsError(natsStatus s) {
  std::string text = natsStatus_GetText(s);
  std::string_view detail = nats_GetLastError(nullptr) != nullptr ? nats_GetLastError(nullptr) : "";
  if (!detail.empty() && detail.front() == '(') {
    if (const auto end = detail.find("): "); end != std::string_view::npos)
      detail.remove_prefix(end + 3);
  }
  if (!detail.empty() && detail != text) text.append(": ").append(detail);
  return text;
}

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_NATS_ERROR_H_
