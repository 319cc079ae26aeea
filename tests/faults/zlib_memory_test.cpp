#include <malloc.h>

#include "support/test.h"

// zlib takes its memory by malloc. With a sanitizer it is the sanitizer's, which is not replaced.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define QOR_OWN_MALLOC
#endif
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#undef QOR_OWN_MALLOC
#endif
#endif

#if !defined(QOR_OWN_MALLOC)

TEST(Memory, EndsInsideZlib) {
    GTEST_SKIP() << "this program has no malloc of its own";
}

#else

namespace {

// Lets the calling thread's n-th malloc from now on fail, and every later one, while it lives, and
// notes the blocks that the thread has then. Guards do not nest.
class FailMalloc : qor::noncopyable {
public:
    explicit FailMalloc(unsigned n) noexcept : left_(n) { current = this; }
    ~FailMalloc() { current = nullptr; }

    bool happened() const noexcept { return left_ == 0; }
    // The number of its blocks.
    std::ptrdiff_t blocks() const noexcept {
        return std::count_if(std::begin(blocks_), std::end(blocks_), [](void* p) { return p; });
    }

    static void* allocate(std::size_t size) noexcept;
    static void* reallocate(void* block, std::size_t size) noexcept;
    static void release(void* block) noexcept {
        if (current != nullptr && block != nullptr)
            std::replace(std::begin(current->blocks_), std::end(current->blocks_), block,
                         static_cast<void*>(nullptr));
    }

private:
    static constinit thread_local FailMalloc* current;

    unsigned left_;
    void* blocks_[64] = {};
};

constinit thread_local FailMalloc* FailMalloc::current = nullptr;

}  // namespace

// They replace the system's functions, for zlib too.
extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_realloc(void* block, std::size_t size);
extern "C" void __libc_free(void* block);

void* FailMalloc::allocate(std::size_t size) noexcept {
    if (current == nullptr) return __libc_malloc(size);
    if (current->left_ != 0) --current->left_;
    void* const block = current->left_ != 0 ? __libc_malloc(size) : nullptr;
    if (block == nullptr) return errno = ENOMEM, nullptr;
    void** const free =
        std::find(std::begin(current->blocks_), std::end(current->blocks_), nullptr);
    if (free == std::end(current->blocks_)) std::abort();
    return *free = block;
}

void* FailMalloc::reallocate(void* block, std::size_t size) noexcept {
    if (current == nullptr) return __libc_realloc(block, size);
    void* const grown = allocate(size);
    if (grown == nullptr || block == nullptr) return grown;
    std::memcpy(grown, block, std::min(size, malloc_usable_size(block)));
    std::free(block);
    return grown;
}

extern "C" void* malloc(std::size_t size) {
    return FailMalloc::allocate(size);
}
extern "C" void* realloc(void* block, std::size_t size) {
    return FailMalloc::reallocate(block, size);
}
extern "C" void free(void* block) {
    FailMalloc::release(block);
    __libc_free(block);
}

namespace qor {
namespace {

enum Result { Nothing, Raised, Whole, Wrong };

Result resultOf(istr content, istr expected) {
    return content.empty() ? Nothing : content == expected ? Whole : Wrong;
}

template <bool (*kConvert)(const istr&, Bytes&)>
Result zlibResult(istr data, istr expected) try {
    Bytes out;
    const bool done = kConvert(data, out);
    const Result result = resultOf(out, expected);
    return done == (result == Whole) ? result : Wrong;
} catch (const std::bad_alloc&) {
    return Raised;
}

template <class Char, bool (*kConvert)(const char*, Char*&, int&)>
Result gzlibResult(istr data, istr expected) {
    Char* out = nullptr;
    int size = static_cast<int>(data.size());
    kConvert(data.data(), out, size);
    const Result result = resultOf(istr(reinterpret_cast<const char*>(out), size), expected);
    delete[] out;
    return result;
}

bool uncompress(const istr& data, Bytes& out) {
    return zlib::uncompress(data, out, 3000);
}

// Memory ends at the n-th malloc of a conversion, for every n: there is no result and no block
// leaks, and the next conversion works.
TEST(Memory, EndsInsideZlib) {
    std::string text(3000, '\0');  // as large when it is packed, so that results grow
    std::generate(text.begin(), text.end(), std::mt19937(1));
    Bytes packed;
    ASSERT_TRUE(zlib::compress(text, packed));
    unsigned char* zipped = nullptr;
    int zippedSize = static_cast<int>(text.size());
    gzlib::comp(text.data(), zipped, zippedSize);
    const istr gzip(reinterpret_cast<const char*>(zipped), zippedSize);
    const struct {
        const char* what;
        Result (*convert)(istr data, istr expected);
        istr data, expected;
        unsigned least;  // failures: of the result's memory, and of what zlib needs
    } cases[] = {
        {"compress", zlibResult<zlib::compress>, text, packed, 6},
        {"uncompress", zlibResult<uncompress>, packed, text, 2},
        {"gzip", gzlibResult<unsigned char, gzlib::comp>, text, gzip, 7},
        {"gunzip", gzlibResult<char, gzlib::uncomp>, gzip, text, 2},
    };
    for (const auto& c : cases) {
        unsigned failures = 0;
        for (bool failed = true; failed; failures += failed) {
            ASSERT_LT(failures, 50u) << c.what;
            Result result = Wrong;
            std::ptrdiff_t lost = 0;
            {
                const FailMalloc failing(failures + 1);
                result = c.convert(c.data, c.expected);
                failed = failing.happened();
                lost = failing.blocks();
            }
            EXPECT_EQ(lost, 0) << c.what << ' ' << failures;
            if (failed) {
                EXPECT_TRUE(result == Nothing || result == Raised) << c.what << ' ' << failures;
            } else {
                EXPECT_EQ(result, Whole) << c.what;
            }
        }
        EXPECT_GE(failures, c.least) << c.what;
    }
    delete[] zipped;
}

}  // namespace
}  // namespace qor

#endif
