#include "link/feed_requests.h"

#include <cmath>
#include <string>

#include "link/feed_link.h"
#include "link/feed_requests_format.h"

namespace quotlink {

ByteString NumberToBytes(double value) {
  // Bring the value into the range of the four bytes before any conversion to an integer: a
  // conversion of a double outside the integer's range is undefined.
  constexpr double kMax = 4294967295.0;
  if (std::isnan(value) || value < 0) value = 0;
  if (value > kMax) value = kMax;
  value = std::floor(value);

  // The split in double arithmetic; each part is now a whole number from 0 to 255 (or 65535).
  const double hi = std::floor(value / 65536);
  const double lo = value - hi * 65536;
  const double b0 = std::floor(hi / 256);
  const double b1 = hi - b0 * 256;
  const double b2 = std::floor(lo / 256);
  const double b3 = lo - b2 * 256;

  ByteString out;
  out.reserve(kRequestNumberSize);
  for (double b : {b0, b1, b2, b3})
    out.push_back(static_cast<char>(static_cast<uint8_t>(b)));
  return out;
}

ByteString BuildRequest(int16_t code, ByteView data) {
  ByteString out;
  out.reserve(kRequestHeadSize + data.size() + kRequestTrailerSize);
  out.push_back(static_cast<char>(kRequestLead));
  out.push_back(static_cast<char>(static_cast<uint8_t>(code & 0xFF)));
  out.append(data);
  out.append(kRequestTrailerSize, '\0');
  return out;
}

void FeedLink::SendRequest(int16_t code, ByteView data) {
  const Status st = TCP->SendData(BuildRequest(code, data));
  if (st.ok()) return;
  console_->Mensagem.SetCaption("TCP is not working - " + st.message());
  console_->Mensagem.Refresh();
  ReportDroppedSends();
}

void FeedLink::ReportDroppedSends() {
  TellCount(dropped_notice_, TCP->DroppedSends(), "TCP: dropped",
            "requests the server didn't read in time");
}

}  // namespace quotlink
