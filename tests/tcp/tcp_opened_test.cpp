#include "tcp/tcp_opened.h"

#include <functional>

#include "qor/mt/shared.h"
#include "support/test.h"

namespace qor::tcp {
namespace {

std::string calls;

struct Fake : Shared {
    explicit Fake(std::string text) : name(std::move(text)) {}
    bool ending() const { return isEnding; }
    bool isOwnThread() const { return false; }
    void requestEnd() { calls += "end " + name + ", "; }
    void stop() {
        calls += "stop " + name + ", ";
        if (onStop) onStop();
    }

    const std::string name;
    bool isEnding = true;
    std::function<void()> onStop;  // what its callback does meanwhile
};

// The connection is ended first, since a callback may be using it, and the callback of an earlier
// one may open again.
TEST(Opened, ClosesAllThatWereOpenedBefore) {
    Opened<Fake> opened;
    std::vector<Handle<Fake>> fakes;
    for (const char* const name : {"a", "b", "c", "d"})
        fakes.emplace_back(new Fake(name));
    for (int i = 0; i < 3; ++i)
        opened.add(fakes[i]);
    fakes[0]->onStop = [&] {
        fakes[2]->isEnding = false;  // its thread has ended
        opened.add(fakes[3]);
    };
    opened.close();
    EXPECT_EQ(calls, "end c, stop a, stop b, stop c, ");
    EXPECT_EQ(opened.last(), fakes[3]);
}

}  // namespace
}  // namespace qor::tcp
