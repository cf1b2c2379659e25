// Session start and reconnect (FeedLink::StartSession, RestartFeed): the life of the two
// sockets and the dialogue that brings a session from nothing open to the image asked for.
//
// Timing comes from three waits that pump the loop: 3 seconds after the UDP bind (always in
// full), at most 15 seconds for the TCP connection, at most 5 seconds for the feed's answer to
// the watch list reset. Nothing reconnects by itself: "Restart" is the only way to a new session.
//
// A start can be entered again through the pump of its waits ("Restart" pressed meanwhile, or
// any other caller). The newer start wins: the older one notices at its next turn that a newer
// one has begun and ends there without sending anything more or touching a flag. So the wire
// and the flags only ever see one complete sequence, that of the newest start.
#ifndef QUOTLINK_LINK_SESSION_H_
#define QUOTLINK_LINK_SESSION_H_

namespace quotlink {

constexpr double kBindWaitSeconds = 3.0;
constexpr double kConnectWaitSeconds = 15.0;
constexpr double kResetWaitSeconds = 5.0;

// The image version asked for when "DTN.ini" names none.
constexpr const char* kDefaultDatabaseVersion = "&H09030001";
constexpr const char* kVersionFile = "DTN.ini";

}  // namespace quotlink

#endif  // QUOTLINK_LINK_SESSION_H_
