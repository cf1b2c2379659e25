// The parse of the feed's database image into the feeder, with the version check against the
// version asked for and the progress shown on the console.
#ifndef QUOTLINK_DATABASE_PARSE_FEED_DATABASE_H_
#define QUOTLINK_DATABASE_PARSE_FEED_DATABASE_H_

#include "client/console_surface.h"
#include "database/feed_database.h"
#include "util/bytes.h"

namespace quotlink {

// Replaces `*database` by `image` and returns true. An image of another `version` (the 4 bytes
// of the version asked for) shows "diferente database" as a modal message; an image that ends
// before its counts are satisfied is refused whole the same way, with the reason on Mensagem.
// Either way it returns false and the database stays as it was, so that the caller can ask
// again. Each progress caption is painted as it is set.
bool ParseFeedDatabase(FeedDatabase* database, ConsoleSurface* console, ByteView image,
                       ByteView version);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_PARSE_FEED_DATABASE_H_
