#ifndef QOR_TOOLS_INSPECT_WRITER_BASE_H
#define QOR_TOOLS_INSPECT_WRITER_BASE_H

#include <algorithm>
#include <string_view>
#include <vector>

#include "inspect/writers.h"

namespace tools {

// The base class of the writers of text.
class TextWriter : public Sink {
public:
    TextWriter(Output& out, bool compact) : out_(out), compact_(compact) {}

protected:
    static constexpr std::size_t kTab = 4;

    void line(std::size_t level) {
        if (compact_) return;
        out_.raw("\n").blanks(kTab * std::min(level, kMostIndent));
    }
    Output& mark(std::string_view text) { return out_.put(Role::Mark, text); }
    Output& put(Role role, istr text) { return out_.put(role, std::string_view(text)); }
    static Role roleOf(Kind kind) {
        return kind == Kind::Text ? Role::Text : kind == Kind::Null ? Role::Note : Role::Number;
    }

    Output& out_;
    const bool compact_;
};

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_WRITER_BASE_H
