// Time: any text can be read, and the text of a time reads back: calendar texts of times that have
// a calendar date on this platform, and numbers of milliseconds.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qor/base/base_type_time.h"
#include "qor/base/exception.h"
#include "require.h"

namespace {

using namespace qor;

// A time zone without daylight saving time, in which no local time occurs twice.
const bool inZone = [] {
    setenv("TZ", "UTC-1", 1);
    return true;
}();

void requireReadsBack(std::int64_t milliseconds) try {
    // Before 1970 the milliseconds are negative, and the field of three digits has no room for the
    // sign.
    if (milliseconds < 0) milliseconds -= milliseconds % 1000;
    // A time of 0 is shown as a null time.
    if (milliseconds == 0) return;
    const String text = Time::milliSeconds(milliseconds).toDateTime();
    require(Time::fromString(text).toDateTime() == text);
} catch (const InvalidDataException&) {
    // A year that the calendar functions cannot represent.
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
    requireReadsBack(read.toMilliSeconds());
    std::int64_t milliseconds = 0;
    if (size < sizeof milliseconds) return 0;
    std::memcpy(&milliseconds, data, sizeof milliseconds);
    // A calendar text is limited to seconds of 32 bits.
    requireReadsBack(milliseconds % (std::int64_t(1000) << 31));
    return 0;
}
