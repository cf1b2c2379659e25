// The feeder's names and types on the D-Bus session bus: what a client in another process, in
// any language, is written against. DO NOT CHANGE any name, path, signature or error name here:
// clients and installed service files depend on them.
#ifndef QUOTLINK_BUS_BUS_NAMES_H_
#define QUOTLINK_BUS_BUS_NAMES_H_

#include <cstdint>

namespace quotlink {

// The well-known name that `quotlink serve` owns; a call to it starts the service.
inline constexpr char kBusName[] = "io.quotlink.Feeder";

// The factory: CreateObject() -> o makes one object, owned by the caller.
inline constexpr char kFactoryPath[] = "/io/quotlink/Feeder";
inline constexpr char kFactoryInterface[] = "io.quotlink.Feeder1";

// Each created object sits at kObjectPathPrefix + N (N from 1, never reused by one service).
inline constexpr char kObjectPathPrefix[] = "/io/quotlink/Feeder/cls/";
inline constexpr char kObjectInterface[] = "io.quotlink.QUOTLINKCls1";

// FeederReady(mailbox, sequence): the 17 values that a publication copies into an object, in
// their order of copying (Simbolo, Last, Bid, Ask, LastS, Change, BidS, AskS, OpenV, High, Low,
// Previous, OInt, Vol, TimeV as doubles that hold 32-bit floats exactly, ComunicationOK and
// Flag as int16), then the object's event count: 1 for its first FeederReady, one more for each
// after. A count that jumps tells the client that the service dropped quotes for it.
inline constexpr char kMailboxSignature[] = "(sddddddddddddddnn)";
inline constexpr char kFeederReadySignature[] = "(sddddddddddddddnn)t";

// Errors of the object's calls, beside org.freedesktop.DBus.Error.AccessDenied (a call from a
// connection that doesn't own the object) and .InvalidArgs.
// ShowMe or ComunicationOK before Iniciar.
inline constexpr char kErrorNotStarted[] = "io.quotlink.QUOTLINKCls1.Error.NotStarted";
// Any call after an object's release has shut the feeder down.
inline constexpr char kErrorEnded[] = "io.quotlink.QUOTLINKCls1.Error.Ended";
// Iniciar when SYMBOLS.DAT can't be opened; Release when it couldn't be written.
inline constexpr char kErrorFailed[] = "io.quotlink.QUOTLINKCls1.Error.Failed";
inline constexpr char kErrorAccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
inline constexpr char kErrorInvalidArgs[] = "org.freedesktop.DBus.Error.InvalidArgs";
inline constexpr char kErrorLimitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";

// Iniciar returns when the session start has ended: over 20 s without a feed server.
inline constexpr uint64_t kIniciarTimeoutUsec = 120ull * 1000 * 1000;
// Every other call returns at once, unless it waits behind the object's own Iniciar.
inline constexpr uint64_t kCallTimeoutUsec = 120ull * 1000 * 1000;

}  // namespace quotlink

#endif  // QUOTLINK_BUS_BUS_NAMES_H_
