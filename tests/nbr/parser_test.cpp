#include "qor/nbr/parser.h"

#include "support/test.h"

namespace qor::nbr {
namespace {

using Tree = std::unique_ptr<ValueBase>;

std::string shown(const ValueBase* value) {
    return value != nullptr ? dumped(*value) : "null";
}

const ComplexValue& complex(const Tree& tree) {
    return static_cast<const ComplexValue&>(*tree);
}

TEST(Parser, GetsTheLastOfEqualTagsAndListsAll) {
    // Few and many items, in ascending, equal and mixed order.
    for (const unsigned count : {1U, 2U, 16U, 17U, 40U, 255U}) {
        for (const unsigned step : {0U, 1U, 7U}) {
            SCOPED_TRACE(std::to_string(count) + " items, step " + std::to_string(step));
            Bytes message(istr("\xFF\x01("));
            std::array<int, 256> last;
            last.fill(-1);
            for (unsigned i = 0; i < count; ++i) {
                const unsigned tag = step == 7 ? i * 7 % 32 : i * step % 255;
                const unsigned char item[] = {static_cast<unsigned char>(tag), 1, 1,
                                              static_cast<unsigned char>(i)};
                message.append(istr(item, 4UL));
                last[tag] = static_cast<int>(i);
            }
            const Tree tree(parser::from(message));
            ASSERT_EQ(complex(tree).data().size(), count);
            for (unsigned tag = 0; tag < 256; ++tag) {
                const ValueBase* value = complex(tree).get(static_cast<unsigned char>(tag));
                int got = -1;
                if (value != nullptr) static_cast<const SimpleValue*>(value)->read(got);
                EXPECT_EQ(got, last[tag]) << tag;
            }
        }
    }
}

TEST(Parser, ViewsItsInputAndIgnoresWhatFollows) {
    const Bytes message = bytes("FF 01 28 09 01 02 68 69 FF 01 29 AA BB");
    const Tree tree(parser::from(message));
    EXPECT_EQ(shown(tree.get()), "{[9] 68 69}");
    const auto* leaf = static_cast<const SimpleValue*>(complex(tree).get(9));
    EXPECT_EQ(leaf->data().data(), message.c_str() + 6);
    for (const char* empty : {"01 00", "01 00 05"}) {
        const Bytes input = bytes(empty);
        const Tree value(parser::from(input));
        EXPECT_NE(static_cast<const SimpleValue&>(*value).data().data(), nullptr) << empty;
    }
}

TEST(Parser, SeeksAnItemWithoutATree) {
    const std::tuple<const char*, unsigned char, const char*> cases[] = {
        {"FF 01 28 01 01 01 07 02 F1 01 61 02 01 01 62 FF 01 29", 2, "'a'"},
        {"FF 01 28 0A 01 01 07 FF 01 29", 9, "null"},
        {"FF 01 28 FF 01 29 61", 0xFF, "null"},
        {"FF 01 28 01 01 01 07", 1, "07"},
        {"FF 01 28 01", 1, "null"},
        {"FF 01 28 01 00 02 01 01 05 FF 01 29", 2, "05"},
        {"01 01 07", 1, "null"},
        {"", 1, "null"},
        // The item itself must be simple.
        {"FF 01 28 02 FF 01 28 FF 01 29 FF 01 29", 2, "null"},
    };
    for (const auto& [hex, tag, outcome] : cases) {
        const Bytes message = bytes(hex);
        EXPECT_EQ(shown(Tree(parser::from(message, tag)).get()), outcome) << hex;
    }
    // Deliberate (compatibility): after a complex value the parse is out of step.
    const Bytes outOfStep = bytes("FF 01 28 01 FF 01 28 01 01 01 07 FF 01 29 02 01 01 05 FF 01 29");
    EXPECT_THROW(Tree(parser::from(outOfStep, 2)), DecodeException);
}

TEST(Parser, AllocatesNoMoreThanItReturns) {
    const Bytes message = bytes("FF 01 28 01 01 01 07 02 F1 01 61 03 FF 01 28 FF 01 29 FF 01 29");
    Tree(parser::from(message));  // leaves a spare block
    const AllocationCounter counter;
    const Tree seeked(parser::from(message, 2));
    EXPECT_EQ(counter.allocations(), 1u);
    const Tree tree(parser::from(message));
    EXPECT_EQ(counter.allocations(), 1u) << "a tree takes the spare block";
}

}  // namespace
}  // namespace qor::nbr
