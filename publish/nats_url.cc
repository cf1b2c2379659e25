#include "publish/nats_url.h"

#include <charconv>

namespace quotlink {

namespace {
constexpr std::string_view kScheme = "nats://";
}

Status CheckNatsUrl(std::string_view url) {
  const std::string shown(url);
  if (url.substr(0, kScheme.size()) != kScheme) {
    return Status::Error("'" + shown + "' is no NATS URL: it must begin with nats://");
  }
  std::string_view rest = url.substr(kScheme.size());
  if (const auto at = rest.rfind('@'); at != std::string_view::npos) rest = rest.substr(at + 1);
  if (rest.find_first_of("/?# \t") != std::string_view::npos) {
    return Status::Error("'" + ShownNatsUrl(url) + "': a NATS URL is nats://HOST[:PORT] alone");
  }
  std::string_view host = rest;
  if (const auto colon = rest.rfind(':');
      colon != std::string_view::npos && rest.find(']', colon) == std::string_view::npos) {
    host = rest.substr(0, colon);
    const std::string_view port = rest.substr(colon + 1);
    int value = 0;
    const auto r = std::from_chars(port.data(), port.data() + port.size(), value);
    if (port.empty() || r.ec != std::errc() || r.ptr != port.data() + port.size() || value < 1 ||
        value > 65535) {
      return Status::Error("bad port in '" + ShownNatsUrl(url) + "' (1 to 65535)");
    }
  }
  if (host.empty()) return Status::Error("no host in '" + ShownNatsUrl(url) + "'");
  return Status::Ok();
}

std::string ShownNatsUrl(std::string_view url) {
  std::string shown(url);
  if (shown.compare(0, kScheme.size(), kScheme) != 0) return shown;
  const auto at = shown.rfind('@');
  if (at == std::string::npos) return shown;
  const auto colon = shown.find(':', kScheme.size());
  if (colon == std::string::npos || colon > at) return shown;
  return shown.replace(colon + 1, at - colon - 1, "***");
}

}  // namespace quotlink
