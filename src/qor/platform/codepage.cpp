#include "platform/codepage.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#include <pthread.h>

#include <cerrno>
#include <mutex>
#include <new>
#include <string>

#include "platform/first_use.h"
#include "platform/utf8.h"

namespace qor::platform {

namespace {

constexpr long utf8Page = 65001;

// Pages whose iconv name does not contain the Windows number.
struct NamedPage {
    long page;
    const char* name;
};
constexpr NamedPage namedPages[] = {
    {10000, "MACINTOSH"}, {20127, "US-ASCII"}, {20866, "KOI8-R"},
    {20932, "EUC-JP"},    {21866, "KOI8-U"},   {51932, "EUC-JP"},
    {51936, "EUC-CN"},    {51949, "EUC-KR"},   {54936, "GB18030"},
};
constexpr long isoPages = 28590;  // plus the part number of ISO 8859

// The functions of the C library that open and close conversions and locales take a lock, which
// would stay taken in the child if another thread forked meanwhile. So a fork waits until no thread
// has this lock.
constinit std::mutex opening;

// Before the locks that threads may hold while they convert: a fork takes the locks in the reverse
// order.
[[gnu::constructor(101)]] void watchForks() noexcept {
    pthread_atfork([] { opening.lock(); }, [] { opening.unlock(); }, [] { opening.unlock(); });
}

iconv_t openConversion(const char* to, const char* from) {
    const std::lock_guard guard(opening);
    return iconv_open(to, from);
}

// The page of the environment's locale, even if the program has not called setlocale. A missing
// locale and the C locale (ASCII) count as UTF-8.
std::string systemPageName() {
    const std::lock_guard guard(opening);
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", locale_t());
    if (locale == locale_t()) return "UTF-8";
    const std::string name = nl_langinfo_l(CODESET, locale);
    freelocale(locale);
    return name == "ANSI_X3.4-1968" ? "UTF-8" : name;
}

// The name for iconv. Empty for a negative number.
std::string pageName(long page) {
    if (page == utf8Page) return "UTF-8";
    if (page == 0) {
        // Never destroyed: the destructors of other statics may still convert.
        static constinit FirstUse<const std::string*> name;
        return *name.get([] { return new std::string(systemPageName()); });
    }
    if (page < 0) return {};
    for (const NamedPage& named : namedPages) {
        if (named.page == page) return named.name;
    }
    if (page > isoPages && page <= isoPages + 16) {
        return "ISO-8859-" + std::to_string(page - isoPages);
    }
    const std::string number = std::to_string(page);
    return "CP" + std::string(number.size() < 3 ? 3 - number.size() : 0, '0') + number;
}

// One conversion by iconv into a given room. convert, insert and flush return 0 or an error number;
// E2BIG means that the room is full.
template <class Source, class Target>
class Conversion {
public:
    Conversion(const char* from, const char* to, std::basic_string_view<Source> text, Target* out,
               std::size_t room)
        : descriptor_(openConversion(to, from)),
          in_(const_cast<char*>(reinterpret_cast<const char*>(text.data()))),
          inLeft_(text.size() * sizeof(Source)),
          out_(out != nullptr ? reinterpret_cast<char*>(out) : &nowhere_),
          outLeft_(room * sizeof(Target)),
          outBegin_(out_) {
        if (!known() && errno == ENOMEM) throw std::bad_alloc();
    }
    Conversion(const Conversion&) = delete;
    Conversion& operator=(const Conversion&) = delete;
    ~Conversion() {
        if (!known()) return;
        const std::lock_guard guard(opening);
        iconv_close(descriptor_);
    }

    bool known() const { return descriptor_ != reinterpret_cast<iconv_t>(-1); }
    std::size_t left() const { return inLeft_ / sizeof(Source); }
    Source front() const { return *reinterpret_cast<const Source*>(in_); }
    long written() const { return (out_ - outBegin_) / static_cast<long>(sizeof(Target)); }

    // Converts the next n elements of the text, or those before an error.
    int convert(std::size_t n) {
        std::size_t size = n * sizeof(Source);
        inLeft_ -= size;
        const int error = run(&in_, &size);
        inLeft_ += size;
        return error;
    }
    // Converts a character that is not in the text. An empty result is an error too (EILSEQ).
    int insert(Source c) {
        char* in = reinterpret_cast<char*>(&c);
        std::size_t size = sizeof c;
        const char* const before = out_;
        const int error = run(&in, &size);
        return error == 0 && out_ == before ? EILSEQ : error;
    }
    // Writes the text that iconv holds back because it may combine with the next characters.
    int flush() { return run(nullptr, nullptr); }
    bool put(Target c) {
        if (outLeft_ < sizeof c) return false;
        *reinterpret_cast<Target*>(out_) = c;
        out_ += sizeof c;
        outLeft_ -= sizeof c;
        return true;
    }
    void skip() {
        in_ += sizeof(Source);
        inLeft_ -= sizeof(Source);
    }

private:
    int run(char** in, std::size_t* size) {
        const std::size_t failed = static_cast<std::size_t>(-1);
        return iconv(descriptor_, in, size, &out_, &outLeft_) == failed ? errno : 0;
    }

    // iconv needs an address even if the room is 0.
    char nowhere_ = '\0';
    iconv_t descriptor_;
    char* in_;
    std::size_t inLeft_;
    char* out_;
    std::size_t outLeft_;
    char* outBegin_;
};

long decode(const std::string& page, std::string_view text, wchar_t* out, std::size_t room) {
    Conversion<char, wchar_t> conversion(page.c_str(), "WCHAR_T", text, out, room);
    if (!conversion.known()) return -1;
    // The length of a malformed sequence is not known, so only one byte is skipped. iconv has
    // already consumed some of these sequences: so the byte is skipped only if it fails again, at
    // once.
    bool isReplaced = false;
    for (;;) {
        const std::size_t before = conversion.left();
        const int error = conversion.convert(before);
        if (conversion.flush() != 0 || error == 0 || error == E2BIG) break;
        const bool failsAgain = isReplaced && error == EILSEQ && conversion.left() == before;
        if (failsAgain) {
            conversion.skip();
        } else if (!conversion.put(replacementCharacter)) {
            break;
        }
        // EINVAL: the end of the text cuts a sequence, which counts as one character.
        if (error == EINVAL || conversion.left() == 0) break;
        isReplaced = !failsAgain;
    }
    return conversion.written();
}

// iconv drops tag characters without an error, so they are passed to it one by one.
std::size_t nextTag(std::wstring_view text, std::size_t place) {
    while (place < text.size() && text[place] >> 7 != 0xE0000 >> 7)
        ++place;
    return place;
}

long encode(const std::string& page, std::wstring_view text, char* out, std::size_t room) {
    Conversion<wchar_t, char> conversion("WCHAR_T", page.c_str(), text, out, room);
    if (!conversion.known()) return -1;
    std::size_t tag = 0;
    while (conversion.left() != 0) {
        const std::size_t place = text.size() - conversion.left();
        if (place >= tag) tag = nextTag(text, place);
        int error = conversion.convert(tag - place);
        if (error != 0 && error != EILSEQ) break;
        if (conversion.left() == 0) break;
        error = conversion.insert(characterOf(conversion.front()));
        if (error == EILSEQ) error = conversion.insert(L'?');
        if (error != 0) break;
        conversion.skip();
    }
    conversion.flush();
    return conversion.written();
}

}  // namespace

long codepageToWide(long page, std::string_view text, wchar_t* out, std::size_t room) {
    const std::string name = pageName(page);
    if (name.empty()) return -1;
    if (name == "UTF-8") return static_cast<long>(utf8ToWide(text, out, room).written);
    return decode(name, text, out, room);
}

long wideToCodepage(long page, std::wstring_view text, char* out, std::size_t room) {
    const std::string name = pageName(page);
    if (name.empty()) return -1;
    if (name == "UTF-8") return static_cast<long>(wideToUtf8(text, out, room).written);
    return encode(name, text, out, room);
}

}  // namespace qor::platform
