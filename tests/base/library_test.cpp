#include "qor/base/library.h"

#include <regex>

#include "support/test.h"

namespace qor {
namespace {

TEST(Version, IsOrderedAndPrinted) {
    EXPECT_TRUE(Version(1, 2) < Version(1, 3) && Version(2, 0) > Version(1, 9));
    std::ostringstream os;
    os << std::setfill('*') << Version(2, 5) << '|' << std::setw(3) << 1;
    EXPECT_EQ(os.str(), "2.05|  1");
}

TEST(Banner, ShowsVersionTimesAndSettings) {
    // Without what differs from build to build: the times, and a setting.
    const std::regex varying("( time = )[^\n]{12,}|\tNDEBUG\n");
    EXPECT_EQ(std::regex_replace(streamed(show_version()), varying, "$1"),
              "QOR(Quick Object Runtime) version 2.0.5-00[20150826]\n\nCurrent time = \n"
              "Compile time = \nCompile options:\n\t_QOR_UNIT_TEST OFF\n\t_QOR_DEBUG OFF\n"
              "\t_QOR_TRACE OFF\n\t_QOR_TRACE_LOG OFF\n\t_QOR_MEMLEAKCHECK OFF\n"
              "\t_QOR_ASSERT OFF\n\t_QOR_ASSERT_ABORT OFF\n\t_QOR_BREAK_ON_EXCEPTION OFF\n"
              "\t_QOR_THROW_REALLY = 1\n");
}

// In a child process, since a closed library stays closed.
TEST(Library, ClosesOnceAndLeaksNothing) {
    EXPECT_EXIT(
        {
            MemLeakChecker::instance()->start();
            console::setOn(true);
            const bool before = System::closing();
            { const InitFini bracket("test", false, 7); }
            const bool sized = QOR_TIMER_MAX_NUM() == 7;
            startup("test", false, 0);
            std::exit(!before && System::closing() && sized ? 0 : 1);
        },
        testing::ExitedWithCode(0), "Congratulations! No memory leaked.");
    // What fini releases is then not in the table, and each such release is shown.
    EXPECT_EXIT(
        {
            console::setOn(true);
            {
                const InitFini bracket("test", false, 0);
                MemLeakChecker::instance()->start();
            }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "Congratulations! No memory leaked.");
}

}  // namespace
}  // namespace qor
