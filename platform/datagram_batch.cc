#include "platform/datagram_batch.h"

#include <cerrno>

namespace quotlink {

size_t DatagramBatch::Fill(int fd) {
  count_ = 0;
  next_ = 0;
  if (slots_.empty()) slots_.resize(kSlots * kSlotSize);
  for (size_t i = 0; i < kSlots; ++i) {
    iovecs_[i].iov_base = slots_.data() + i * kSlotSize;
    iovecs_[i].iov_len = kSlotSize;
    headers_[i].msg_hdr = msghdr{};
    headers_[i].msg_hdr.msg_iov = &iovecs_[i];
    headers_[i].msg_hdr.msg_iovlen = 1;
    headers_[i].msg_hdr.msg_name = &sources_[i];
    headers_[i].msg_hdr.msg_namelen = sizeof sources_[i];
    headers_[i].msg_len = 0;
  }
  int n;
  do {
    n = recvmmsg(fd, headers_, kSlots, MSG_DONTWAIT, nullptr);
  } while (n < 0 && errno == EINTR);
  if (n <= 0) return 0;
  count_ = static_cast<size_t>(n);
  return count_;
}

ByteView DatagramBatch::Take(uint32_t* source) {
  const size_t i = next_++;
  // A source of another family (or none) matches no accepted IPv4 host.
  const bool ipv4 =
      headers_[i].msg_hdr.msg_namelen >= sizeof(sockaddr_in) && sources_[i].sin_family == AF_INET;
  *source = ipv4 ? sources_[i].sin_addr.s_addr : 0;
  return ByteView(slots_.data() + i * kSlotSize, headers_[i].msg_len);
}

void DatagramBatch::Release() {
  count_ = 0;
  next_ = 0;
  std::vector<char>().swap(slots_);
}

}  // namespace quotlink
