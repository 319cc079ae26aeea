#include "nuv_mask_keyword.h"

#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "nuv_os_adapter.h"

namespace {

// The size of the longest address with its terminator.
constexpr std::size_t kAddressRoom = 46;
constexpr std::size_t kShortestAddress = 7;
constexpr std::size_t kTextGrowth = 100;

// The parts of a text between separators. Parts may be empty.
class Parts {
public:
    static constexpr std::size_t most = 12;
    static constexpr std::size_t room = 5;

    // Returns false if there are too many parts or a part is too long.
    bool split(const char* text, char separator, std::size_t longest) {
        for (;;) {
            const char* const end = std::strchr(text, separator);
            const std::size_t size =
                end != nullptr ? static_cast<std::size_t>(end - text) : std::strlen(text);
            if (count_ == most || size > longest) return false;
            nuv_strncpy_s(text_[count_++], room - 1, text, size);
            if (end == nullptr) return true;
            text = end + 1;
        }
    }
    std::size_t count() const { return count_; }
    const char* operator[](std::size_t i) const { return text_[i]; }

private:
    std::size_t count_ = 0;
    char text_[most][room] = {};
};

bool maskIpv4(const char* input, char* output, std::size_t room) {
    Parts parts;
    if (!parts.split(input, '.', 3) || parts.count() != 4) return false;
    return nuv_sprintf_s(output, room, "%s.%s.%s.%s", parts[0], "**", "**", parts[3]) > 0;
}

// Deliberate (compatibility): ten parts are accepted too. Their masked form can be too long for the
// room, and then this fails.
bool maskIpv6(const char* input, char* output, std::size_t room) {
    Parts parts;
    if (!parts.split(input, ':', 4) || (parts.count() != 8 && parts.count() != 10)) return false;
    for (std::size_t i = 0; i < parts.count(); ++i) {
        const bool isHidden = i >= 2 && i <= 5;
        if (i != 0 && nuv_strcat_s(output, room, ":") != 0) return false;
        if (nuv_strcat_s(output, room, isHidden ? "****" : parts[i]) != 0) return false;
    }
    return true;
}

bool mask(const char* input, char* output, std::size_t room) {
    const std::size_t size = strnlen(input, kAddressRoom);
    if (size < kShortestAddress || size >= kAddressRoom) return false;
    if (std::strchr(input, ':') != nullptr) return size >= 15 && maskIpv6(input, output, room);
    return size <= 15 && maskIpv4(input, output, room);
}

constinit std::mutex lock;
char keyword[kAddressRoom];  // guarded by `lock`

// Before a fork the lock is taken, so that the child gets a complete keyword and a free lock.
void beforeFork() {
    lock.lock();
}

void afterFork() {
    lock.unlock();
}

[[maybe_unused]] const int forkIsHandled = pthread_atfork(beforeFork, afterFork, afterFork);

// Copies text, and cuts it at the end of the room.
class Copy {
public:
    Copy(char* to, std::size_t room) : to_(to), room_(room) {}

    void append(const char* text, std::size_t size) {
        const std::size_t fitting = std::min(size, room_ - size_ - 1);
        std::memcpy(to_ + size_, text, fitting);
        size_ += fitting;
        to_[size_] = '\0';
    }
    bool full() const { return room_ - size_ < 2; }
    std::size_t size() const { return size_; }

private:
    char* to_;
    std::size_t room_;
    std::size_t size_ = 0;
};

}  // namespace

int nuv_mask_keyword(const char* input, char* output, std::size_t output_size) {
    if (output == nullptr || output_size == 0) return 1;
    if (input == nullptr || output_size < kAddressRoom) {
        output[0] = '\0';
        return 1;
    }
    nuv_memset_s(output, output_size, 0, output_size);
    if (mask(input, output, output_size)) return 0;
    output[0] = '\0';
    return 1;
}

void nuv_set_keyword(const char* address) {
    const std::lock_guard guard(lock);
    nuv_memset_s(keyword, sizeof keyword, 0, sizeof keyword);
    // Too long text is not stored, since a part of it would be another address.
    if (address != nullptr) nuv_strcat_s(keyword, sizeof keyword, address);
}

int nuv_mask_text(const char* text, char** result, std::size_t* length) {
    if (text == nullptr || result == nullptr || length == nullptr || *text == '\0') return 1;
    char hidden[kAddressRoom];
    {
        const std::lock_guard guard(lock);
        nuv_memcpy_s(hidden, sizeof hidden, keyword, sizeof keyword);
    }
    char shown[kAddressRoom];
    if (nuv_mask_keyword(hidden, shown, sizeof shown) != 0) return 1;
    const std::size_t room = std::strlen(text) + kTextGrowth;
    char* const block = static_cast<char*>(NUVA_MemMallocS(room));
    if (block == nullptr) return 1;

    Copy copy(block, room);
    const std::size_t hiddenSize = std::strlen(hidden);
    const std::size_t shownSize = std::strlen(shown);
    while (*text != '\0' && !copy.full()) {
        const char* const found = std::strstr(text, hidden);
        copy.append(text,
                    found != nullptr ? static_cast<std::size_t>(found - text) : std::strlen(text));
        if (found == nullptr) break;
        copy.append(shown, shownSize);
        text = found + hiddenSize;
    }
    *result = block;
    *length = copy.size();
    return 0;
}
