#include "qor/mt/containers.h"

#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

TEST(LockedMap, InsertsReplacesAndErases) {
    mt::map<int, std::string> map;
    EXPECT_TRUE(map.insert(1, "one"));
    EXPECT_FALSE(map.insert(1, "other"));
    map.set(2, "two");
    map.set(2, "zwei");
    std::string value;
    EXPECT_TRUE(map.get(1, value));
    EXPECT_EQ(value, "one");
    EXPECT_TRUE(map.get(2, value));
    EXPECT_EQ(value, "zwei");
    EXPECT_FALSE(map.get(3, value));
    EXPECT_EQ(map[3], "");
    EXPECT_EQ(map.size(), 3u);
    EXPECT_TRUE(map.erase(1));
    EXPECT_FALSE(map.erase(1));
    EXPECT_FALSE(map.has(1));
    map.clear();
    EXPECT_TRUE(map.empty());
}

TEST(LockedMap, HoldsItsLockDuringAccess) {
    mt::map<int, int> map;
    inThreads(2, [&map] {
        for (int i = 0; i < 1000; ++i)
            map.access([i](std::map<int, int>& values) { values[i % 7] += 1; });
    });
    int sum = 0;
    for (int key = 0; key < 7; ++key)
        sum += map[key];
    EXPECT_EQ(sum, 2000);
}

struct Visitor {
    mt::map<int, std::shared_ptr<Visitor>>& map;
    ~Visitor() { map.has(1); }
};

TEST(LockedMap, DestroysValuesWithoutItsLock) {
    mt::map<int, std::shared_ptr<Visitor>> map;
    const auto visitor = [&map] { return std::make_shared<Visitor>(Visitor{map}); };
    map.set(1, visitor());
    map.set(1, visitor());
    map.insert(1, visitor());
    auto last = visitor();
    EXPECT_TRUE(map.get(1, last));
    last.reset();
    EXPECT_TRUE(map.erase(1));
    map.set(2, visitor());
    map.clear();
    EXPECT_TRUE(map.empty());
}

TEST(LockedSet, InsertsOnce) {
    mt::set<int> set;
    EXPECT_TRUE(set.insert(1));
    EXPECT_FALSE(set.insert(1));
    EXPECT_EQ(set.access([](const std::set<int>& values) { return *values.begin(); }), 1);
}

}  // namespace
}  // namespace qor
