#include "qor/mt/containers.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

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
    std::thread writers[4];
    for (std::thread& writer : writers) {
        writer = std::thread([&map] {
            for (int i = 0; i < 1000; ++i) {
                map.access([i](std::map<int, int>& values) { values[i % 7] += 1; });
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    int sum = 0;
    map.access([&sum](const std::map<int, int>& values) {
        for (const auto& [key, value] : values)
            sum += value;
    });
    EXPECT_EQ(sum, 4000);
}

TEST(LockedSet, InsertsOnce) {
    mt::set<int> set;
    EXPECT_TRUE(set.insert(1));
    EXPECT_FALSE(set.insert(1));
    EXPECT_TRUE(set.has(1));
    EXPECT_TRUE(set.erase(1));
    EXPECT_FALSE(set.erase(1));
    EXPECT_TRUE(set.empty());
}

}  // namespace
}  // namespace qor
