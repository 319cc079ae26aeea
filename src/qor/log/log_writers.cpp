#include <algorithm>

#include "base/text_stream.h"
#include "log/logger_impl.h"
#include "qor/base/exception.h"
#include "qor/log/log_factory.h"
#include "qor/log/log_tracer.h"
#include "qor/mt/thread.h"
#include "qor/string/string_buffer.h"
#include "qor/util/util_func.h"

namespace qor {

namespace {

constexpr std::size_t kWidth = 118;

// A row of the full width; longer text is cut. Later text overwrites earlier text.
class LogRow {
public:
    explicit LogRow(char fill) noexcept { std::fill_n(columns_, kWidth, fill); }
    LogRow& left(istr text) noexcept {
        std::copy_n(text.data(), size(text), columns_);
        return *this;
    }
    LogRow& right(istr text) noexcept {
        std::copy_n(text.data(), size(text), columns_ + kWidth - size(text));
        return *this;
    }
    // `count` characters c at the right end.
    LogRow& rule(char c, std::size_t count) noexcept {
        count = std::min(count, kWidth);
        std::fill_n(columns_ + kWidth - count, count, c);
        return *this;
    }
    istr text() const noexcept { return istr(columns_, kWidth); }

private:
    static std::size_t size(istr text) noexcept {
        return text.empty() ? 0 : std::min<std::size_t>(text.size(), kWidth);
    }

    char columns_[kWidth];
};

// False if the logger would drop the entry. Blocks are expensive, and most programs that raise
// exceptions have no log open.
bool hasSink(const logger& log) noexcept {
    const auto* const known = dynamic_cast<const loggerImpl*>(&log);
    return known == nullptr || known->hasSink();
}

// Runs a writer. If it raises, the entry is dropped.
template <class Write>
void dropOnFailure(const logger& log, Write write) noexcept {
    if (!hasSink(log)) return;
    try {
        write();
    } catch (...) {
    }
}

// Appends "{name}" of the calling thread if it is a SimpleThread.
template <class Text>
void appendThread(Text& text) {
    const SimpleThread* const thread = SimpleThread::current().thread_;
    if (thread == nullptr) return;
    text += istr("{");
    text += istr(thread->name());
    text += istr("}");
}

// "[tag]{name}", the begin of a line.
StringBuffer beginLine(const char* tag) {
    StringBuffer line;
    line += istr("[");
    line += istr(tag);
    line += istr("]");
    appendThread(line);
    return line;
}

std::string bracketed(istr text) {
    std::string result = "[";
    result.append(std::string_view(text));
    result += ']';
    return result;
}

// Writes the place and the thread's call stack.
void showOrigin(std::ostream& os, const char* file, unsigned line, const char* func) {
    os << Current(file, line, func).prefix("\n        AT: ");
    const tracer& calls = *tracer::instance();
    calls.separator("\n            ");
    os << "\nCALL STACK: ";
    calls.dump(os);
}

void writeFailure(logger& log, istr title, istr text) {
    writeLog(log, "", title, text, istr(), "");
}

void writeCause(logger& log, istr title, const char* file, unsigned line, const char* func,
                istr cause) {
    TextStream text;
    text << "     CAUSE: " << cause;
    showOrigin(text, file, line, func);
    writeFailure(log, title, text.text());
}

void writeCondition(logger& log, istr title, const char* condition, const char* file, unsigned line,
                    const char* func, const char* action) {
    TextStream text;
    text << " CONDITION: " << istr(condition);
    showOrigin(text, file, line, func);
    if (action != nullptr) text << "\n   WILL DO: " << action;
    writeFailure(log, title, text.text());
}

}  // namespace

void writeDataLog(logger& log, const char*, unsigned, const char*, istr text) noexcept {
    dropOnFailure(log, [&] { log.write(text); });
}

void writeDebugLog(logger& log, const char*, unsigned, const char* func, istr text,
                   const char* tag) noexcept {
    dropOnFailure(log, [&] {
        StringBuffer line = beginLine(tag);
        line += istr("[");
        line += istr(func);
        line += istr("] ");
        line += text;
        log.write(line);
    });
}

void writeInfoLog(logger& log, const char*, unsigned, const char* func, istr text,
                  const char* tag) noexcept {
    dropOnFailure(log, [&] {
        StringBuffer line = beginLine(tag);
        line += Funcname::lastOf(func);
        line += istr("() ");
        line += text;
        log.write(line);
    });
}

void writeEntryLog(logger& log, istr left, istr middle, istr right, char fill) noexcept {
    dropOnFailure(log, [&] {
        StringBuffer joined;
        joined += left;
        joined += istr(" ");
        joined += middle;
        if (joined.size() + right.size() < kWidth) {
            log.write(LogRow(fill).right(right).left(joined).text());
            return;
        }
        if (!right.empty()) {
            joined += istr(" ");
            joined += right;
        }
        log.write(joined);
    });
}

void writeErrorLog(logger& log, const char* file, unsigned line, const char* func, istr cause,
                   istr title) noexcept {
    dropOnFailure(log, [&] { writeCause(log, title, file, line, func, cause); });
}

void exceptionThrown(logger& log, const char* file, unsigned line, const char* func,
                     istr text) noexcept {
    dropOnFailure(log, [&] { writeCause(log, "THROWING", file, line, func, text); });
}

void writeExcptLog(logger& log, const char* file, unsigned line, const char* func,
                   istr text) noexcept {
    dropOnFailure(log, [&] {
        TextStream block;
        block << "     CAUSE: catch a exception.";
        showOrigin(block, file, line, func);
        block << '\n' << text;
        writeFailure(log, "EXCEPTION", block.text());
    });
}

void assertFailure(logger& log, const char* condition, const char* file, unsigned line,
                   const char* func, const char* action) noexcept {
    dropOnFailure(
        log, [&] { writeCondition(log, "ASSERT FAILURE", condition, file, line, func, action); });
}

void ensureFailure(logger& log, const char* condition, const char* file, unsigned line,
                   const char* func, const char* action) noexcept {
    dropOnFailure(
        log, [&] { writeCondition(log, "ENSURE FAILURE", condition, file, line, func, action); });
}

void writeLog(logger& log, const char* header, istr title, istr text, istr subtitle,
              const char* trailer) noexcept {
    dropOnFailure(log, [&] {
        std::string block;
        const auto row = [&block](const LogRow& columns) {
            block.append(std::string_view(columns.text()));
            block += '\n';
        };
        if (header != nullptr) {
            const ThreadInfo& info = SimpleThread::current();
            std::string brackets = info.sCurrDateTime_ + info.sThreadId_ + bracketed(log.name());
            if (!title.empty()) brackets += bracketed(title);
            appendThread(brackets);
            block += '\n';
            row(LogRow('-').left(header).right(brackets));
        }
        if (!title.empty()) {
            row(LogRow(' ').right(title));
            row(LogRow(' ').rule('=', title.size()));
        }
        block.append(std::string_view(text));
        block += '\n';
        if (!subtitle.empty()) {
            row(LogRow(' ').rule('_', subtitle.size()));
            row(LogRow(' ').right(subtitle));
        }
        if (trailer != nullptr) row(LogRow('-').right(trailer));
        log.write(block);
    });
}

}  // namespace qor
