#ifndef QOR_PML_PML_SHOW_H
#define QOR_PML_PML_SHOW_H

#include <iosfwd>

#include "qor/api.h"

// The layouts of a tree's text. docs/formats.md shows a tree in every layout.

namespace qor::pml {

// One of the four layouts.
class QOR_API ShowMode {
public:
    static constexpr int COMPACT = 1;    // no whitespace
    static constexpr int SIMPLE = 2;     // a line for each unit
    static constexpr int MIXED = 3;      // lines for unnamed lists only
    static constexpr int FORMATTED = 4;  // as SIMPLE, and with paths if the pattern has PATH

    constexpr ShowMode(int mode) noexcept : mode_(mode) {}
    constexpr int get() const noexcept { return mode_; }
    constexpr void set(int mode) noexcept { mode_ = mode; }

private:
    int mode_;
};

// The parts of a unit that are written. Parentheses and children are always written.
class QOR_API ShowPattern {
public:
    static constexpr int NONE = 0;
    static constexpr int VALUE = 1;  // the text of scalars
    static constexpr int TYPE = 2;
    static constexpr int NAME = 4;
    static constexpr int PATH = 8;  // a comment, in the FORMATTED layout
    static constexpr int ALL = NAME | TYPE | VALUE;

    constexpr ShowPattern(int flags) noexcept : flags_(flags) {}
    constexpr int data() const noexcept { return flags_; }
    constexpr void reset(int flags) noexcept { flags_ = flags; }

    constexpr bool show_name() const noexcept { return has(NAME); }
    constexpr bool show_path() const noexcept { return has(PATH); }
    constexpr bool show_type() const noexcept { return has(TYPE); }
    constexpr bool show_value() const noexcept { return has(VALUE); }
    constexpr ShowPattern& show_name(bool on) noexcept { return set(NAME, on); }
    constexpr ShowPattern& show_path(bool on) noexcept { return set(PATH, on); }
    constexpr ShowPattern& show_type(bool on) noexcept { return set(TYPE, on); }
    constexpr ShowPattern& show_value(bool on) noexcept { return set(VALUE, on); }

private:
    constexpr bool has(int flag) const noexcept { return (flags_ & flag) != 0; }
    constexpr ShowPattern& set(int flag, bool on) noexcept {
        flags_ = on ? flags_ | flag : flags_ & ~flag;
        return *this;
    }

    int flags_;
};

// Writes "COMPACT", "SIMPLE", "MIXED" or "FORMATTED"; "<UnknownShowMode>" for any other number.
QOR_API std::ostream& operator<<(std::ostream& os, ShowMode mode);
// Writes the set ones of "PATH NAME TYPE VALUE", or "NONE".
QOR_API std::ostream& operator<<(std::ostream& os, ShowPattern pattern);

}  // namespace qor::pml

#endif  // QOR_PML_PML_SHOW_H
