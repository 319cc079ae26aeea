#ifndef NUV_OS_ADAPTER_H
#define NUV_OS_ADAPTER_H

#include <cstdarg>
#include <cstddef>

// Bounded forms of text and memory functions of C. Each does the same as the C function in its
// name, but first checks the room of the destination, in bytes. With too little room or a null
// pointer it changes nothing and fails. A function that returns 0 on success then returns ERANGE or
// EINVAL; a function that returns a count returns -1.

// Copies exactly `count` bytes as strncpy does: a shorter source is padded with zeros, and the copy
// of a source that is not shorter is not terminated.
int nuv_strncpy_s(char* destination, std::size_t room, const char* source, std::size_t count);
// `room` is the size of the whole destination, for the present text, the source and the terminator.
int nuv_strcat_s(char* destination, std::size_t room, const char* source);
int nuv_memset_s(void* destination, std::size_t room, int value, std::size_t count);
// The areas must not overlap.
int nuv_memcpy_s(void* destination, std::size_t room, const void* source, std::size_t count);

// Returns the number of characters written, without the terminator.
[[gnu::format(printf, 3, 4)]] int nuv_sprintf_s(char* destination, std::size_t room,
                                                const char* format, ...);
// Unlike the others, these two cut text that does not fit. The text is always terminated. Return
// the number of characters written, also if formatting fails in the middle; -1 for a `room` of 0 or
// above INT_MAX. `room` is in characters.
[[gnu::format(printf, 3, 0)]] int nuv_vsprintf_s(char* destination, std::size_t room,
                                                 const char* format, va_list arguments);
int nuv_vswprintf_s(wchar_t* destination, std::size_t room, const wchar_t* format,
                    va_list arguments);
// Returns the number of fields read, as sscanf does; -1 for a null text or format.
int nuv_sscanf_s(const char* text, const char* format, ...);

// Allocates a block, which the caller frees by std::free. Returns null for size 0 or without
// memory.
void* NUVA_MemMallocS(std::size_t size);

#endif  // NUV_OS_ADAPTER_H
