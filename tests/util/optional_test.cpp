#include "qor/util/optional.h"

#include <any>

#include "support/test.h"

namespace qor {
namespace {

// Such a type takes an Optional too.
TEST(Optional, IsCopiedIfItsTypeTakesAnything) {
    Optional<std::any> from, to;
    from = 7;
    to = from;
    EXPECT_EQ(std::any_cast<int>(to.value()), 7);
    Optional<std::any> unset;
    to = unset;
    EXPECT_FALSE(to.isSet());
}

}  // namespace
}  // namespace qor
