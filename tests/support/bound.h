#ifndef QOR_TESTS_SUPPORT_BOUND_H
#define QOR_TESTS_SUPPORT_BOUND_H

#include <compare>
#include <deque>
#include <list>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "qor/qor.h"

// User types that the tests of each format bind.

namespace support {

// Members of any types, under the names "m0", "m1" and so on, and the tags from 1 on.
template <class... Members>
struct Tuple : std::tuple<Members...> {
    using std::tuple<Members...>::tuple;

    template <class Stream>
    void codec(Stream& s) {
        unsigned char tag = 0;
        const auto carry = [&](auto& member) {
            const qor::String name("m" + std::to_string(tag));
            field(s, {name, ++tag}, member);
        };
        std::apply([&](auto&... member) { (carry(member), ...); },
                   static_cast<std::tuple<Members...>&>(*this));
    }
};
template <class... Members>
Tuple(Members...) -> Tuple<Members...>;

// A small object.
struct Leaf {
    qor::Long id;
    qor::String text;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Leaf", "leaf", "", "");
        field(s, {"id", 1}, id);
        field(s, {"text", 2}, text);
        s.leave();
    }
    auto operator<=>(const Leaf&) const = default;
};

// The contact of docs/formats.md.
struct Contact {
    qor::String name;
    std::vector<long> numbers;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Contact", "contact", "", "");
        field(s, {"name", 1}, name);
        field(s, {"numbers", 2}, numbers);
        s.leave();
    }
};

// As deep as one likes.
struct Node {
    std::vector<Node> children;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"children", 1}, children);
    }
};

// The base of types that are carried through the interface of each format: the type has `carry`,
// a template that does what a codec does.
template <class Object>
struct ThroughInterface : qor::nbr::CodecInterface,
                          qor::pml::PmlCodecInterface,
                          qor::json::JsonCodecInterface,
                          qor::XMLCodecBase {
    void codec(qor::nbr::CodecStream& s) override {
        runCodec(s, [&] { object().carry(s); });
    }
    void codec(qor::pml::stream& s) override { object().carry(s); }
    void codecJson(qor::json::JsonStream& s) override { object().carry(s); }
    void codecXml(qor::XMLStream& s) override { object().carry(s); }

private:
    Object& object() { return static_cast<Object&>(*this); }
};

// Called so in each text.
struct Named : ThroughInterface<Named> {
    qor::String name;

    explicit Named(qor::istr text = qor::istr()) : name(text) {}
    template <class Stream>
    void carry(Stream& s) {
        s.enter("Named", "", "named", "Base");
        field(s, {"name", 1}, name);
        s.leave();
    }
    bool operator==(const Named& other) const { return name == other.name; }
};

// Members that every format carries.
inline auto makeAll() {
    using namespace qor;
    const std::string longText(100, 'x');
    return Tuple(true, 'c', -2L, 4294967295UL, -2000000000, 1e300, -0.1F, Wchar(L'\u5b89'),
                 String("\xC3\x85ngstr\xC3\xB6m"), std::string(" (^\"'*:) ]]>\\/\n"),
                 std::wstring(L"\u5b89\U0001F600"), Bytes(istr("\0\xFF", 2)),
                 Time::microSeconds(1500000000123000), Optional<Long>(Long(0)), Optional<Leaf>(),
                 Leaf{1, "one"}, Named("interface"), std::vector<bool>{true, false},
                 std::deque<Named>{Named("n")}, std::list<std::vector<String>>{{"a", "b", ""}, {}},
                 std::set<Leaf>{{9, "nine"}, {-9, "minus"}}, std::multiset<int>{3, 3},
                 std::map<String, Bit>{{"", true}, {"b c", false}, {longText, true}},
                 std::map<std::string, std::map<int, Leaf>>{{"k", {{-1, {4, "four"}}}}, {"l", {}}},
                 std::unordered_map<char, std::vector<Leaf>>{{'x', {{4, "four"}}}, {'y', {}}},
                 std::vector<Bytes>{Bytes(), Bytes(istr(longText))});
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_BOUND_H
