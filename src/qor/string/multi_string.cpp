#include "qor/string/multi_string.h"

#include <utility>

#include "qor/log/log_dumper.h"

namespace qor {

namespace {

std::list<String> characters(const String& text) {
    std::list<String> parts;
    for (String::size_type i = 0; i <= text.size(); ++i) {
        parts.emplace_back(std::string(1, text[i]));
    }
    return parts;
}

std::list<String> splitText(const String& text, const String& sep) {
    std::list<String> parts;
    if (text.empty()) return parts;
    if (sep.empty()) return characters(text);
    String::size_type start = 0;
    String::size_type hit = text.find(sep);
    for (; hit != String::npos; hit = text.find(sep, start)) {
        parts.emplace_back(text.substr(start, hit - start));
        start = hit + sep.size();
    }
    parts.emplace_back(text.substr(start));
    return parts;
}

String mergeParts(const std::list<String>& parts, const String& sep) {
    String text;
    for (const String& part : parts) {
        if (&part != &parts.front()) text += sep;
        text += part;
    }
    return text;
}

}  // namespace

MultiString::MultiString(istr full, istr sep) : String(full), sep_(sep) {
    split();
}

MultiString::MultiString(const std::list<String>& parts) : list_(parts) {
    merge();
}

MultiString& MultiString::full(istr text) {
    String changed(text);
    list_ = splitText(changed, sep_);
    String::swap(changed);
    return *this;
}

MultiString& MultiString::list(const std::list<String>& parts) {
    std::list<String> changed(parts);
    String::operator=(mergeParts(changed, sep_));
    list_.swap(changed);
    return *this;
}

MultiString& MultiString::separator(istr sep) {
    sep_ = String(sep);
    return *this;
}

MultiString& MultiString::add(istr part) {
    std::list<String> added(1, String(part));
    String::operator+=(list_.empty() ? added.front() : String(sep_ + added.front()));
    list_.splice(list_.end(), added);
    return *this;
}

MultiString& MultiString::clear() noexcept {
    String::clear();
    list_.clear();
    return *this;
}

void MultiString::split() {
    list_ = splitText(*this, sep_);
}

void MultiString::merge() {
    String::operator=(mergeParts(list_, sep_));
}

dumper& MultiString::dump(dumper& d) const {
    dumper::_Entry entry(d, "qor::MultiString");
    d.member("full_", full());
    d.member("list_", list_);
    return d.member("sep_", sep_);
}

}  // namespace qor
