#ifndef QOR_TESTS_XML_NO_LOSS_H
#define QOR_TESTS_XML_NO_LOSS_H

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "qor/xml/XMLNode.h"
#include "support/allocation.h"
#include "support/spare_blocks.h"

namespace qor {

// Fails the test if something that was allocated in its scope is not freed at the end.
class NoLoss : noncopyable {
public:
    NoLoss() {
        createWhatIsKept();
        support::freeSpareBlocks();
        counter_.emplace();
    }
    ~NoLoss() {
        support::freeSpareBlocks();
        EXPECT_EQ(counter_->outstanding(), 0);
    }

private:
    // Has the library create what it creates once and keeps.
    static void createWhatIsKept() {
        XMLNode many("many", nullptr);
        for (int i = 0; i < 100; ++i)
            many.addChildNode(std::to_string(i));
        many.attr("a");
        const XMLNode& node = many;
        node["none"]["none"]("none");
        XMLAttr::null();
    }

    std::optional<support::AllocationCounter> counter_;
};

}  // namespace qor

#endif  // QOR_TESTS_XML_NO_LOSS_H
