#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "qor/base/base_type_convert.h"
#include "qor/base/base_type_time.h"

#ifdef QOR_BENCH_ICONV
#include <iconv.h>
#endif

// Each benchmark compares the library with its usual alternatives. The part of a name after the
// underscore is qor or the alternative.

namespace {

using Texts = std::vector<std::string>;
using WideTexts = std::vector<std::wstring>;

// Conversion from UTF-8 to wide text and back, in pieces whose size in bytes is the argument of the
// benchmark. Pieces with a total of 1 MiB are converted in turn, since the branch predictor would
// learn a single short text, which does not happen with real messages.

constexpr std::size_t corpusSize = 1 << 20;

Texts cut(const std::string& text, std::size_t size) {
    Texts pieces;
    for (std::size_t start = 0; start < text.size();) {
        std::size_t end = std::min(start + size, text.size());
        while (end < text.size() && (text[end] & 0xC0) == 0x80)
            --end;
        pieces.push_back(text.substr(start, end - start));
        start = end;
    }
    return pieces;
}

Texts ascii(std::size_t size) {
    std::string text;
    while (text.size() < corpusSize)
        text += "The quick brown fox jumps over the lazy dog. ";
    return cut(text, size);
}

// Words of nine scripts, and emoji, with 1 to 4 bytes for each character.
Texts mixed(std::size_t size) {
    constexpr std::array words = {
        "quick",  "brown",    "jumps",  "over",     "lazy",  "naïve",    "café",
        "Größe",  "Съешь",    "ещё",    "мягких",   "булок", "Ζαφείρι",  "δέξου",
        "مرحبا",  "שלום",     "敏捷的", "棕色狐狸", "懒狗",  "にほへと", "ちりぬる",
        "다람쥐", "쳇바퀴에", "नमस्ते",   "😀",        "🎉👍"};
    std::mt19937 random(1);
    std::string text;
    while (text.size() < corpusSize) {
        text += words[random() % words.size()];
        text += random() % 8 != 0 ? " " : ". ";
    }
    return cut(text, size);
}

WideTexts wide(const Texts& texts) {
    WideTexts result;
    for (const std::string& text : texts)
        result.push_back(qor::toWstring(qor::utf8(text)));
    return result;
}

// Calls `convert` for each text in turn; it returns the number of characters.
template <class Text, class Convert>
void convertEach(benchmark::State& state, const std::vector<Text>& texts, Convert convert) {
    std::size_t i = 0;
    std::size_t characters = 0;
    for (auto _ : state) {
        characters += convert(texts[i]);
        if (++i == texts.size()) i = 0;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(characters));
}

void Utf8ToWide_qor(benchmark::State& state, Texts (*texts)(std::size_t)) {
    std::wstring out;
    convertEach(state, texts(static_cast<std::size_t>(state.range(0))), [&](const auto& text) {
        qor::utf8ToWstring(text, out);
        benchmark::DoNotOptimize(out.data());
        return out.size();
    });
}

void WideToUtf8_qor(benchmark::State& state, Texts (*texts)(std::size_t)) {
    qor::String out;
    convertEach(state, wide(texts(static_cast<std::size_t>(state.range(0)))),
                [&](const auto& text) {
                    qor::wstringToAnsi(text, out, 65001);
                    benchmark::DoNotOptimize(out.data());
                    return text.size();
                });
}

#ifdef QOR_BENCH_ICONV
// Converts into a buffer that is used again, and returns the number of bytes written.
class Iconv {
public:
    Iconv(const char* to, const char* from)
        : descriptor_(iconv_open(to, from)), room_(corpusSize * sizeof(wchar_t)) {}
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;
    ~Iconv() { iconv_close(descriptor_); }

    std::size_t operator()(const void* text, std::size_t size) {
        char* in = static_cast<char*>(const_cast<void*>(text));
        char* out = room_.data();
        std::size_t left = room_.size();
        iconv(descriptor_, &in, &size, &out, &left);
        benchmark::DoNotOptimize(room_.data());
        return room_.size() - left;
    }

private:
    iconv_t descriptor_;
    std::vector<char> room_;
};

void Utf8ToWide_iconv(benchmark::State& state, Texts (*texts)(std::size_t)) {
    Iconv convert("WCHAR_T", "UTF-8");
    convertEach(state, texts(static_cast<std::size_t>(state.range(0))), [&](const auto& text) {
        return convert(text.data(), text.size()) / sizeof(wchar_t);
    });
}

void WideToUtf8_iconv(benchmark::State& state, Texts (*texts)(std::size_t)) {
    Iconv convert("UTF-8", "WCHAR_T");
    convertEach(state, wide(texts(static_cast<std::size_t>(state.range(0)))),
                [&](const auto& text) {
                    convert(text.data(), text.size() * sizeof(wchar_t));
                    return text.size();
                });
}
#endif

// Copies as many bytes as the conversion writes.
template <class Text>
void copyEach(benchmark::State& state, const std::vector<Text>& texts) {
    std::vector<typename Text::value_type> out(corpusSize);
    convertEach(state, texts, [&](const Text& text) {
        std::memcpy(out.data(), text.data(), text.size() * sizeof out[0]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
        return text.size();
    });
}

void Utf8ToWide_memcpy(benchmark::State& state, Texts (*texts)(std::size_t)) {
    copyEach(state, wide(texts(static_cast<std::size_t>(state.range(0)))));
}

void WideToUtf8_memcpy(benchmark::State& state, Texts (*texts)(std::size_t)) {
    copyEach(state, texts(static_cast<std::size_t>(state.range(0))));
}

#define QOR_BENCH_TEXTS(benchmark)                                                    \
    BENCHMARK_CAPTURE(benchmark, mixed, mixed)->Arg(100)->Arg(1 << 10)->Arg(1 << 16); \
    BENCHMARK_CAPTURE(benchmark, ascii, ascii)->Arg(100)->Arg(1 << 10)->Arg(1 << 16)

QOR_BENCH_TEXTS(Utf8ToWide_qor);
QOR_BENCH_TEXTS(WideToUtf8_qor);
#ifdef QOR_BENCH_ICONV
QOR_BENCH_TEXTS(Utf8ToWide_iconv);
QOR_BENCH_TEXTS(WideToUtf8_iconv);
#endif
QOR_BENCH_TEXTS(Utf8ToWide_memcpy);
QOR_BENCH_TEXTS(WideToUtf8_memcpy);

// Copying a string, with 8 characters in the object itself, and with 100 characters on the heap.

template <class Text>
void copyText(benchmark::State& state) {
    const Text text(std::string(static_cast<std::size_t>(state.range(0)), 'x'));
    for (auto _ : state) {
        Text copied(text);
        benchmark::DoNotOptimize(copied.data());
    }
}

void StringCopy_qor(benchmark::State& state) {
    copyText<qor::String>(state);
}
void StringCopy_std(benchmark::State& state) {
    copyText<std::string>(state);
}

BENCHMARK(StringCopy_qor)->Arg(8)->Arg(100);
BENCHMARK(StringCopy_std)->Arg(8)->Arg(100);

// Comparing views that differ only in their last byte.

template <class View>
void compareViews(benchmark::State& state) {
    std::string left(static_cast<std::size_t>(state.range(0)), 'x'), right = left;
    right.back() = 'y';
    View one(left), other(right);
    for (auto _ : state) {
        benchmark::DoNotOptimize(one);
        benchmark::DoNotOptimize(other);
        benchmark::DoNotOptimize(one.compare(other));
    }
}

void ViewCompare_qor(benchmark::State& state) {
    compareViews<qor::istr>(state);
}
void ViewCompare_std(benchmark::State& state) {
    compareViews<std::string_view>(state);
}

BENCHMARK(ViewCompare_qor)->Arg(8)->Arg(100);
BENCHMARK(ViewCompare_std)->Arg(8)->Arg(100);

// Taking a part of a view.

template <class View>
void takeParts(benchmark::State& state) {
    const std::string text(100, 'x');
    View view(text);
    unsigned long from = 10;
    for (auto _ : state) {
        benchmark::DoNotOptimize(view);
        benchmark::DoNotOptimize(from);
        benchmark::DoNotOptimize(view.substr(from, 20));
    }
}

void ViewSubstr_qor(benchmark::State& state) {
    takeParts<qor::istr>(state);
}
void ViewSubstr_std(benchmark::State& state) {
    takeParts<std::string_view>(state);
}

BENCHMARK(ViewSubstr_qor);
BENCHMARK(ViewSubstr_std);

// Moving a view over a line, byte by byte, up to the line end.

const std::string line = std::string(100, 'x') + "\n";

void ViewWalk_qor(benchmark::State& state) {
    for (auto _ : state) {
        qor::istr view(line);
        benchmark::DoNotOptimize(view);
        while (!view.empty() && *view != '\n')
            ++view;
        benchmark::DoNotOptimize(view);
    }
}

void ViewWalk_std(benchmark::State& state) {
    for (auto _ : state) {
        std::string_view view(line);
        benchmark::DoNotOptimize(view);
        while (!view.empty() && view.front() != '\n')
            view.remove_prefix(1);
        benchmark::DoNotOptimize(view);
    }
}

BENCHMARK(ViewWalk_qor);
BENCHMARK(ViewWalk_std);

// Converting a point in time to calendar text. The peer only formats the fields of a time.

void CalendarText_qor(benchmark::State& state) {
    qor::Time time = qor::Time::now();
    char text[64];
    for (auto _ : state) {
        time += qor::Time::milliSeconds(1);
        time.toDateTime(qor::ostr(text, sizeof text));
        benchmark::DoNotOptimize(text);
    }
}

void CalendarText_snprintf(benchmark::State& state) {
    qor::Time::Detail t = qor::Time::now().toDetail();
    char text[64];
    for (auto _ : state) {
        t.milliSecond = (t.milliSecond + 1) % 1000;
        benchmark::DoNotOptimize(t);
        std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", t.year, t.month,
                      t.day, t.hour, t.minute, t.second, t.milliSecond);
        benchmark::DoNotOptimize(text);
    }
}

BENCHMARK(CalendarText_qor);
BENCHMARK(CalendarText_snprintf);
// Shows that threads do not wait for each other to use the time zone.
BENCHMARK(CalendarText_qor)->Threads(4);

}  // namespace
