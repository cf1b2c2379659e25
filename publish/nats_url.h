// The one form of server address that publishing and `tail` take.
#ifndef QUOTLINK_PUBLISH_NATS_URL_H_
#define QUOTLINK_PUBLISH_NATS_URL_H_

#include <string>
#include <string_view>

#include "util/status.h"

namespace quotlink {

// Ok for nats://[USER[:PASSWORD]@]HOST[:PORT] with a port from 1 to 65535; otherwise a message
// that says what is wrong. Says nothing of whether a server answers there.
Status CheckNatsUrl(std::string_view url);

// False in a build without the NATS client (libnats-dev), where publishing and reading fail
// with kNoNatsMessage.
bool NatsAvailable();
inline constexpr char kNoNatsMessage[] =
    "this quotlink was built without the NATS client (libnats-dev): --publish and tail are not "
    "available";

// `url` with its password replaced by "***", for messages.
std::string ShownNatsUrl(std::string_view url);

}  // namespace quotlink

#endif  // QUOTLINK_PUBLISH_NATS_URL_H_
