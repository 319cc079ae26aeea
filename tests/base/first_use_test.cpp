#include "platform/first_use.h"

#include "qor/json/json_unit.h"
#include "qor/pml/pml_T.h"
#include "qor/timer/timerManager.h"
#include "qor/util/aes.h"
#include "qor/util/base64.h"
#include "qor/util/util_func.h"
#include "qor/xml/XMLStream.h"
#include "support/child.h"
#include "support/system_function.h"
#include "support/test.h"

namespace {
constinit thread_local unsigned initialised = 0;
}

// Counts the static variables of functions that the thread initialises. The label gives the
// function its name in all C++ runtimes, which declare it with different parameters.
extern "C" int acquireGuard(void* guard) __asm__("__cxa_guard_acquire");
int acquireGuard(void* guard) {
    const int acquired = support::systemFunction("__cxa_guard_acquire", acquireGuard)(guard);
    if (acquired != 0) ++initialised;
    return acquired;
}

namespace qor::platform {
namespace {

TEST(FirstUse, IsComputedAnewInAChildAndKeepsTheFirstResult) {
    static constinit FirstUse<const int*> kept;
    std::atomic<bool> entered{false}, released{false};
    std::thread slow([&] {
        const int* const late = kept.get([&] {
            entered = true;
            entered.notify_all();
            released.wait(false);
            return new int(1);
        });
        EXPECT_EQ(*late, 2);
    });
    entered.wait(false);
    const auto compute = [] { return new int(2); };
    const int status = statusOf([&] {
        alarm(30);
        if (*kept.get(compute) != 2) _exit(1);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(*kept.get(compute), 2);
    released = true;
    released.notify_all();
    slow.join();
}

class Service {};

TEST(FirstUse, NeedsNoGuardAfterTheLibraryIsLoaded) {
    const unsigned before = initialised;
    String text(L"\u00E9", 0);
    text.toWstring(0);
    Bytes coded;
    Base64::encode(istr("text"), text, false);
    AES("0123456789abcdef", "0123456789abcdef").encrypt(istr("text"), coded);
    Time::now(Time::Monotonic);
    getProgramDir();
    String::null();
    json::JsonUnit().decode("{\"a\":[1]}");
    json::JsonUnit::null();
    XMLInStream(istr("<a/>")).node().getAttrMap();
    pml::stream out;
    pml::encode(out, std::vector<int>{1});
    EXPECT_THROW(Handle<SimpleThread>()->living(), NullHandleException);
    TimerManager::instance();
    TimerManager::destroy();
    CreateByAllocate<Service>::create();
    CreateByAllocate<Service>::destroy();
    EXPECT_EQ(initialised, before);
}

}  // namespace
}  // namespace qor::platform
