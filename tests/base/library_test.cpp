#include "qor/base/library.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <regex>
#include <sstream>

namespace qor {
namespace {

TEST(Version, IsOrderedAndPrinted) {
    EXPECT_TRUE(Version(1, 2) < Version(1, 3) && Version(2, 0) > Version(1, 9));
    std::ostringstream os;
    os << std::setfill('*') << Version(2, 5) << '|' << std::setw(3) << 1;
    EXPECT_EQ(os.str(), "2.05|  1");
}

TEST(Banner, ShowsVersionTimesAndSettings) {
    std::ostringstream os;
    os << show_version();
    const std::regex banner(
        R"(QOR\(Quick Object Runtime\) version 2\.0\.5-00\[20150826\]

Current time = \d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}
Compile time = \w{3} [ \d]\d \d{4} \d\d:\d\d:\d\d
Compile options:
(	NDEBUG
)?	_QOR_UNIT_TEST OFF
	_QOR_DEBUG OFF
	_QOR_TRACE OFF
	_QOR_TRACE_LOG OFF
	_QOR_MEMLEAKCHECK OFF
	_QOR_ASSERT OFF
	_QOR_ASSERT_ABORT OFF
	_QOR_BREAK_ON_EXCEPTION OFF
	_QOR_THROW_REALLY = 1
)");
    EXPECT_TRUE(std::regex_match(os.str(), banner)) << os.str();
}

// In a process of its own, since what is closed stays closed.
TEST(Library, ClosesForGood) {
    EXPECT_EXIT(
        {
            const bool before = System::closing();
            { const InitFini bracket("test", false, 0); }
            startup("test", false, 0);
            std::exit(!before && System::closing() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace qor
