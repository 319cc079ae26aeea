#ifndef QOR_TESTS_SUPPORT_FORMATS_H
#define QOR_TESTS_SUPPORT_FORMATS_H

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "qor/qor.h"
#include "support/shown.h"

// The formats that carry user types, for tests that are the same for all of them. Each one has
// `write` and `read` for objects, `parse` from a text to a tree, `shown`, the text of all of a
// tree, `deep`, a text with that number of values inside each other, and kTooDeepIn, the function
// that refuses objects beyond kMaxDepth; XML leaves them out.

namespace support {

inline std::string repeated(std::string_view part, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i)
        text += part;
    return text;
}

struct Deep {
    std::string text, shown;
};

struct NbrFormat {
    static constexpr const char* kName = "nbr";
    static constexpr unsigned kMaxDepth = qor::nbr::kMaxDepth;
    static constexpr const char* kTooDeepIn = "qor::nbr::Reader::readValue";
    using Tree = qor::nbr::ValueBase;

    template <class T>
    static qor::String write(const T& object, bool = false) {
        qor::nbr::CodecStream out;
        qor::nbr::encode(out, object);
        return qor::String(out.str());
    }
    template <class T>
    static void read(qor::istr text, T& object) {
        qor::nbr::decode(text, object);
    }
    static std::unique_ptr<Tree> parse(qor::istr text) {
        return std::unique_ptr<Tree>(qor::nbr::parser::from(text));
    }
    static std::string shown(const Tree& tree) { return dumped(tree); }
    static Deep deep(std::size_t levels) {
        return {"\xFF\x01(" + repeated("\x02\xFF\x01(", levels - 1),
                repeated("{[2] ", levels - 1) + "{}" + repeated("}", levels - 1)};
    }
};

struct PmlFormat {
    static constexpr const char* kName = "pml";
    static constexpr unsigned kMaxDepth = qor::pml::kMaxDepth;
    static constexpr const char* kTooDeepIn = "qor::pml::stream::stream";
    using Tree = qor::pml::ntv::Unit;

    template <class T>
    static qor::String write(const T& object, bool pretty = false) {
        qor::pml::stream out;
        qor::pml::encode(out, object);
        return out.toPml(pretty);
    }
    template <class T>
    static void read(qor::istr text, T& object) {
        qor::pml::decode(qor::pml::stream(text, false), object);
    }
    static std::unique_ptr<Tree> parse(qor::istr text) {
        return std::unique_ptr<Tree>(qor::pml::newNTV(text));
    }
    static std::string shown(const Tree& tree) { return tree.str(qor::pml::ShowMode::COMPACT); }
    static Deep deep(std::size_t levels) {
        const std::string text = repeated("a(", levels) + "x" + std::string(levels, ')');
        return {text, text};
    }
};

struct JsonFormat {
    static constexpr const char* kName = "json";
    static constexpr unsigned kMaxDepth = qor::json::kMaxDepth;
    static constexpr const char* kTooDeepIn = "qor::json::ReadingDepth::ReadingDepth";
    using Tree = qor::json::JsonUnit;

    template <class T>
    static qor::String write(const T& object, bool pretty = false) {
        qor::json::JsonOutputStream out;
        qor::json::encode(out, object);
        return out.str(pretty);
    }
    template <class T>
    static void read(qor::istr text, T& object) {
        qor::json::decode(text, object);
    }
    static std::unique_ptr<Tree> parse(qor::istr text) {
        return std::make_unique<Tree>(qor::json::JsonParser::from(text));
    }
    static std::string shown(const Tree& tree) { return tree.encode(false, false, 0); }
    static Deep deep(std::size_t levels) {
        const std::string text = repeated("{ \"k\":[ ", levels) + "1" + repeated(" ] }", levels);
        return {text, text};
    }
};

struct XmlFormat {
    static constexpr const char* kName = "xml";
    static constexpr unsigned kMaxDepth = qor::xml::kMaxDepth;
    static constexpr const char* kTooDeepIn = "";
    using Tree = qor::XMLNode;

    template <class T>
    static qor::String write(const T& object, bool pretty = false) {
        qor::XMLStream out;
        qor::xml::encode(out, object);
        return out.str(pretty, 0);
    }
    template <class T>
    static void read(qor::istr text, T& object) {
        qor::xml::decode(qor::XMLInStream(text), object);
    }
    static std::unique_ptr<Tree> parse(qor::istr text) {
        return std::unique_ptr<Tree>(qor::XMLParser(text).release());
    }
    static std::string shown(const Tree& tree) { return tree.str(false, 0); }
    static Deep deep(std::size_t levels) {
        return {repeated("<a>", levels),
                repeated("<a>", levels - 1) + "<a/>" + repeated("</a>", levels - 1)};
    }
};

using Formats = testing::Types<NbrFormat, PmlFormat, JsonFormat, XmlFormat>;

struct FormatName {
    template <class Format>
    static std::string GetName(int) {
        return Format::kName;
    }
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_FORMATS_H
