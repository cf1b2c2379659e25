// Time, injectable so that the waits of a session and the one-minute retry can be tested
// without sleeping.
#ifndef QUOTLINK_PLATFORM_CLOCK_H_
#define QUOTLINK_PLATFORM_CLOCK_H_

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace quotlink {

// Days between 30 December 1899 (day 0 of a date) and 1 January 1970.
constexpr double kUnixEpochAsDate = 25569.0;
constexpr double kMsPerDay = 86400000.0;

// The time of day of `date` as whole seconds since midnight, 0 to 86399. The seconds are
// counted, never rounded: 15:51:59.9 is second 57119 of the day (its minute is 15:51), and
// 23:59:59.999 is still the last second of its day, never midnight of the next. The fraction
// is first taken to the nearest tenth of a millisecond, so that a date that stands for a whole
// second but lies a hair below it in binary (a date's double holds a time of day to about a
// microsecond) counts that second.
inline int32_t SecondOfDay(double date) {
  constexpr double kTicksPerDay = 864000000.0;  // tenths of a millisecond
  const double fraction = date - std::floor(date);
  const auto ticks = static_cast<int64_t>(std::llround(fraction * kTicksPerDay));
  return static_cast<int32_t>(std::min<int64_t>(ticks / 10000, 86399));
}

class Clock {
 public:
  virtual ~Clock() = default;

  // The wall clock as a date: days since 30 December 1899, local time; the fraction is the time
  // of day. Used for what the feeder stores and shows (quote times, LastUpdate, ageing).
  virtual double Now() const = 0;

  // Monotonic milliseconds; only differences mean anything. Used for every wait and timer.
  virtual int64_t MonotonicMs() const = 0;

  // How often the message pump inside a cutting pass really looks at the descriptors: at most
  // once in this many microseconds of MonotonicUs(), 0 for every pump. A pump that finds
  // nothing ready costs a system call, and a busy UDP stream pumps once per frame: events that
  // come in between are served by the next pump that looks, as if they had come a little later.
  virtual int64_t PumpSliceUs() const { return 0; }
  virtual int64_t MonotonicUs() const { return MonotonicMs() * 1000; }

  // The wall clock as microseconds since 1970 (UTC), for stamps that other machines read.
  virtual int64_t UnixMicros() const = 0;

  // The event loop has nothing to do for up to `ms` milliseconds. Returns how long it may really
  // block in poll(): the system clock blocks the whole time, a fake clock less or not at all.
  virtual int BeginIdle(int ms) = 0;

  // The idle period of BeginIdle(ms) is over; `woken` is true when an event ended it early.
  // A fake clock moves itself on by `ms` when nothing woke it.
  virtual void EndIdle(int ms, bool woken) = 0;
};

// The machine's clocks. Each quote is stamped with Now(), so the local time's offset from UTC
// is looked up once per wall-clock second, not per call: it only ever changes on a whole second
// (a change of summer time), so every date still has the wall clock's own minute and second.
// Like everything of a feeder, one object serves one thread.
class SystemClock : public Clock {
 public:
  // Fine enough that a timer or a TCP read waits no longer than a datagram's decoding, coarse
  // enough that a stream of small frames pays for one poll in several dozen.
  static constexpr int64_t kPumpSliceUs = 50;

  double Now() const override;
  int64_t MonotonicMs() const override;
  int64_t MonotonicUs() const override;
  int64_t PumpSliceUs() const override { return kPumpSliceUs; }
  int64_t UnixMicros() const override;
  int BeginIdle(int ms) override { return ms; }
  void EndIdle(int, bool) override {}

 private:
  mutable int64_t offset_second_ = INT64_MIN;  // the UTC second that offset_ was looked up for
  mutable int64_t offset_ = 0;                 // local time minus UTC, in seconds
};

// A clock that moves only when told to, or when the loop idles. With real_slice_ms 0 an idle
// loop never blocks: a 15-second wait runs in microseconds. A small real slice lets real
// sockets on loopback make progress while simulated time runs fast.
class FakeClock : public Clock {
 public:
  // `start_date` is a date as Now() gives it.
  explicit FakeClock(double start_date = 46349.5, int real_slice_ms = 0)
      : start_date_(start_date), real_slice_ms_(real_slice_ms) {}

  double Now() const override { return start_date_ + static_cast<double>(ms_) / kMsPerDay; }
  int64_t MonotonicMs() const override { return ms_; }
  // The fake date taken as UTC.
  int64_t UnixMicros() const override {
    return std::llround((Now() - kUnixEpochAsDate) * kMsPerDay * 1000.0);
  }
  int BeginIdle(int ms) override { return ms < real_slice_ms_ ? ms : real_slice_ms_; }
  // Woken early, it still moves on a millisecond: a descriptor that stays ready without being
  // read can't hold simulated time still.
  void EndIdle(int ms, bool woken) override {
    if (ms > 0) ms_ += woken ? 1 : ms;
  }

  void Advance(int64_t ms) { ms_ += ms; }
  void SetDate(double date) { start_date_ = date - static_cast<double>(ms_) / kMsPerDay; }

 private:
  double start_date_;
  int real_slice_ms_;
  int64_t ms_ = 0;
};

}  // namespace quotlink

#endif  // QUOTLINK_PLATFORM_CLOCK_H_
