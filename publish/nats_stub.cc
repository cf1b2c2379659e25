// Publishing and reading in a build without the NATS client: both refuse, saying why.
#include "publish/nats_url.h"
#include "publish/publish_link.h"
#include "publish/quote_reader.h"

namespace quotlink {

bool NatsAvailable() {
  return false;
}

Status StartPublishLink(const PublishOptions&, LinkShared*, std::unique_ptr<PublishLink>*) {
  return Status::Error(kNoNatsMessage);
}

Status QuoteReader::Open(const std::string&, std::unique_ptr<QuoteReader>*) {
  return Status::Error(kNoNatsMessage);
}

}  // namespace quotlink
