#include "qor/base/base_type_time.h"

#include "support/child.h"
#include "support/test.h"

namespace qor {
namespace {

void inZone(const char* zone, const std::function<void()>& body) {
    SCOPED_TRACE(zone);
    ::setenv("TZ", zone, 1);
    ::tzset();
    body();
    ::unsetenv("TZ");
    ::tzset();
}

// In a child process that has used another zone, and no local time of the library.
TEST(Time, UsesTheZoneOfItsParserAtTheFirstCall) {
    const int status = statusOf([] {
        ::setenv("TZ", "JST-9", 1);
        ::tzset();
        ::unsetenv("TZ");
        std::thread([] {
            const Time time = Time::seconds(1700000000);
            _exit(Time::fromString(time.toDateTime()) == time ? 0 : 1);
        }).join();
    });
    EXPECT_EQ(status, 0);
}

std::tm localTime(std::time_t seconds) {
    std::tm fields{};
    localtime_r(&seconds, &fields);
    return fields;
}

void expectCalendar(long long seconds, int milliSeconds = 0) {
    const std::tm fields = localTime(static_cast<long32>(seconds));
    char text[64], rest[16];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
    std::snprintf(rest, sizeof rest, ".%03d", milliSeconds);
    const Time time = Time::seconds(seconds) + Time::milliSeconds(milliSeconds);
    ASSERT_EQ(time.toFullDateTime(), std::string(text) + rest);
}

// Around each change of the zone. Those that are not six hours apart may be missed.
void expectCalendarAroundChanges() {
    constexpr std::time_t step = 6 * 3600;
    for (std::time_t at = INT32_MIN; at < INT32_MAX - step; at += step) {
        if (localTime(at).tm_gmtoff == localTime(at + step).tm_gmtoff) continue;
        std::time_t before = at, after = at + step;
        while (after - before > 1) {
            const std::time_t middle = before + (after - before) / 2;
            (localTime(middle).tm_gmtoff == localTime(at).tm_gmtoff ? before : after) = middle;
        }
        for (const long long distance : {-901, -900, -1, 0, 1, 120, 899, 900})
            expectCalendar(after + distance);
    }
}

TEST(Time, TakesDurationsAndPointsInTime) {
    using namespace std::chrono;
    using Thirds = duration<long long, std::ratio<1, 3>>;
    constexpr long long kHighest = std::numeric_limits<long long>::max();
    constexpr long long kLowest = std::numeric_limits<long long>::min();
    const std::pair<Time, long long> cases[] = {
        {nanoseconds(-1999), -1},
        {duration<unsigned char>(200), 200000000},
        {duration<double>(0.25), 250000},
        {duration<float, std::milli>(-1.5F), -1500},
        {Thirds(20000000000000), 6666666666666666666},
        {sys_days(2015y / August / 26), 1440547200000000},
        // To the last microsecond, and not beyond it.
        {microseconds::max(), kHighest},
        {microseconds::min(), kLowest},
        {microseconds(kHighest - 1), kHighest - 1},
        {nanoseconds::max(), kHighest / 1000},
        {seconds(kHighest / 1000000), kHighest / 1000000 * 1000000},
        {seconds(kHighest / 1000000 + 1), kHighest},
        {seconds(kLowest / 1000000 - 1), kLowest},
        {duration<unsigned long long>(~0ULL), kHighest},
        {duration<double>(std::numeric_limits<double>::quiet_NaN()), kLowest},
    };
    for (const auto& [time, expected] : cases) {
        EXPECT_EQ(time.toMicroSeconds(), expected);
        EXPECT_EQ(time.toChrono().count(), expected);
        EXPECT_EQ(Time(time.toChrono()), time);
        EXPECT_EQ(Time(time.toTimePoint()), time);
        EXPECT_EQ(time.toTimePoint().time_since_epoch(), time.toChrono());
    }
    static_assert(Time(seconds::max()) == Time::forever());
    EXPECT_TRUE(Time::seconds(5) == 5s && Time::seconds(5) < 5001ms);
    EXPECT_EQ(Time::seconds(5) + 1ms, Time::milliSeconds(5001));
}

TEST(Time, CalendarIsThatOfTheSystemInEveryZone) {
    for (const char* zone : {"UTC", "America/New_York", "Europe/London", "Asia/Kathmandu",
                             "Pacific/Apia", "Africa/Monrovia", "Europe/Amsterdam",
                             "Africa/Casablanca", "XXX5:07:31YYY,M3.2.0,M11.1.0"}) {
        inZone(zone, [] {
            std::mt19937 random(1);
            for (int i = 0; i < 5000; ++i) {
                const auto seconds = static_cast<long32>(random());
                const int rest = static_cast<int>(random() % 1000);
                expectCalendar(seconds, seconds < 0 ? -rest : rest);
            }
            expectCalendarAroundChanges();
            // The seconds are cut to 32 bits.
            for (const long long seconds : {INT32_MIN + 0LL, INT32_MAX + 0LL, INT32_MAX + 9LL})
                expectCalendar(seconds);
            expectCalendar(Time::forever().toSeconds(), 775);
            for (const long long ms :
                 {1000000000001LL, 1450000000999LL, 1440000000123LL, -5000LL}) {
                const Time time = Time::milliSeconds(ms);
                EXPECT_EQ(Time::fromString(time.toDateTime()), time) << time.toDateTime();
            }
        });
    }
}

TEST(Time, AChangedZoneIsSeenAtOnce) {
    const Time april = Time::seconds(1460000000);
    const std::string longName = "<" + std::string(70, 'L') + ">-2";
    const std::pair<const char*, const char*> cases[] = {
        {"UTC", "03"},
        {"ABC-3", "06"},
        {"", "03"},
        // These differ in nothing but the days of their changes.
        {"ABC0DEF,M3.2.0,M11.1.0", "04"},
        {"ABC0DEF,M5.2.0,M11.1.0", "03"},
        {longName.c_str(), "05"},
        {"ABC-3", "06"}};
    for (const auto& [zone, expected] : cases) {
        inZone(zone, [&, hour = expected] {
            const String text = april.toDateTime();
            EXPECT_EQ(text.substr(11, 2), hour);
            EXPECT_EQ(Time::fromString(text), april);
        });
        EXPECT_EQ(Time::fromString(april.toDateTime()), april);
    }
    // The program has used another zone meanwhile, of which the library knows nothing.
    inZone("ABC-3", [&] {
        const Time other = Time::seconds(1450000000);
        EXPECT_EQ(Time::fromString(april.toDateTime()), april);
        inZone("UTC", [] {});
        ::setenv("TZ", "ABC-3", 1);
        EXPECT_EQ(Time::fromString(other.toDateTime()), other);
    });
}

TEST(Time, PointsAsText) {
    inZone("UTC", [] {
        const Time time = Time::microSeconds(1440584423123456);
        String out = "old";
        char data[24] = "old";
        Time().toFullDateTime(ostr(data, sizeof data));
        const std::pair<String, String> cases[] = {
            {Time().toDateTime(), "<null>"},
            {Time().toFullDateTime(), "1970-01-01 00:00:00.000"},
            {data, "1970-01-01 00:00:00.000"},
            {Time::microSeconds(1).toDateTime(out), "1970-01-01 00:00:00.000"},
            {time.format("%d/%d/%d %d:%d:%d %d %d"), "2015/8/26 10:20:23 123 456"},
            {time.format("%063d"), String(std::string(59, '0') + "2015")},
            {time.format("%064d"), ""},
            {Time::fromString("2015-08-26 10:20", "").toDateTime(), "2015-08-26 10:20:00.000"},
            {Time::fromString("26.8.2015", "%3$d.%2$d.%1$d").toDateTime(),
             "2015-08-26 00:00:00.000"},
            {Time::fromString("2015-14-32").toDateTime(), "2016-03-03 00:00:00.000"},
        };
        for (const auto& [text, expected] : cases)
            EXPECT_EQ(text, expected);
        time.toDateTime(ostr(data, 23));
        EXPECT_STREQ(data, "");
    });
    // Only the first 64 characters are read.
    const Time::Detail cut(std::string(60, ' ').append("2015-08-26"));
    EXPECT_EQ(cut.year * 100 + cut.month, 201500);
    EXPECT_EQ(Time::Detail(istr()).year, 0);
}

TEST(Time, DurationsAsText) {
    const std::tuple<long long, const char*, const char*> cases[] = {
        {0, "00:00:00", "0.000000"},
        {1500000, "00:00:01.500000", "1.500000"},
        {90061000002, "1d 01:01:01.000002", "90061.000002"},
        {-90000000, "-00:01:30", "-90.000000"},
        {-25, "-00:00:00.000025", "0.000-25"},
        {INT64_MIN, "-106751991d 04:00:54.775808", "-9223372036854.-775808"}};
    for (const auto& [usec, duration, seconds] : cases) {
        const Time time = Time::microSeconds(usec);
        EXPECT_EQ(streamed(time), duration);
        EXPECT_EQ(time.toString(), seconds);
    }
}

TEST(Time, Calculates) {
    const Time second = Time::seconds(1);
    const Time lowest = -Time::forever() - Time::microSeconds(1);
    Time time = second;
    time *= 6;
    time -= Time::milliSeconds(1);
    const std::pair<Time, long long> cases[] = {
        {second * 2.5, 2500000}, {second / 3, 333333},     {second / -0.3, -3333333},
        {-time, -5999000},       {lowest / -1, INT64_MIN}, {Time::forever() * 2.0, INT64_MIN},
    };
    for (const auto& [result, usec] : cases)
        EXPECT_EQ(result.toMicroSeconds(), usec);
    EXPECT_EQ((-time).toSeconds(), -5);
    EXPECT_EQ(time.toSecondsDouble(), 5.999);
    EXPECT_EQ(second / Time::milliSeconds(400), 2.5);
    const timeval value = Time::microSeconds(-1500000);
    EXPECT_EQ(value.tv_sec * 1000000 + value.tv_usec, -1500000);
    EXPECT_EQ(value.tv_usec, -500000);
}

TEST(Time, BothClocksAdvance) {
    using std::chrono::system_clock;
    const auto before = std::chrono::floor<std::chrono::microseconds>(system_clock::now());
    for (const Time now : {Time::now(), Time::now(0)}) {
        EXPECT_LE(before, now.toTimePoint());
        EXPECT_LE(now.toTimePoint(), system_clock::now());
    }
    Stopwatch watch;
    EXPECT_EQ(watch.elapsed(), Time());
    const Time start = Time::now(1);
    Time::milliSeconds(5).sleep();
    EXPECT_GE(Time::now(7) - start, Time::milliSeconds(5));
    EXPECT_GT(watch.stop().elapsed(), Time());
}

TEST(TimeCounter, DumpsItsRate) {
    TimeCounter counter;
    EXPECT_EQ(dumped(counter), "{}");
    counter.go(Time());
    EXPECT_EQ(dumped(counter), "{num=1 tps=0 cost='00:00:00'}");
    counter.go(Time::milliSeconds(2000));
    std::ostringstream os;
    counter.dump(os << std::hex);
    EXPECT_EQ(os.str(), "@qor::TimeCounter{\n    num = 2\n    tps = 1\n    cost = '00:00:02'\n}");
}

}  // namespace
}  // namespace qor
