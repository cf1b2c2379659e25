#include "platform/clock.h"

#include <ctime>

namespace quotlink {

double SystemClock::Now() const {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  if (ts.tv_sec != offset_second_) {
    std::tm local{};
    localtime_r(&ts.tv_sec, &local);
    offset_ = local.tm_gmtoff;
    offset_second_ = ts.tv_sec;
  }
  // Local seconds since 1970, then days; the date counts local days, as the feed's users read it.
  const double local_seconds =
      static_cast<double>(ts.tv_sec + offset_) + static_cast<double>(ts.tv_nsec) / 1e9;
  return kUnixEpochAsDate + local_seconds / 86400.0;
}

int64_t SystemClock::MonotonicMs() const {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

int64_t SystemClock::MonotonicUs() const {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

int64_t SystemClock::UnixMicros() const {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000000 + ts.tv_nsec / 1000;
}

}  // namespace quotlink
