#include "qor/base/base_type_time.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <ostream>

#include "nuv_os_adapter.h"
#include "nuv_zone.h"
#include "platform/clock.h"
#include "platform/first_use.h"
#include "qor/base/exception.h"

namespace qor {

namespace {

constexpr const char* kCalendarFormat = "%04d-%02d-%02d %02d:%02d:%02d.%03d";

// The seconds for the calendar forms. Deliberate (compatibility): cut to 32 bits.
long32 calendarSeconds(const Time& time) noexcept {
    return static_cast<long32>(time.toSeconds());
}

std::tm localTime(long long seconds) {
    std::tm fields{};
    if (!nuv_local_time_of(seconds, fields)) {
        QOR_THROW(InvalidDataException, "qor::Time::Detail::Detail");
    }
    return fields;
}

// The seconds since 1970 that a clock in UTC with these fields would show.
long long secondsOf(const std::tm& fields) noexcept {
    using namespace std::chrono;
    const year_month_day date{year(fields.tm_year + 1900),
                              month(static_cast<unsigned>(fields.tm_mon + 1)),
                              day(static_cast<unsigned>(fields.tm_mday))};
    const seconds midnight = sys_days(date).time_since_epoch();
    return midnight.count() + fields.tm_hour * 3600 + fields.tm_min * 60 + fields.tm_sec;
}

// A quarter of an hour, counted from the epoch, and the offset of local time from UTC in it. Zones
// change at the quarters, with some exceptions long ago: a quarter is steady if the offset is the
// same at its begin and its end.
struct Quarter {
    static constexpr long long kSeconds = 900;

    long long number = 0;
    long long readAt = -1;  // in seconds of coarseSeconds(); -1: not yet
    long long offset = 0;
    bool steady = false;
};

// The quarters that the thread has used last; the place of a quarter depends on its number.
constinit thread_local std::array<Quarter, 8> quarters{};

Quarter readQuarter(long long number, long long now) {
    const auto offsetAt = [](long long seconds) { return secondsOf(localTime(seconds)) - seconds; };
    const long long first = number * Quarter::kSeconds;
    const long long offset = offsetAt(first);
    return {number, now, offset, offset == offsetAt(first + Quarter::kSeconds - 1)};
}

// The value of TZ for which the quarters are valid.
class Zone {
public:
    bool is(const char* text) const noexcept {
        return text != nullptr ? known_ == Text && std::strncmp(text_, text, sizeof text_) == 0
                               : known_ == Unset;
    }
    // A text that is longer than any zone's name is not kept: is() is then always false.
    void set(const char* text) noexcept {
        known_ = text == nullptr ? Unset : std::strlen(text) < sizeof text_ ? Text : Nothing;
        if (known_ == Text) std::strcpy(text_, text);
    }

private:
    enum Known : char { Nothing, Unset, Text };
    Known known_ = Nothing;
    char text_[63] = {};
};
constinit thread_local Zone zone;

// Forgets the quarters if TZ has changed.
void noticeZone() {
    const char* const text = std::getenv("TZ");
    if (zone.is(text)) return;
    quarters.fill({});
    zone.set(text);
}

// The offset of local time, or nothing if it changes within the quarter. Cached until the end of
// the second, so that changed files of the zone are noticed.
std::optional<long long> localOffset(long32 seconds) {
    const long long now = platform::coarseSeconds();
    noticeZone();
    const long long number =
        (seconds - (seconds < 0 ? Quarter::kSeconds - 1 : 0)) / Quarter::kSeconds;
    Quarter& quarter = quarters[static_cast<std::size_t>(number) % quarters.size()];
    if (quarter.number != number || quarter.readAt != now) quarter = readQuarter(number, now);
    return quarter.steady ? std::optional<long long>(quarter.offset) : std::nullopt;
}

void setFields(Time::Detail& detail, const std::tm& fields) noexcept {
    detail.year = fields.tm_year + 1900;
    detail.month = fields.tm_mon + 1;
    detail.day = fields.tm_mday;
    detail.hour = fields.tm_hour;
    detail.minute = fields.tm_min;
    detail.second = fields.tm_sec;
}

void setFields(Time::Detail& detail, std::chrono::seconds sinceEpoch) noexcept {
    using namespace std::chrono;
    const sys_days midnight = floor<days>(sys_seconds(sinceEpoch));
    const year_month_day date(midnight);
    const auto second = static_cast<int>((sys_seconds(sinceEpoch) - midnight).count());
    detail.year = static_cast<int>(date.year());
    detail.month = static_cast<int>(static_cast<unsigned>(date.month()));
    detail.day = static_cast<int>(static_cast<unsigned>(date.day()));
    detail.hour = second / 3600;
    detail.minute = second / 60 % 60;
    detail.second = second % 60;
}

// The local time with these fields; mktime determines whether it is daylight saving time.
Time fromDetail(const Time::Detail& detail) {
    std::tm fields{};
    fields.tm_year = static_cast<int>(detail.year - 1900LL);
    fields.tm_mon = static_cast<int>(detail.month - 1LL);
    fields.tm_mday = detail.day;
    fields.tm_hour = detail.hour;
    fields.tm_min = detail.minute;
    fields.tm_sec = detail.second;
    fields.tm_isdst = -1;
    return Time::seconds(nuv_seconds_of(fields)) + Time::milliSeconds(detail.milliSecond) +
           Time::microSeconds(detail.microSecond);
}

// A buffer for all text forms of a time.
class Text {
public:
    Text& add(istr text) noexcept {
        std::memcpy(data_ + size_, text.data(), text.size());
        size_ += text.size();
        return *this;
    }
    Text& add(long long value) noexcept {
        size_ = static_cast<unsigned long>(
            std::to_chars(data_ + size_, data_ + sizeof data_, value).ptr - data_);
        return *this;
    }
    // Exactly `width` digits.
    Text& digits(unsigned value, unsigned width) noexcept {
        for (unsigned i = width; i-- > 0; value /= 10)
            data_[size_ + i] = static_cast<char>('0' + value % 10);
        size_ += width;
        return *this;
    }

    operator istr() const noexcept { return istr(data_, size_); }

private:
    char data_[64];
    unsigned long size_ = 0;
};

// The calendar format without printf, which would take most of the time.
Text calendarText(const Time::Detail& detail) noexcept {
    const auto part = [](int value) { return static_cast<unsigned>(value); };
    Text text;
    text.digits(part(detail.year), 4).add("-").digits(part(detail.month), 2).add("-");
    text.digits(part(detail.day), 2).add(" ").digits(part(detail.hour), 2).add(":");
    text.digits(part(detail.minute), 2).add(":").digits(part(detail.second), 2).add(".");
    // Before 1970 the milliseconds are negative, and the sign is one of the three places.
    if (detail.milliSecond >= 0) return text.digits(part(detail.milliSecond), 3);
    return text.add("-").digits(part(-detail.milliSecond), detail.milliSecond > -100 ? 2 : 3);
}

Text fullDateTime(const Time& time) noexcept {
    try {
        return calendarText(Time::Detail(time));
    } catch (...) {
        return Text().add("<INVALID DATETIME(").add(time.toMicroSeconds()).add(")>");
    }
}

Text dateTime(const Time& time) noexcept {
    return time.toMicroSeconds() == 0 ? Text().add("<null>") : fullDateTime(time);
}

// Writes the whole text; makes `out` empty if it does not fit.
void put(ostr out, istr text) noexcept {
    if (out.empty()) return;
    out.clear();
    if (text.size() < out.max_size()) out = text;
}

}  // namespace

Time::Detail::Detail(const Time& time) {
    const long32 seconds = calendarSeconds(time);
    if (const std::optional<long long> offset = localOffset(seconds)) {
        setFields(*this, std::chrono::seconds(seconds + *offset));
    } else {
        setFields(*this, localTime(seconds));
    }
    const int rest = static_cast<int>(time.toMicroSeconds() % 1000000);
    milliSecond = rest / 1000;
    microSecond = rest % 1000;
}

Time::Detail::Detail(const istr& text, const char* fmt) {
    char buffer[65];
    std::memset(buffer, ' ', 64);
    buffer[64] = '\0';
    MemCopy(buffer, text.data(), std::min(text.size(), 64UL));
    nuv_sscanf_s(buffer, fmt != nullptr && *fmt != '\0' ? fmt : kCalendarFormat, &year, &month,
                 &day, &hour, &minute, &second, &milliSecond, &microSecond);
}

Time Time::now(Clock clock) {
    if (clock == Realtime) return Time(platform::wallMicroseconds());
    static constinit platform::FirstUse<long long> kept;
    const long long frequency = kept.get(platform::monotonicFrequency);
    if (frequency == 0) return Time(platform::wallMicroseconds());
    long long ticks = 0;
    const int error = platform::monotonicTicks(ticks);
    if (error != 0) QOR_THROW(ThreadSyscallException, "qor::Time::now", error);
    return fromDouble(static_cast<double>(ticks) / static_cast<double>(frequency) * 1000000.0);
}

Time::operator timeval() const noexcept {
    timeval value{};
    value.tv_sec = static_cast<long32>(usec_ / 1000000);
    value.tv_usec = static_cast<long32>(usec_ % 1000000);
    return value;
}

void Time::sleep() const {
    platform::sleepMilliseconds(toMilliSeconds());
}

String Time::toDateTime() const {
    return istr(dateTime(*this));
}

String& Time::toDateTime(String& out) const {
    return out = istr(dateTime(*this));
}

void Time::toDateTime(ostr out) const {
    put(out, dateTime(*this));
}

String Time::toFullDateTime() const {
    return istr(fullDateTime(*this));
}

String& Time::toFullDateTime(String& out) const {
    return out = istr(fullDateTime(*this));
}

void Time::toFullDateTime(ostr out) const {
    put(out, fullDateTime(*this));
}

String Time::toDuration() const {
    const unsigned long long length = usec_ < 0 ? -bits() : bits();
    const auto rest = static_cast<unsigned>(length % 1000000);
    const unsigned long long seconds = length / 1000000;
    const unsigned long long days = seconds / 86400;
    const auto inDay = static_cast<unsigned>(seconds % 86400);
    Text text;
    if (usec_ < 0) text.add("-");
    if (days != 0) text.add(static_cast<long long>(days)).add("d ");
    text.digits(inDay / 3600, 2).add(":").digits(inDay / 60 % 60, 2).add(":");
    text.digits(inDay % 60, 2);
    if (rest != 0) text.add(".").digits(rest, 6);
    return istr(text);
}

String Time::toString() const {
    Text rest;
    rest.add(usec_ % 1000000);
    Text text;
    text.add(usec_ / 1000000).add(".");
    // Deliberate (compatibility): a sign of the rest comes after the padding.
    for (unsigned long i = istr(rest).size(); i < 6; ++i)
        text.add("0");
    return istr(text.add(istr(rest)));
}

String Time::format(const char* fmt) const {
    String text;
    return format(text, fmt);
}

String& Time::format(String& out, const char* fmt) const {
    char buffer[64];
    format(ostr(buffer, sizeof buffer), fmt);
    return out = buffer;
}

void Time::format(ostr out, const char* fmt) const {
    const Detail d(*this);
    if (out.empty()) return;
    out.clear();
    nuv_sprintf_s(out.buffer(), out.max_size(), fmt, d.year, d.month, d.day, d.hour, d.minute,
                  d.second, d.milliSecond, d.microSecond);
}

Time Time::fromString(const istr& text, const char* fmt) {
    return fromDetail(Detail(text, fmt));
}

std::ostream& operator<<(std::ostream& os, const Time& time) {
    return os << istr(time.toDuration());
}

}  // namespace qor
