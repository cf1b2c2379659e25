// The parse of the feed's database image into the feeder, with the version check against the
// version asked for and the progress shown on the console.
#ifndef QUOTLINK_DATABASE_PARSE_FEED_DATABASE_H_
#define QUOTLINK_DATABASE_PARSE_FEED_DATABASE_H_

#include "util/bytes.h"

namespace quotlink {

class QUOTLINKBAS;

// Replaces the feeder's FeedDatabase by `image`. An image of another version than asked for
// shows "diferente database" and sets DatabasePending again; an image that ends before its
// counts are satisfied is refused whole the same way (the console says why), so that the retry
// asks again. Either way the database stays as it was.
// REQUIRES: DatabasePending is 0 (the end frame clears it just before).
void ParseFeedDatabase(QUOTLINKBAS& bas, ByteView image);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_PARSE_FEED_DATABASE_H_
