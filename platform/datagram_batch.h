// DatagramBatch: the datagrams of a UDP socket read a batch at a time with one recvmmsg(2), and
// handed out one at a time.
//
// A feed sends many small datagrams; a system call (and a poll) per datagram would cost more
// than decoding its quotes. The batch reads what the kernel holds, up to kSlots datagrams, in
// one call, and keeps them in the order they came until they are taken. Each slot holds the
// largest datagram there is, so nothing is ever cut short.
#ifndef QUOTLINK_PLATFORM_DATAGRAM_BATCH_H_
#define QUOTLINK_PLATFORM_DATAGRAM_BATCH_H_

#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <vector>

#include "util/bytes.h"

namespace quotlink {

class DatagramBatch {
 public:
  // Datagrams read by one call. The slots' memory (kSlots times 64 KiB) is taken at the first
  // Fill and kept until Release.
  static constexpr size_t kSlots = 16;
  static constexpr size_t kSlotSize = 65536;

  DatagramBatch() = default;
  DatagramBatch(const DatagramBatch&) = delete;
  DatagramBatch& operator=(const DatagramBatch&) = delete;

  // Whether datagrams wait to be taken, and how many.
  bool empty() const { return next_ == count_; }
  size_t waiting() const { return count_ - next_; }

  // Reads what `fd` (non-blocking) holds, up to kSlots datagrams, without waiting.
  // REQUIRES: empty(). Returns the number read (0 when nothing waits or on an error).
  size_t Fill(int fd);

  // The next datagram and its source (IPv4, network order). The view stays valid until the
  // next Fill or Release. REQUIRES: !empty().
  ByteView Take(uint32_t* source);

  // Drops what waits and gives the slots' memory back.
  void Release();

 private:
  std::vector<char> slots_;
  mmsghdr headers_[kSlots]{};
  iovec iovecs_[kSlots]{};
  sockaddr_in sources_[kSlots]{};
  size_t count_ = 0;
  size_t next_ = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_DATAGRAM_BATCH_H_
