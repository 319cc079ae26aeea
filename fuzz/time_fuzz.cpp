// Times read any text, and their own text reads back: calendar texts of times that the platform can
// break down, and numbers of milliseconds.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qor/base/base_type_time.h"
#include "qor/base/exception.h"
#include "require.h"

namespace {

using namespace qor;

// No clock is put back in this zone.
const bool inZone = [] {
    setenv("TZ", "UTC-1", 1);
    return true;
}();

void requireReadsBack(const Time& time) try {
    // It is shown as no time at all.
    if (time.toMilliSeconds() == 0) return;
    const String text = time.toDateTime();
    require(Time::fromString(text).toDateTime() == text);
} catch (const InvalidDataException&) {
    // A year that has no calendar.
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    require(inZone);
    const std::string text(data, data + size);
    Time read;
    try {
        read = Time::fromString(text);
    } catch (const InvalidDataException&) {
        return 0;
    }
    requireReadsBack(read);
    std::int64_t milliseconds = 0;
    if (size < sizeof milliseconds) return 0;
    std::memcpy(&milliseconds, data, sizeof milliseconds);
    // Seconds have 32 bits in a calendar text, and before 1970 milliseconds are negative, with a
    // sign that three digits have no room for.
    milliseconds %= std::int64_t(1000) << 31;
    if (milliseconds < 0) milliseconds -= milliseconds % 1000;
    requireReadsBack(Time::milliSeconds(milliseconds));
    return 0;
}
