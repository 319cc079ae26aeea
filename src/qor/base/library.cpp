#include "qor/base/library.h"

#include <cstring>
#include <iomanip>
#include <ostream>

#include "base/version.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"

namespace qor {

namespace {

// For show_version: QOR_THROW always throws.
constexpr int kThrowReally = 1;

// A setting of the build: on if the macro of this name is defined. If it is not, `expansion` is the
// name itself.
struct Option {
    const char* name;
    const char* expansion;
    bool on() const noexcept { return std::strcmp(name, expansion) != 0; }
};
#define QOR_TEXT(...) #__VA_ARGS__
#define QOR_EXPANDED(...) QOR_TEXT(__VA_ARGS__)
#define QOR_OPTION(name) \
    { #name, QOR_EXPANDED(name) }
constexpr Option kOptions[] = {
    QOR_OPTION(_QOR_UNIT_TEST),    QOR_OPTION(_QOR_DEBUG),
    QOR_OPTION(_QOR_TRACE),        QOR_OPTION(_QOR_TRACE_LOG),
    QOR_OPTION(_QOR_MEMLEAKCHECK), QOR_OPTION(_QOR_ASSERT),
    QOR_OPTION(_QOR_ASSERT_ABORT), QOR_OPTION(_QOR_BREAK_ON_EXCEPTION),
};

}  // namespace

const char* const kVersion = "2.0.5-00[20150826]";
const char* const kCompiledAt = __DATE__ " " __TIME__;

std::atomic<bool> System::closing_{false};

std::ostream& operator<<(std::ostream& os, const Version& version) {
    return os << version.version << '.' << std::setfill('0') << std::setw(2) << version.patch
              << std::setfill(' ');
}

std::ostream& operator<<(std::ostream& os, show_version) {
    os << "QOR(Quick Object Runtime) version " << kVersion << '\n';
    os << "\nCurrent time = " << istr(Time::now().toDateTime()) << '\n';
    os << "Compile time = " << kCompiledAt << '\n';
    os << "Compile options:\n";
#ifdef _WIN32
    os << "\tWIN32\n";
#endif
#ifdef NDEBUG
    os << "\tNDEBUG\n";
#endif
    for (const Option& option : kOptions)
        os << '\t' << option.name << (option.on() ? " ON\n" : " OFF\n");
    return os << "\t_QOR_THROW_REALLY = " << kThrowReally << '\n';
}

}  // namespace qor

void qor_20500::zzz_dummy_to_show_version() {}
