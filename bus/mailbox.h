// The one quote that FeederReady carries, as the object held it when the event was raised, and
// its encoding in the signal (see kFeederReadySignature).
#ifndef QUOTLINK_BUS_MAILBOX_H_
#define QUOTLINK_BUS_MAILBOX_H_

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string>

namespace quotlink {

// The fields in the order that a publication copies them.
struct Mailbox {
  std::string Simbolo;
  float Last = 0, Bid = 0, Ask = 0, LastS = 0, Change = 0, BidS = 0, AskS = 0, OpenV = 0, High = 0,
        Low = 0, Previous = 0, OInt = 0, Vol = 0, TimeV = 0;
  int16_t ComunicationOK = 0;
  int16_t Flag = 0;
};

// Appends the mailbox and `sequence` to a FeederReady signal. Returns a negative errno on
// failure (out of memory).
int AppendFeederReady(sd_bus_message* m, const Mailbox& box, uint64_t sequence);

// Reads a FeederReady signal's arguments. A 32-bit float travels as a double that holds it
// exactly, so the cast back gives the very value sent. Returns a negative errno when the
// message doesn't carry the signature.
int ReadFeederReady(sd_bus_message* m, Mailbox* box, uint64_t* sequence);

}  // namespace quotlink

#endif  // QUOTLINK_BUS_MAILBOX_H_
