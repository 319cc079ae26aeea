#include "json/tree_maker.h"

#include <barrier>

#include "support/formats.h"
#include "support/test.h"
#include "support/threads.h"

// The values of trees that were read: they are created at their first use, in any order, and keep
// alive what they need of the tree.

namespace qor::json {
namespace {

JsonUnit read(istr text) {
    return JsonUnit(JsonParser::from(text));
}

std::string written(const JsonUnit& unit) {
    return unit.encode(false, false, 0);
}

// Overwrites memory that was freed too early.
void useOtherTrees() {
    written(read("[" + repeated("{\"k\":[\"other\",\"other text that is longer\"]},", 1000) + "]"));
}

std::vector<const JsonUnit*> childrenOf(const JsonUnit& unit) {
    std::vector<const JsonUnit*> children;
    if (const JsonArray* const array = unit.arrayValue()) {
        for (const JsonUnit& child : *array)
            children.push_back(&child);
    } else if (const JsonObject* const object = unit.objectValue()) {
        for (const auto& [key, child] : *object)
            children.push_back(&child);
    }
    return children;
}

const JsonUnit& firstLeaf(const JsonUnit& unit) {
    const std::vector<const JsonUnit*> children = childrenOf(unit);
    return children.empty() ? unit : firstLeaf(*children.front());
}

using Order = std::function<void(std::vector<const JsonUnit*>&)>;

void makeAll(const JsonUnit& unit, const Order& order) {
    std::vector<const JsonUnit*> children = childrenOf(unit);
    order(children);
    for (const JsonUnit* const child : children) {
        child->value();
        makeAll(*child, order);
    }
}

// The text reads as expected, whether none of its values were used before or all, in any order.
void expectReadAs(const std::string& text, const std::string& expected) {
    static std::mt19937 random(3);
    const Order orders[] = {
        [](auto&) {},
        [](auto& children) { std::reverse(children.begin(), children.end()); },
        [](auto& children) { std::shuffle(children.begin(), children.end(), random); },
        [](auto& children) {
            // The last of many come first, so that the others are no batch at the beginning.
            const auto part = static_cast<std::ptrdiff_t>(children.size() / 2);
            std::rotate(children.begin(), children.begin() + part, children.end());
        },
    };
    EXPECT_EQ(written(read(text)), expected);
    for (const Order& order : orders) {
        const JsonUnit unit = read(text);
        makeAll(unit, order);
        EXPECT_EQ(written(unit), expected);
        // A tree that is built from the parts of another one.
        JsonUnit parts, source = read(text);
        parts.arrayValue();
        for (const JsonUnit* const child : childrenOf(source))
            parts.arrayValue().add(*child);
        source.setNull();
        useOtherTrees();
        const std::vector<const JsonUnit*> children = childrenOf(unit);
        ASSERT_EQ(childrenOf(parts).size(), children.size());
        for (std::size_t i = 0; i < children.size(); i += 1 + i / 8)
            EXPECT_EQ(written(parts.arrayValue().at(static_cast<unsigned>(i))),
                      written(*children[i]));
    }
}

TEST(TreeMaker, CreatesValuesInAnyOrder) {
    const std::pair<const char*, const char*> cases[] = {
        {"[[],{},[[]],{a:{}}]", "[ [ ], { }, [ [ ] ], { \"a\":{ } } ]"},
        {"{c:null,a:[null],b:{n:null}}", R"({ "a":[ ], "b":{ "n":null }, "c":null })"},
        // Of equal keys the last one counts.
        {"{a:[1],b:{c:1},a:{d:[2]},b:[],a:[[3]]}", R"({ "a":[ [ 3 ] ], "b":[ ] })"},
        {"[{a:1,a:[2]},{a:[1],a:2},{a:{a:1,a:2},a:null}]",
         R"([ { "a":[ 2 ] }, { "a":2 }, { "a":null } ])"},
        // Keys with escapes, one of which is then the same as another one.
        {R"([{"a\u0062":1,"\q\u0063":2,"c\/d":[3]},{x:{"\n":4},"\t":5}])",
         "[ { \"ab\":1, \"c\":2, \"c/d\":[ 3 ] }, { \"\t\":5, \"x\":{ \"\n\":4 } } ]"},
        {R"({"a\u0062":[1],ab:2,"\u0061b":{c:3}})", R"({ "ab":{ "c":3 } })"},
        {"[abc,+,true,True,1 2,\"\\u0041\",-]", R"([ abc, +, true, True, 1 2, "A", - ])"},
    };
    for (const auto& [text, expected] : cases)
        expectReadAs(text, expected);
}

// Objects share their sorted keys: those with keys that differ in a single byte must not.
TEST(TreeMaker, DistinguishesKeysThatDifferInOneByte) {
    for (std::size_t size = 1; size <= 40; ++size) {
        const std::string key(size, 'k');
        const std::string same = "{\"" + key + "\":1,e:2}";
        for (std::size_t place = 0; place < size; ++place) {
            std::string other = key;
            other[place] = 'l';
            // In a small tree, and in one that has a table of them.
            for (const std::size_t count : {2U, 40U}) {
                const JsonUnit unit =
                    read("[" + repeated(same + ",", count) + "{\"" + other + "\":3,e:4}]");
                ASSERT_EQ(written((*childrenOf(unit).back())[other]), "3");
            }
        }
    }
}

// Writing a tree that was only read and one whose values were used gives the same, in both forms,
// for texts at the limits of the copies.
TEST(TreeMaker, WritesUnusedTextsLikeValues) {
    const std::string escapes[] = {"",     "/",       "\\/", "\\n",  "\\\"",
                                   "\\\\", "\\u00e4", "\\q", "\x1f", "\t"};
    std::vector<std::size_t> sizes = {47, 48, 511, 512, 513, 600, 4095, 4096, 5000};
    for (std::size_t size = 0; size < 36; ++size)
        sizes.push_back(size);
    for (const std::size_t size : sizes) {
        for (const std::string& escape : escapes) {
            const std::string plain(size, 'p');
            const std::string text = '"' + plain + escape + plain.substr(size / 2) + '"';
            const std::string key =
                "k" + plain + (escape == "\x1f" || escape == "\t" ? escape : "");
            const std::string document =
                "{\"" + key + "\":" + text + ",e:[],n:null,o:{},a:[" + text + ",[],{}],d:[[1]]}";
            const JsonUnit unmade = read(document), made = read(document);
            makeAll(made, [](auto&) {});
            for (const bool pretty : {false, true}) {
                for (const bool skipNull : {false, true})
                    ASSERT_EQ(unmade.encode(pretty, skipNull), made.encode(pretty, skipNull));
            }
        }
    }
}

// Pages hold a limited number of values, and arrays end inside them.
TEST(TreeMaker, MakesContainersOfEverySizeAndDepth) {
    for (const std::size_t count : {1U, 31U, 255U, 511U, 512U, 1020U, 1021U, 1500U, 9000U}) {
        const std::string flat = repeated("1,", count), flatWritten = repeated("1, ", count - 1);
        const std::string array = "[ " + flatWritten + "1 ]";
        expectReadAs("[[" + flat + "]]", "[ " + array + " ]");
        expectReadAs("[[2],[" + flat + "],[[" + flat + "],{k:[" + flat + "]}],[3]]",
                     "[ [ 2 ], " + array + ", [ " + array + ", { \"k\":" + array + " } ], [ 3 ] ]");
        for (const auto& [small, smallWritten] :
             {std::pair<std::string, std::string>("[]", "[ ]"), {"{k:[2]}", "{ \"k\":[ 2 ] }"}}) {
            // Small containers at the edges of an array, and in all of it.
            expectReadAs("[" + small + "," + flat + small + "]",
                         "[ " + smallWritten + ", " + flatWritten + "1, " + smallWritten + " ]");
            expectReadAs("[" + repeated(small + ",", count) + "]",
                         "[ " + repeated(smallWritten + ", ", count - 1) + smallWritten + " ]");
        }
    }
    // A root that is larger than the distances that values store.
    const std::size_t count = 80000;
    expectReadAs("[[]," + repeated("1,", count) + "{k:[2]}]",
                 "[ [ ], " + repeated("1, ", count) + "{ \"k\":[ 2 ] } ]");
    std::string object = "{\"k\":[ ], ";
    for (std::size_t i = 0; i < count; ++i)
        object += "\"k" + std::to_string(100000 + i) + "\":1, ";
    expectReadAs(object + "\"l\":[ ]}", "{ " + object.substr(1) + "\"l\":[ ] }");
    for (const std::size_t depth : {30U, 31U, 32U, 33U, 64U, 65U, 200U}) {
        expectReadAs(repeated("[[1],", depth) + repeated("]", depth),
                     repeated("[ [ 1 ], ", depth - 1) + "[ [ 1 ]" + repeated(" ]", depth));
        expectReadAs(repeated("{k:", depth) + "[]" + repeated("}", depth),
                     repeated("{ \"k\":", depth) + "[ ]" + repeated(" }", depth));
    }
}

TEST(TreeMaker, KeepsTheTextOfAView) {
    const std::string large(5000, 'v');
    const std::pair<std::string, std::string> strings[] = {
        {"\"\"", ""}, {"\"view\"", "view"}, {"\"a\\tb\"", "a\tb"}, {'"' + large + '"', large}};
    const std::pair<std::string, std::string> around[] = {
        {"[", "]"},
        {"{k:", "}"},
        {"[[[", ",1],2]]"},
        {"[{k:{j:[", ",[]]}},{}]"},
        {"[[", "," + repeated("[1],", 600) + "]]"},
    };
    for (const auto& [string, value] : strings) {
        for (const auto& [before, after] : around) {
            for (const bool grows : {false, true}) {
                JsonUnit root = read(before + string + after);
                istr view, again;
                firstLeaf(root) >> view;
                if (grows && before[0] == '[') root.newChild() << "more";
                const Handle<JsonValue> kept = firstLeaf(root).value();
                firstLeaf(root) >> again;
                root.setNull();
                useOtherTrees();
                EXPECT_EQ(view, value);
                EXPECT_EQ(again.data(), view.data());
                EXPECT_EQ(static_cast<JsonString&>(*kept).getValue(), value);
                EXPECT_EQ(kept->__GetRef(), 1);
            }
        }
    }
}

// Like values that were built.
TEST(TreeMaker, SharesValuesThatAreTakenOut) {
    for (const std::string text : {"1", "true", "\"s\"", "[1]", "{a:1}", "[[],{}]"}) {
        for (const auto& [before, after] :
             {std::pair<std::string, std::string>("[", "]"), {"{k:", "}"}, {"[[0,", "],[]]"}}) {
            JsonUnit root = read(before + text + after);
            EXPECT_EQ(root.value()->__GetRef(), 2);
            const JsonUnit* unit = childrenOf(root).back();
            if (before == "[[0,") unit = &childrenOf(root).front()->arrayValue()->at(1);
            const std::string expected = written(*unit);
            JsonUnit copy = *unit;
            EXPECT_EQ(copy.value()->__GetRef(), 3);
            root.setNull();
            EXPECT_EQ(copy.value()->__GetRef(), 2);
            useOtherTrees();
            EXPECT_EQ(written(copy), expected);
        }
    }
    JsonUnit root = read("[1,\"s\",true,[2],{a:3}]");
    JsonArray& array = root.arrayValue();
    std::vector<JsonUnit> copies(array.begin(), array.end());
    copies[0] << 7;
    copies[1] << "t";
    copies[2] << false;
    copies[3].newChild() << 8;
    copies[4]["a"] << 9;
    EXPECT_EQ(written(root), R"([ 7, "t", false, [ 2, 8 ], { "a":9 } ])");
    copies[0] << "of another kind";
    EXPECT_EQ(written(array.at(0)), "7");
}

TEST(TreeMaker, MovesUnitsOutAndAround) {
    const std::string text = "[1,\"two\",[3,[4]],{k:[5]},[],true]";
    const std::vector<std::string> parts = {"1",   "\"two\"", "[ 3, [ 4 ] ]", "{ \"k\":[ 5 ] }",
                                            "[ ]", "true"};
    for (unsigned i = 0; i < parts.size(); ++i) {
        JsonUnit root = read(text);
        JsonUnit moved = std::move(root.arrayValue().at(i));
        EXPECT_TRUE(root.arrayValue().at(i).isNull());
        std::swap(root.arrayValue().at(0), root.arrayValue().at(5));
        EXPECT_EQ(written(root.arrayValue().at(0)), i + 1 == parts.size() ? "null" : "true");
        // To another place of its tree, where it replaces a value.
        JsonUnit& last = root.arrayValue().at(4);
        if (i != 4) {
            last = std::move(moved);
            moved = std::move(last);
        }
        std::vector<JsonUnit> units;
        units.push_back(std::move(moved));
        units.resize(100);
        root.setNull();
        useOtherTrees();
        EXPECT_EQ(written(units[0]), parts[i]);
    }
    // A unit becomes a part of its own value.
    JsonUnit root = read("[[[1],{k:[2]}]]");
    root = std::move(root.arrayValue().at(0));
    root = JsonUnit(root.arrayValue().at(1));
    EXPECT_EQ(written(root), "{ \"k\":[ 2 ] }");
}

TEST(TreeMaker, KeepsOldElementsWhenAnArrayGrows) {
    const std::string elements[] = {"1",    "\"two\"", "[]",      "[3,{}]", "{k:[4]}",
                                    "true", "five",    "\"\\n\"", "{}",     "[[[]]]"};
    for (const std::size_t count : {0U, 1U, 3U, 4U, 10U, 100U, 600U}) {
        std::string text, added;
        for (std::size_t i = 0; i < count; ++i)
            text += elements[i * 7 % std::size(elements)] + ',';
        for (std::size_t i = count; i < 2 * count + 10; ++i)
            added += std::to_string(i) + ',';
        const std::string expected = written(read('[' + text + added + ']'));
        for (const std::size_t look : {0U, 1U, 3U}) {
            for (const auto& [open, close] :
                 {std::pair<std::string, std::string>("[", "]"), {"[0,[", "],[9]]"}}) {
                JsonUnit root = read(open + text + close);
                JsonUnit& unit = open == "[" ? root : root.arrayValue().at(1);
                for (std::size_t i = 0; look != 0 && i < count; i += look)
                    unit.arrayValue().at(static_cast<unsigned>(i)).value();
                JsonArray& array = unit.arrayValue();
                for (std::size_t i = count; i < 2 * count + 10; ++i)
                    array.newChild() << i;
                EXPECT_EQ(written(unit), expected);
                for (std::size_t i = array.size(); i-- > 0;)
                    array.at(static_cast<unsigned>(i)).value();
                const JsonUnit kept = unit;
                root.setNull();
                useOtherTrees();
                EXPECT_EQ(written(kept), expected);
            }
        }
    }
}

// Others make it by a first newChild or a first key.
TEST(TreeMaker, CreatesARootAtAnyFirstCall) {
    EXPECT_EQ(read("[1,[2],3]").arrayValue().size(), 3u);
    const JsonUnit array = read("[1,[2],3]"), object = read("{a:1,b:[2],c:3}");
    const JsonUnit* const last = array.arrayValue()->end();
    EXPECT_EQ(last - array.arrayValue()->begin(), 3);
    const JsonObject::const_iterator end = object.objectValue()->end();
    EXPECT_EQ(std::distance(object.objectValue()->begin(), end), 3);
}

constexpr int kThreads = 4;

std::string contacts(unsigned count) {
    return "{list:[" +
           repeated("{id:7,\"name\":\"A\\u0042\",tags:[\"x\",[1.5]],more:{no:[]}},", count) + "]}";
}

TEST(TreeMaker, IsReleasedByThreads) {
    for (int round = 0; round < 50; ++round) {
        std::vector<Handle<JsonValue>> handles[kThreads];
        {
            JsonUnit root = read("[" + repeated(contacts(5) + ',', 60) + "1,\"two\"]");
            int i = round;
            for (const JsonUnit* const child : childrenOf(root)) {
                const JsonUnit& list = (*child)["list"];
                for (const JsonUnit* const unit : {child, &list, &firstLeaf(list)})
                    handles[i++ % kThreads].push_back(unit->value());
            }
            handles[round % kThreads].push_back(root.value());
        }
        std::barrier start(kThreads);
        inThreads(kThreads, [&](int i) {
            start.arrive_and_wait();
            std::vector<Handle<JsonValue>>& mine = handles[i];
            while (!mine.empty())
                mine.pop_back();
        });
    }
}

TEST(TreeMaker, IsReadInPartsByThreads) {
    const std::string expected = written(read(contacts(300)));
    for (unsigned round = 0; round < 10; ++round) {
        JsonUnit root = read("[" + repeated(contacts(300) + ',', kThreads + 1) + "]");
        std::vector<JsonUnit> parts;
        for (const JsonUnit* const child : childrenOf(root))
            parts.push_back(*child);
        std::barrier start(kThreads);
        inThreads(kThreads, [&](int i) {
            start.arrive_and_wait();
            JsonUnit& part = parts[i];
            if (i == 0) root.setNull();
            if (i % 2 == 0) {
                EXPECT_EQ(written(part), expected);
            }
            makeAll(part, [](auto&) {});
            EXPECT_EQ(written(part), expected);
            part["list"].newChild()["new"] << i;
            EXPECT_EQ(part["list"].arrayValue().size(), 301u);
            part.setNull();
        });
        EXPECT_EQ(written(parts[kThreads]), expected);
    }
}

}  // namespace
}  // namespace qor::json
