#include "nuv_os_adapter.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

int nuv_strncpy_s(char* destination, std::size_t room, const char* source, std::size_t count) {
    if (destination == nullptr || source == nullptr) return EINVAL;
    if (count > room) return ERANGE;
    std::size_t i = 0;
    for (; i < count && source[i] != '\0'; ++i)
        destination[i] = source[i];
    std::memset(destination + i, 0, count - i);
    return 0;
}

int nuv_strcat_s(char* destination, std::size_t room, const char* source) {
    if (destination == nullptr || source == nullptr) return EINVAL;
    const std::size_t present = strnlen(destination, room);
    if (present == room) return ERANGE;
    const std::size_t added = strnlen(source, room - present);
    if (added == room - present) return ERANGE;
    // The source may be the destination's own text.
    std::memmove(destination + present, source, added + 1);
    return 0;
}

int nuv_memset_s(void* destination, std::size_t room, int value, std::size_t count) {
    if (destination == nullptr) return EINVAL;
    if (count > room) return ERANGE;
    std::memset(destination, value, count);
    return 0;
}

int nuv_memcpy_s(void* destination, std::size_t room, const void* source, std::size_t count) {
    if (destination == nullptr || source == nullptr) return EINVAL;
    if (count > room) return ERANGE;
    std::memcpy(destination, source, count);
    return 0;
}

int nuv_sprintf_s(char* destination, std::size_t room, const char* format, ...) {
    if (destination == nullptr || format == nullptr) return -1;
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    // Measured first, since vsnprintf would also write a part of a text that does not fit.
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    const bool fits = size >= 0 && static_cast<std::size_t>(size) < room;
    if (fits) std::vsnprintf(destination, static_cast<std::size_t>(size) + 1, format, again);
    va_end(again);
    return fits ? size : -1;
}

int nuv_vsprintf_s(char* destination, std::size_t room, const char* format, va_list arguments) {
    if (destination == nullptr || format == nullptr || room == 0 || room > INT_MAX) return -1;
    destination[0] = '\0';
    const int size = std::vsnprintf(destination, room, format, arguments);
    if (size >= 0 && static_cast<std::size_t>(size) < room) return size;
    return static_cast<int>(strnlen(destination, room - 1));
}

int nuv_vswprintf_s(wchar_t* destination, std::size_t room, const wchar_t* format,
                    va_list arguments) {
    if (destination == nullptr || format == nullptr || room == 0 || room > INT_MAX) return -1;
    destination[0] = L'\0';
    std::vswprintf(destination, room, format, arguments);
    // With too little room vswprintf fails, but the characters that it has written are valid.
    destination[room - 1] = L'\0';
    return static_cast<int>(std::wcslen(destination));
}

int nuv_sscanf_s(const char* text, const char* format, ...) {
    if (text == nullptr || format == nullptr) return -1;
    va_list arguments;
    va_start(arguments, format);
    const int fields = std::vsscanf(text, format, arguments);
    va_end(arguments);
    return fields;
}

void* NUVA_MemMallocS(std::size_t size) {
    return size != 0 ? std::malloc(size) : nullptr;
}
