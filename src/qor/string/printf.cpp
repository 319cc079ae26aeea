#include "qor/string/printf.h"

#include "qor/log/log_dumper.h"

namespace qor {

Printf::Printf(const char* format, char flag, char left, char right, char escape)
    : String(format), flag_(flag), left_(left), right_(right), escape_(escape) {
    parse();
}

void Printf::parse() {
    size_type start = 0;
    while (start < size()) {
        const size_type tag = std::min(find(flag_, start), size());
        if (tag > start) tags_.emplace_back(start, tag);
        if (tag == size()) return;
        // A tag without `right_` extends to the end of the format.
        const size_type last = find(right_, tag + 1);
        start = last == std::string::npos ? size() : last + 1;
        tags_.emplace_back(tag, start);
    }
}

istr Printf::piece(ulong32 i) const noexcept {
    const auto [first, last] = tags_[i];
    return istr(*this).substr(first, last - first);
}

const Printf& Printf::replaceNext(istr value) const {
    ulong32 next = curr_;
    String added;
    for (; next < tags_.size() && *piece(next) != flag_; ++next) {
        added += piece(next);
    }
    added += value;
    tempbuf_ += added;
    curr_ = next + 1;
    return *this;
}

const String& Printf::str() const {
    String text(tempbuf_);
    for (ulong32 i = curr_; i < tags_.size(); ++i) {
        text += piece(i);
    }
    result_.swap(text);
    return result_;
}

const Printf& Printf::reset() const noexcept {
    curr_ = 0;
    tempbuf_.clear();
    return *this;
}

dumper& Printf::dump(dumper& d) const {
    dumper::_Entry entry(d, "qor::Printf");
    d.member("format_", istr(*this));
    d.indent().name("tags_");
    {
        dumper::_Entry pieces(d, "qor::vector");
        for (ulong32 i = 0; i < tags_.size(); ++i) {
            d.indent().raw("[").write(i).name("]") << piece(i);
            d.endline();
        }
    }
    d.endline();
    d.member("curr_", curr_);
    d.member("tempbuf_", tempbuf_);
    d.member("result_", result_);
    d.member("flag_", flag_);
    d.member("left_", left_);
    d.member("right_", right_);
    return d.member("escape_", escape_);
}

}  // namespace qor
