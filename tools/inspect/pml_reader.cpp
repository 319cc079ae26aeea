#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <istream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "inspect/readers.h"
#include "inspect/writers.h"
#include "qor/pml/pml_parser.h"
#include "qor/util/base64.h"
#include "qor/util/directory.h"

namespace tools {

namespace {

using qor::pml::ntv::ListValue;
using qor::pml::ntv::Unit;

// Lets a stream read text in memory without a copy; the text may contain zeros.
class ViewBuffer : public std::streambuf {
public:
    explicit ViewBuffer(istr content) {
        char* const begin = const_cast<char*>(content.data());
        setg(begin, begin, begin + content.size());
    }
    unsigned long position() const { return static_cast<unsigned long>(gptr() - eback()); }
};

Shape shapeOf(const ListValue& list) {
    unsigned long named = 0;
    for (const Unit* const unit : list)
        named += unit->name().empty() ? 0 : 1;
    if (named == 0) return list.empty() ? Shape::Map : Shape::List;
    return named == list.size() ? Shape::Map : Shape::Pairs;
}

// Emits a tree of units. The types "base64" and "utf8" are decoded.
class UnitWalk {
public:
    explicit UnitWalk(Sink& sink) : sink_(sink) {}

    void tell(const Unit& root) {
        enter(root);
        while (!open_.empty()) {
            Open& level = open_.back();
            if (level.next == level.end) {
                sink_.end();
                open_.pop_back();
            } else {
                enter(**level.next++);
            }
        }
    }

private:
    struct Open {
        ListValue::const_iterator next;
        ListValue::const_iterator end;
        bool isChain;
    };

    void enter(const Unit& unit) {
        const istr name = unit.name().empty() ? istr() : istr(unit.name());
        const Label label{name, istr(unit.type())};
        if (const ListValue* const list = unit.listValue()) {
            // A container below a chain is a chain too.
            const bool chain = (!open_.empty() && open_.back().isChain) || isChain(unit);
            sink_.begin(label, shapeOf(*list), chain);
            open_.push_back({list->begin(), list->end(), chain});
        } else {
            showScalar(label, unit);
        }
    }

    void showScalar(const Label& label, const Unit& unit) {
        if (unit.stringValue() != nullptr) {
            const istr text = unit.getStringValue();
            qor::Bytes decoded;
            if (label.type == "base64" && decode(text, decoded)) {
                sink_.leaf(label, {Kind::Bytes, decoded});
            } else if (label.type == "utf8" && decode(text, decoded)) {
                sink_.leaf(label, {Kind::Text, decoded, text});
            } else {
                sink_.leaf(label, {isJsonNumber(text) ? Kind::Number : Kind::Text, text});
            }
        } else if (unit.value() == nullptr) {
            sink_.leaf(label, {Kind::Null, {}});
        } else {
            std::ostringstream text;
            unit.value()->dump(text);
            const std::string number = text.str();
            sink_.leaf(label, {Kind::Number, istr(number)});
        }
    }

    // False if the text is no Base64: encoding the bytes again must give the same text.
    static bool decode(istr text, qor::Bytes& bytes) {
        qor::Base64::decode(text, bytes);
        qor::String again;
        qor::Base64::encode(bytes, again, false);
        return istr(again) == text;
    }

    // The same as Unit::childWasSingle, which would walk down a long chain for each unit of it.
    bool isChain(const Unit& unit) {
        if (branch_ == nullptr) {
            const Unit& end = unit.chainEnd();
            if (end.numofChildren() == 0) return true;
            branch_ = &end;
        }
        if (branch_ == &unit) branch_ = nullptr;
        return false;
    }

    Sink& sink_;
    std::vector<Open> open_;
    const Unit* branch_ = nullptr;
};

}  // namespace

std::string parsePml(istr content, Unit& unit) {
    ViewBuffer buffer(content);
    std::istream stream(&buffer);
    try {
        if (!qor::pml::ntvFromPml(unit, stream)) throw std::bad_alloc();
    } catch (const qor::pml::DecodeException& e) {
        throw BadContent(placeOf(content, buffer.position()) + ": " + reasonOf(e.msg()));
    } catch (const qor::pml::ntv::DuplicatedUnitException& e) {
        throw BadContent(placeOf(content, buffer.position()) + ": a sibling has the name already");
    }
    for (unsigned long at = buffer.position(); at < content.size(); ++at) {
        if (std::strchr(" \t\r\n", content[at]) == nullptr || content[at] == '\0') {
            return "the text from " + placeOf(content, at) + " on is ignored";
        }
    }
    return {};
}

std::string readPml(istr content, Sink& sink) {
    Unit unit;
    std::string remark = parsePml(content, unit);
    if (unit.empty() && std::string_view(content).find('(') == std::string_view::npos) {
        throw BadContent(placeOf(content, content.size()) + ": no unit in it");
    }
    UnitWalk(sink).tell(unit);
    sink.finish();
    return remark;
}

void readDirectory(const std::string& path, Sink& sink) {
    const int file = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0) throw Failure(std::strerror(errno));
    // The path itself may have a "\", which the library takes for a separator, or may not be UTF-8.
    qor::Directory directory;
    const bool isRead = directory.setup(L"/proc/self/fd/" + std::to_wstring(file));
    ::close(file);
    if (!isRead) throw Failure("the directory cannot be read");
    UnitWalk(sink).tell(directory.files());
    sink.finish();
}

}  // namespace tools
