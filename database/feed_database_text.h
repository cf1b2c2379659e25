// A parsed feed database as one line of text: for logs, and for checks that a refused image
// left the database exactly as it was.
#ifndef QUOTLINK_DATABASE_FEED_DATABASE_TEXT_H_
#define QUOTLINK_DATABASE_FEED_DATABASE_TEXT_H_

#include <string>

#include "database/feed_database.h"

namespace quotlink {

// Everything a parse sets: the version, the field names, the security types and their three
// numbers, and each layout with its counts and filled slots ("format/length/name/kind", "p" for a
// process code field), separated by "|".
std::string DescribeFeedDatabase(const FeedDatabase& db);

}  // namespace quotlink

#endif  // QUOTLINK_DATABASE_FEED_DATABASE_TEXT_H_
