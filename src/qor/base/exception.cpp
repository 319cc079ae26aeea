#include "qor/base/exception.h"

#include <cstdlib>
#include <iomanip>
#include <ostream>

#include "base/text_stream.h"
#include "base/upward.h"
#include "platform/fault.h"
#include "qor/base/base_type_string.h"

namespace qor {

namespace {

// The columns of a failure block.
constexpr std::size_t kColumns = 118;

const char* orEmpty(const char* text) noexcept {
    return text != nullptr ? text : "";
}

const char* fileName(const char* path) noexcept {
    const char* name = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/' || *p == '\\') name = p + 1;
    }
    return name;
}

int compareTexts(const char* left, const char* right) noexcept {
    if (left == nullptr || right == nullptr) return (left != nullptr) - (right != nullptr);
    return std::strcmp(left, right);
}

std::string frameText(const Current& frame) {
    std::string text = orEmpty(frame.func());
    if (frame.file() != nullptr) {
        text.append("(").append(fileName(frame.file())).append(":");
        text.append(std::to_string(frame.line())).append(")");
    }
    return text;
}

std::string faultText(unsigned seNumber, unsigned long ebp, unsigned long eip) {
    if (seNumber == 0) return {};
    TextStream os;
    os << "SE_Exception " << std::hex << std::setfill('0');
    os << " 0x" << std::setw(8) << seNumber;
    os << ", ebp = 0x" << std::setw(8) << ebp;
    os << ", eip = 0x" << std::setw(8) << eip;
    return os.text();
}

}  // namespace

bool nullHandleAbort = false;

bool Current::operator<(const Current& other) const noexcept {
    const int byFile = compareTexts(file_, other.file_);
    if (byFile != 0) return byFile < 0;
    if (line_ != other.line_) return line_ < other.line_;
    return compareTexts(func_, other.func_) < 0;
}

std::ostream& operator<<(std::ostream& os, const Current& frame) {
    const std::string text = frameText(frame);
    if (frame.prefix() == nullptr) return os << text;
    const std::string_view prefix = frame.prefix();
    const std::size_t room = prefix.size() < kColumns + 1 ? kColumns + 1 - prefix.size() : 0;
    os << prefix << text.substr(0, room);
    if (text.size() <= room) return os;
    const std::string rest = text.substr(room);
    os << '\n';
    if (rest.size() < kColumns) os << std::string(kColumns - rest.size(), ' ');
    return os << rest;
}

std::ostream& operator<<(std::ostream& os, const CallStack& stack) {
    CallStack::Container frames = stack.container();
    for (bool first = true; !frames.empty(); first = false) {
        if (!first) frames.top().prefix(stack.separator());
        os << frames.top();
        frames.pop();
    }
    return os;
}

Exception::Exception(const char* file, unsigned line, const char* func, const char* name,
                     const char* msg)
    : name_(name != nullptr && *name != '\0' ? name : "qor::Exception"),
      info_(file, line, func),
      stack_(upward::callStack()),
      msg_(orEmpty(msg)) {}

// What needs memory comes first.
Exception& Exception::operator=(const Exception& other) {
    Exception copy(other);
    name_.swap(copy.name_);
    info_ = copy.info_;
    stack_.container().swap(copy.stack_.container());
    stack_.separator(copy.stack_.separator());
    msg_.swap(copy.msg_);
    what_.swap(copy.what_);
    return *this;
}

Exception::~Exception() = default;

const char* Exception::what() const noexcept {
    if (!what_.empty()) return what_.c_str();
    try {
        TextStream os;
        try {
            dump(os);
        } catch (...) {
            // Keeps the part that was written before the failure.
        }
        what_ = os.text();
    } catch (...) {
        return msg_.c_str();
    }
    return what_.c_str();
}

void Exception::dump(std::ostream& os) const {
    os << "{\n EXCEPTION: " << name_ << ' ' << msg_;
    os << info_.prefix("\n        AT: ");
    os << "\nCALL STACK: " << stack_.separator("\n            ") << "\n}";
}

NullHandleException::NullHandleException(const char* file, unsigned line, const char* func)
    : Exception(file, line, func, "qor::NullHandleException", "") {
    if (nullHandleAbort) std::abort();
}

ThreadSyscallException::ThreadSyscallException(const char* file, unsigned line, const char* func,
                                               int error)
    : Exception(file, line, func, "qor::ThreadSyscallException", ""), error_(error) {}

void ThreadSyscallException::dump(std::ostream& os) const {
    Exception::dump(os);
    if (error_ == 0) return;
    const std::string text = platform::errorText(error_);
    os << ":\nthread syscall exception: " << (text.empty() ? "unknown thread error" : text);
}

SE_Exception::SE_Exception(unsigned seNumber, unsigned long ebp, unsigned long eip)
    : seNumber_(seNumber), ebp_(ebp), eip_(eip), text_(faultText(seNumber, ebp, eip)) {}

SE_Exception& SE_Exception::operator=(const SE_Exception& other) {
    text_ = other.text_;
    seNumber_ = other.seNumber_;
    ebp_ = other.ebp_;
    eip_ = other.eip_;
    return *this;
}

SE_Exception::~SE_Exception() = default;

void SE_Exception::set_se_translator() {}

QuitHandler::Callback QuitHandler::getCallback() noexcept {
    return nullptr;
}

std::string reportThrow(const char* file, unsigned line, const char* func, const char* literal,
                        istr message) {
    std::string text = literal;
    text.append(": ").append(message.empty() ? std::string_view(literal)
                                             : std::string_view(message));
    upward::exceptionThrown(file, line, func, text.c_str());
    return text;
}

}  // namespace qor
