#include "qor/pml/pml_writer.h"

#include <signal.h>

#include <ostream>
#include <vector>

#include "base/text_stream.h"
#include "nuv_guard.h"
#include "pml/escape.h"

namespace qor::pml {

namespace {

using ntv::ListValue;
using ntv::StringValue;
using ntv::Unit;

// Collects text; if there is a stream, passes it on in large pieces.
class TextSink {
public:
    TextSink(std::string& text, std::ostream* stream) noexcept : text_(text), stream_(stream) {}

    void put(char c) { text_.push_back(c); }
    void put(std::string_view text) { text_.append(text); }
    void put(std::size_t count, char c) { text_.append(count, c); }
    void handOn() {
        if (stream_ != nullptr && text_.size() >= kPiece) flush();
    }
    void flush() {
        if (stream_ == nullptr) return;
        stream_->write(text_.data(), static_cast<std::streamsize>(text_.size()));
        text_.clear();
    }

private:
    static constexpr std::size_t kPiece = 16384;

    std::string& text_;
    std::ostream* stream_;
};

// Writes a tree without recursion.
class Writer {
public:
    Writer(TextSink& sink, ShowMode mode, ShowPattern pattern) noexcept
        : sink_(sink), mode_(mode.get()), pattern_(pattern) {}

    void write(const Unit& unit) {
        begin(unit, 0, mode_);
        while (!open_.empty()) {
            sink_.handOn();
            Open& list = open_.back();
            if (list.lines && list.begun) sink_.put('\n');
            if (list.next == list.end) {
                end(list);
                open_.pop_back();
                continue;
            }
            list.begun = true;
            beginChild(**list.next++, list);
        }
        sink_.flush();
    }

private:
    // A unit whose children are being written.
    struct Open {
        ListValue::const_iterator next;
        ListValue::const_iterator end;
        int mode;
        std::size_t level;
        std::size_t childLevel;
        bool lines;        // a line for each child
        bool unnamedList;  // written on separate lines in the MIXED layout
        bool begun = false;
    };

    void begin(const Unit& unit, std::size_t level, int mode) {
        if (mode != ShowMode::COMPACT) indent(level);
        if (mode == ShowMode::FORMATTED && pattern_.show_path()) showPath(unit);
        if (mode != ShowMode::COMPACT && isChain(unit)) mode = ShowMode::COMPACT;
        showHead(unit);
        sink_.put('(');
        const ListValue* const list = unit.listValue();
        if (list == nullptr) {
            if (pattern_.show_value() && unit.value() != nullptr) showValue(unit);
            sink_.put(')');
            return;
        }
        const bool unnamedList = mode == ShowMode::MIXED && unit.childrenWereUnnamedList();
        const bool lines = mode == ShowMode::SIMPLE || mode == ShowMode::FORMATTED;
        const std::size_t childLevel = lines || unnamedList ? level + 1 : level;
        if (lines) sink_.put('\n');
        open_.push_back({list->begin(), list->end(), mode, level, childLevel, lines, unnamedList});
    }

    void beginChild(const Unit& child, const Open& list) {
        if (list.mode == ShowMode::MIXED && child.name().empty() && !child.type().empty()) {
            sink_.put('\n');
            indent(list.childLevel);
        }
        // Deliberate (compatibility): begin() adds the child's indent a second time, also in the
        // MIXED layout.
        begin(child, list.childLevel, list.mode);
    }

    void end(const Open& list) {
        if (list.unnamedList) sink_.put('\n');
        if (list.unnamedList || list.lines) indent(list.level);
        sink_.put(')');
    }

    // As Unit::childWasSingle. It is called for each unit of a chain, so the end of the chain is
    // kept from the first call.
    bool isChain(const Unit& unit) noexcept {
        if (branch_ == nullptr) {
            const Unit& end = unit.chainEnd();
            if (end.numofChildren() == 0) return true;
            branch_ = &end;
        }
        if (branch_ == &unit) branch_ = nullptr;
        return false;
    }

    void indent(std::size_t level) { sink_.put(4 * level, ' '); }

    void showPath(const Unit& unit) {
        sink_.put("(* ");
        sink_.put(unit.path());
        sink_.put(" *) ");
    }

    // A name is written without quotes around it; quotes and carets in it get a caret before them.
    void showHead(const Unit& unit) {
        if (pattern_.show_name()) {
            if (needsQuotes(unit.name())) {
                String name = unit.name();
                sink_.put(unescapeString(escapeString(name)));
            } else {
                sink_.put(unit.name());
            }
        }
        if (pattern_.show_type() && !unit.type().empty()) {
            sink_.put(':');
            sink_.put(unit.type());
        }
    }

    void showValue(const Unit& unit) {
        if (const StringValue* const text = unit.stringValue()) {
            if (needsQuotes(text->data())) {
                String escaped = text->data();
                sink_.put(escapeString(escaped));
            } else {
                sink_.put(text->data());
            }
            return;
        }
        TextStream text;
        unit.value()->dump(text);
        sink_.put(text.text());
    }

    TextSink& sink_;
    int mode_;
    ShowPattern pattern_;
    std::vector<Open> open_;
    const Unit* branch_ = nullptr;
};

bool isKnown(ShowMode mode) noexcept {
    return mode.get() >= ShowMode::COMPACT && mode.get() <= ShowMode::FORMATTED;
}

}  // namespace

bool ntvToPml(const Unit& unit, std::ostream& target, ShowMode mode, ShowPattern pattern) {
    if (!isKnown(mode)) return false;
    std::string text;
    TextSink sink(text, &target);
    Writer(sink, mode, pattern).write(unit);
    return !target.fail();
}

bool ntvToPml(const Unit& unit, String& target, ShowMode mode, ShowPattern pattern) {
    if (!isKnown(mode)) return false;
    const std::size_t before = target.size();
    try {
        TextSink sink(target, nullptr);
        Writer(sink, mode, pattern).write(unit);
    } catch (...) {
        target.resize(before);
        throw;
    }
    return true;
}

bool ntvToPml(const Unit& unit, const File& target, ShowMode mode, ShowPattern pattern) {
    // The text is complete before the file is opened, and so emptied.
    String text;
    if (!ntvToPml(unit, text, mode, pattern)) return false;
    // Above the limit for the size of files, writing fails: also in the stream's destructor.
    const nuv_signal_held held(SIGXFSZ);
    const nuv_uncancelled whole;
    char buffer[512];
    std::ofstream stream;
    stream.rdbuf()->pubsetbuf(buffer, sizeof buffer);
    if (!target.open(stream)) return false;
    return stream.write(text.data(), static_cast<std::streamsize>(text.size())) && stream.flush();
}

std::ostream& operator<<(std::ostream& os, ShowMode mode) {
    constexpr const char* kNames[] = {"COMPACT", "SIMPLE", "MIXED", "FORMATTED"};
    return os << (isKnown(mode) ? kNames[mode.get() - 1] : "<UnknownShowMode>");
}

std::ostream& operator<<(std::ostream& os, ShowPattern pattern) {
    const char* separator = "";
    const auto show = [&](bool on, const char* name) {
        if (!on) return;
        os << separator << name;
        separator = " ";
    };
    show(pattern.show_path(), "PATH");
    show(pattern.show_name(), "NAME");
    show(pattern.show_type(), "TYPE");
    show(pattern.show_value(), "VALUE");
    return *separator == '\0' ? os << "NONE" : os;
}

}  // namespace qor::pml
