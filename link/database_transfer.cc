#include "link/database_transfer.h"

#include "client/quotlinkbas.h"

namespace quotlink {

void ImageStep(QUOTLINKBAS&, FeedPath, ByteView) {}

void RetryImageIfDue(QUOTLINKBAS&, FeedPath) {}

}  // namespace quotlink
