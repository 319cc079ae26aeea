#include "util/base64_forms.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "base/size.h"
#include "platform/forms.h"
#include "util/output.h"

namespace qor::util {

namespace {

constexpr std::size_t lineSize = 76;
constexpr std::string_view lineEnd = "\r\n";
constexpr std::size_t bytesOfLine = lineSize / 4 * 3;

// A container whose resize fills the added elements grows in steps of this size, so that they are
// still in the first cache when they are overwritten.
constexpr std::size_t growth = 8192;

template <class Out>
void growTo(Out& out, std::size_t n, std::size_t limit) {
    if (out.size() < n) out.resize(std::min(n + growth, limit));
}
void growTo(Bytes&, std::size_t, std::size_t) {}

void setSize(Bytes& out, std::size_t n) {
    out.size(n);
}
template <class Out>
void setSize(Out& out, std::size_t n) {
    out.resize(n);
}

constexpr unsigned long long textSize(unsigned long long bytes) noexcept {
    return bytes / 3 * 4 + (bytes % 3 != 0 ? 4 : 0);
}

// The number of bytes that the characters give at most.
constexpr std::size_t bytesSize(std::size_t characters) noexcept {
    return characters / 4 * 3 + (characters % 4 != 0 ? 3 : 0);
}

constexpr unsigned long long textSize(unsigned long long bytes, bool lineBreak) noexcept {
    const unsigned long long size = textSize(bytes);
    return lineBreak && size != 0 ? size + (size - 1) / lineSize * lineEnd.size() : size;
}

// For a line, whose size fits into std::size_t on every machine.
std::size_t lineTextSize(ByteSpan data) noexcept {
    return static_cast<std::size_t>(textSize(data.size()));
}

char* encodeLine(const Base64Form& form, ByteSpan data, char* out) noexcept {
    form.encode(data.data(), data.size(), out);
    out += lineTextSize(data);
    const std::size_t left = data.size() % 3;
    if (left == 0) return out;
    out[-1] = '=';
    if (left == 1) out[-2] = '=';
    return out;
}

// Decodes text that may come in parts.
class Decoding {
public:
    explicit Decoding(const Base64Form& form) noexcept : form_(form) {}

    // Return the number of bytes written. `out` must have room as for Base64Form::decode, including
    // the incomplete group of the last call.
    std::size_t take(std::string_view text, unsigned char* out) noexcept;
    std::size_t finish(unsigned char* out) noexcept;

private:
    std::size_t writeGroup(unsigned char* out) noexcept;

    const Base64Form& form_;
    // The values of an incomplete group.
    unsigned char group_[4];
    unsigned size_ = 0;
};

std::size_t Decoding::take(std::string_view text, unsigned char* out) noexcept {
    const char* in = text.data();
    const char* const end = in + text.size();
    unsigned char* const begin = out;
    for (;;) {
        while (in != end && base64Value(*in) == base64Foreign)
            ++in;
        if (in == end) return static_cast<std::size_t>(out - begin);
        if (size_ == 0) {
            const std::size_t n = form_.decode(in, static_cast<std::size_t>(end - in), out);
            in += n;
            out += n / 4 * 3;
            if (in == end || base64Value(*in) == base64Foreign) continue;
        }
        group_[size_++] = base64Value(*in++);
        if (size_ == 4) out += writeGroup(out);
    }
}

std::size_t Decoding::finish(unsigned char* out) noexcept {
    if (size_ == 0) return 0;
    std::fill(group_ + size_, std::end(group_), base64Padding);
    return writeGroup(out);
}

std::size_t Decoding::writeGroup(unsigned char* out) noexcept {
    const auto value = [this](unsigned i) { return group_[i] & 63U; };
    std::size_t n = 0;
    out[n++] = static_cast<unsigned char>(value(0) << 2 | value(1) >> 4);
    if (group_[2] != base64Padding)
        out[n++] = static_cast<unsigned char>(value(1) << 4 | value(2) >> 2);
    if (group_[3] != base64Padding) out[n++] = static_cast<unsigned char>(value(2) << 6 | value(3));
    size_ = 0;
    return n;
}

template <class Out>
void decodeInto(const Base64Form& form, ByteSpan source, Out& out) {
    const std::size_t most = bytesSize(source.size());
    replaceContent(out, source, most, [&](Out& target) {
        // A container that need not grow takes the whole text in one step.
        constexpr bool grows = !std::is_same_v<Out, Bytes>;
        const std::size_t step = grows ? growth : source.size();
        std::string_view text(reinterpret_cast<const char*>(source.data()), source.size());
        Decoding decoding(form);
        std::size_t size = 0;
        while (!text.empty()) {
            const std::string_view part = text.substr(0, step);
            text.remove_prefix(part.size());
            growTo(target, size + bytesSize(part.size() + 3), most);
            size += decoding.take(part, target.data() + size);
        }
        size += decoding.finish(target.data() + size);
        setSize(target, size);
    });
}

constexpr Base64Form allForms[] = {
#if defined(__x86_64__)
    {"AVX-512", base64_avx512::runsHere, base64_avx512::encode, base64_avx512::decode},
    {"AVX2", base64_avx2::runsHere, base64_avx2::encode, base64_avx2::decode},
#endif
    {"portable", platform::runsEverywhere, base64_portable::encode, base64_portable::decode},
};

}  // namespace

namespace base64_portable {

namespace {

void encodeGroup(unsigned a, unsigned b, unsigned c, char* out) noexcept {
    out[0] = base64Alphabet[a >> 2];
    out[1] = base64Alphabet[(a << 4 | b >> 4) & 63];
    out[2] = base64Alphabet[(b << 2 | c >> 6) & 63];
    out[3] = base64Alphabet[c & 63];
}

}  // namespace

void encode(const unsigned char* in, std::size_t n, char* out) noexcept {
    for (; n >= 3; n -= 3, in += 3, out += 4)
        encodeGroup(in[0], in[1], in[2], out);
    if (n != 0) encodeGroup(in[0], n == 2 ? in[1] : 0, 0, out);
}

std::size_t decode(const char* in, std::size_t n, unsigned char* out) noexcept {
    std::size_t i = 0;
    for (; n - i >= 4; i += 4, out += 3) {
        const unsigned a = base64Value(in[i]), b = base64Value(in[i + 1]),
                       c = base64Value(in[i + 2]), d = base64Value(in[i + 3]);
        if ((a | b | c | d) > 63) break;
        out[0] = static_cast<unsigned char>(a << 2 | b >> 4);
        out[1] = static_cast<unsigned char>(b << 4 | c >> 2);
        out[2] = static_cast<unsigned char>(c << 6 | d);
    }
    return i;
}

}  // namespace base64_portable

std::span<const Base64Form> base64Forms() noexcept {
    return platform::formsOfThisMachine<allForms>();
}

void base64Encode(const Base64Form& form, std::span<const unsigned char> data, std::string& out,
                  bool lineBreak) {
    // For larger data, the computation of the size could overflow.
    if (data.size() > npos32) throw std::bad_alloc();
    const unsigned long long wanted = textSize(data.size(), lineBreak);
    if (wanted >= npos32) throw std::bad_alloc();
    const std::size_t size = checkedSize(wanted);
    replaceContent(out, data, size, [&](std::string& text) {
        const std::size_t step = lineBreak ? bytesOfLine : growth / 4 * 3;
        std::size_t written = 0;
        for (ByteSpan rest = data; !rest.empty();) {
            const ByteSpan line = rest.first(std::min(step, rest.size()));
            rest = rest.subspan(line.size());
            growTo(text, std::min(size, written + lineTextSize(line) + lineEnd.size()), size);
            char* at = encodeLine(form, line, text.data() + written);
            if (lineBreak && !rest.empty()) at = std::copy(lineEnd.begin(), lineEnd.end(), at);
            written = static_cast<std::size_t>(at - text.data());
        }
        text.resize(size);
    });
}

void base64Decode(const Base64Form& form, istr text, Bytes& out) {
    decodeInto(form, bytesOf(text), out);
}

void base64Decode(const Base64Form& form, istr text, std::vector<unsigned char>& out) {
    decodeInto(form, bytesOf(text), out);
}

}  // namespace qor::util
