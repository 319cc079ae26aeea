#ifndef QOR_BASE_BASE_TYPE_TIME_H
#define QOR_BASE_BASE_TYPE_TIME_H

#include <sys/time.h>

#include <chrono>
#include <compare>
#include <functional>
#include <iosfwd>
#include <limits>
#include <ratio>

#include "qor/base/base_type_string.h"

namespace qor {

class dumper;

// A signed number of microseconds: a point in time since 1970-01-01 00:00:00 UTC, a reading of the
// performance counter (only differences of readings are useful), or a duration. 0 is the unset
// time. Overflow is not detected.
//
// The calendar forms use the local time zone of the process. Any thread may use them. Threads do
// not wait for the C library's lock: each thread caches the zone's offset for the quarters of an
// hour that it uses, for at most a second. Each call reads the environment variable TZ, so a change
// of it takes effect at once; no other thread may change the environment during a call. Changed
// files of the system's zone are noticed within a second.
class QOR_API Time {
public:
    // Realtime is the wall clock, Monotonic the performance counter.
    enum Clock { Realtime = 0, Monotonic = 1 };

    // A point in time as calendar fields, in local time.
    struct QOR_API Detail {
        Detail() noexcept = default;
        // The seconds are first cut to 32 bits. Raises InvalidDataException if the C library has no
        // local time for them.
        explicit Detail(const Time& time);
        // Reads the fields as Time::fromString does, but does not normalise them.
        explicit Detail(const istr& text, const char* fmt = nullptr);

        int year = 0;   // four digits
        int month = 0;  // 1 to 12
        int day = 0;    // 1 to 31
        int hour = 0;
        int minute = 0;
        int second = 0;
        // The rest of the second, 0 to 999 each. Before 1970 they are 0 or negative, since the
        // seconds are truncated towards zero.
        int milliSecond = 0;
        int microSecond = 0;
    };

    // A point in time of the wall clock, for std::chrono.
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

    constexpr Time() noexcept = default;
    // Fractions of a microsecond are cut off. A duration out of range becomes the nearest limit, so
    // that std::chrono::seconds::max() becomes forever(). NaN becomes the lowest value.
    template <class Rep, class Period>
    constexpr Time(const std::chrono::duration<Rep, Period>& duration) noexcept
        : usec_(toMicros(duration)) {}
    template <class Duration>
    constexpr Time(
        const std::chrono::time_point<std::chrono::system_clock, Duration>& point) noexcept
        : Time(point.time_since_epoch()) {}

    // The present reading of a clock; an int other than 0 is Monotonic. Raises
    // ThreadSyscallException if the performance counter cannot be read.
    static Time now(Clock clock = Realtime);
    static Time now(int clock) { return now(clock == 0 ? Realtime : Monotonic); }
    static constexpr Time forever() noexcept { return Time(std::numeric_limits<long long>::max()); }
    static constexpr Time seconds(long long n) noexcept { return Time(n) * 1000000LL; }
    static constexpr Time milliSeconds(long long n) noexcept { return Time(n) * 1000LL; }
    static constexpr Time microSeconds(long long n) noexcept { return Time(n); }

    // The integer forms truncate towards zero.
    constexpr long long toSeconds() const noexcept { return usec_ / 1000000; }
    constexpr long long toMilliSeconds() const noexcept { return usec_ / 1000; }
    constexpr long long toMicroSeconds() const noexcept { return usec_; }
    constexpr double toSecondsDouble() const noexcept { return toMicroSecondsDouble() / 1000000.0; }
    constexpr double toMilliSecondsDouble() const noexcept {
        return toMicroSecondsDouble() / 1000.0;
    }
    constexpr double toMicroSecondsDouble() const noexcept { return static_cast<double>(usec_); }
    // The value as a duration, and as a point in time of the wall clock.
    constexpr std::chrono::microseconds toChrono() const noexcept {
        return std::chrono::microseconds(usec_);
    }
    constexpr TimePoint toTimePoint() const noexcept { return TimePoint(toChrono()); }
    // Seconds and the rest, each cut to 32 bits.
    operator timeval() const noexcept;

    // Sleeps for the value in whole milliseconds.
    void sleep() const;

    friend constexpr bool operator==(const Time&, const Time&) noexcept = default;
    friend constexpr std::strong_ordering operator<=>(const Time&, const Time&) noexcept = default;

    // Overflow wraps.
    constexpr Time operator+(const Time& t) const noexcept { return wrap(bits() + t.bits()); }
    constexpr Time operator-(const Time& t) const noexcept { return wrap(bits() - t.bits()); }
    constexpr Time operator-() const noexcept { return wrap(-bits()); }
    constexpr Time& operator+=(const Time& t) noexcept { return *this = *this + t; }
    constexpr Time& operator-=(const Time& t) noexcept { return *this = *this - t; }

    // With a double, the result is computed in floating point and truncated; out of range it is the
    // lowest value. An integer divisor must not be 0.
    template <std::integral N>
    constexpr Time operator*(N n) const noexcept {
        return wrap(bits() * static_cast<unsigned long long>(n));
    }
    template <std::integral N>
    constexpr Time operator/(N n) const noexcept {
        const auto divisor = static_cast<long long>(n);
        return divisor == -1 ? -*this : Time(usec_ / divisor);
    }
    constexpr Time operator*(double n) const noexcept {
        return fromDouble(toMicroSecondsDouble() * n);
    }
    constexpr Time operator/(double n) const noexcept {
        return fromDouble(toMicroSecondsDouble() / n);
    }
    constexpr double operator/(const Time& t) const noexcept {
        return toMicroSecondsDouble() / t.toMicroSecondsDouble();
    }
    template <Arithmetic N>
    constexpr Time& operator*=(N n) noexcept {
        return *this = *this * n;
    }
    template <Arithmetic N>
    constexpr Time& operator/=(N n) noexcept {
        return *this = *this / n;
    }

    // "2015-08-26 10:20:30.123" in local time; "<null>" for 0; "<INVALID DATETIME(n)>", n being the
    // microseconds, if the time has no calendar form. A target that is too small becomes empty.
    String toDateTime() const;
    String& toDateTime(String& out) const;
    void toDateTime(ostr out) const;
    // The same, with 0 shown as the epoch.
    String toFullDateTime() const;
    String& toFullDateTime(String& out) const;
    void toFullDateTime(ostr out) const;

    // "-1d 01:01:01.000002"; days and microseconds only if they are not 0.
    String toDuration() const;
    // Seconds with six places, "5.250000"; a negative value has its sign on both parts.
    String toString() const;

    Detail toDetail() const { return Detail(*this); }

    // Formats by a printf format for eight int values, the fields of Detail in their order. The
    // text is empty if it does not fit; the String forms have room for 63 characters. Raises as
    // Detail does.
    String format(const char* fmt) const;
    String& format(String& out, const char* fmt) const;
    void format(ostr out, const char* fmt) const;

    // Reads a local time by a scanf format for eight int values, the fields of Detail in their
    // order. If `fmt` is null or empty, the format is that of toDateTime. At most 64 characters are
    // read. Fields that the text lacks are 0; fields out of range carry over as in mktime. The text
    // of toDateTime gives the same time again, to the millisecond, except for the unset time, times
    // before 1970, seconds of more than 32 bits, and the hour that repeats when clocks are set
    // back.
    static Time fromString(const istr& text, const char* fmt = nullptr);

private:
    constexpr explicit Time(long long usec) noexcept : usec_(usec) {}
    constexpr unsigned long long bits() const noexcept {
        return static_cast<unsigned long long>(usec_);
    }
    static constexpr Time wrap(unsigned long long bits) noexcept {
        return Time(static_cast<long long>(bits));
    }
    // Truncates; a value out of range gives the lowest value.
    static constexpr Time fromDouble(double usec) noexcept {
        const bool fits = usec >= -0x1p63 && usec < 0x1p63;
        return Time(fits ? static_cast<long long>(usec) : std::numeric_limits<long long>::min());
    }

    // Tests the range in floating point first, since the cast would overflow.
    template <class Rep, class Period>
    static constexpr long long toMicros(
        const std::chrono::duration<Rep, Period>& duration) noexcept {
        using Limits = std::numeric_limits<long long>;
        using Floating = std::chrono::duration<long double, std::micro>;
        const long double usec = Floating(duration).count();
        if (usec >= 0x1p63L) return Limits::max();
        if (!(usec >= -0x1p63L)) return Limits::min();
        // Exact for integers, if the unit needs only a multiplication or only a division.
        using Factor = std::ratio_divide<Period, std::micro>;
        if constexpr (std::is_integral_v<Rep> && (Factor::num == 1 || Factor::den == 1)) {
            return std::chrono::duration_cast<std::chrono::microseconds>(duration).count();
        } else {
            return static_cast<long long>(usec);
        }
    }

    long long usec_ = 0;
};

// Always writes the toDuration text.
QOR_API std::ostream& operator<<(std::ostream& os, const Time& time);

// Measures an interval by the wall clock, so setting that clock changes the result. Use an object
// from one thread only. The constructor starts it.
class QOR_API Stopwatch {
public:
    Stopwatch() { start(); }
    void start() { begin_ = end_ = Time::now(); }
    Stopwatch& stop() {
        end_ = Time::now();
        return *this;
    }
    // Zero before the first stop.
    Time elapsed() const noexcept { return end_ - begin_; }
    Time begin() const noexcept { return begin_; }
    Time end() const noexcept { return end_; }

private:
    Time begin_;
    Time end_;
};

// Adds up the time of repeated operations: call go() with the time of each. Use an object from one
// thread only.
class QOR_API TimeCounter {
public:
    void go(const Time& t) noexcept {
        ++num_;
        cost_ += t;
    }
    // Writes the number of operations, operations per second, and the total time; nothing before
    // the first operation.
    dumper& dump(dumper& d) const;
    void dump(std::ostream& os) const;

private:
    ulong32 num_ = 0;
    Time cost_;
};

}  // namespace qor

template <>
struct std::hash<qor::Time> {
    std::size_t operator()(const qor::Time& time) const noexcept {
        return std::hash<long long>()(time.toMicroSeconds());
    }
};

#endif  // QOR_BASE_BASE_TYPE_TIME_H
