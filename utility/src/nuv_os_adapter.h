#ifndef NUV_OS_ADAPTER_H
#define NUV_OS_ADAPTER_H

#include <cstdarg>
#include <cstddef>

// Bounded forms of C's text and memory calls: each does what the C function of its name does, and
// checks the room of the destination (in bytes) first. Without enough room, or with a null pointer,
// a call changes nothing and fails: its result is an error number (ERANGE, EINVAL) if success is 0,
// and -1 if success is a count.

// Copies exactly `count` bytes as strncpy does: a shorter source is padded with zeros, and the copy
// of a longer one is not terminated.
int nuv_strncpy_s(char* destination, std::size_t room, const char* source, std::size_t count);
// `room` includes the present text, the source and the terminator.
int nuv_strcat_s(char* destination, std::size_t room, const char* source);
int nuv_memset_s(void* destination, std::size_t room, int value, std::size_t count);
// The areas may not overlap.
int nuv_memcpy_s(void* destination, std::size_t room, const void* source, std::size_t count);

// The number of characters written, without the terminator.
[[gnu::format(printf, 3, 4)]] int nuv_sprintf_s(char* destination, std::size_t room,
                                                const char* format, ...);
// These cut text that does not fit, and terminate it. They return the number of characters written,
// also if formatting fails midway. `room` is in characters.
[[gnu::format(printf, 3, 0)]] int nuv_vsprintf_s(char* destination, std::size_t room,
                                                 const char* format, va_list arguments);
int nuv_vswprintf_s(wchar_t* destination, std::size_t room, const wchar_t* format,
                    va_list arguments);
// The number of fields read; -1 for a null text or format.
int nuv_sscanf_s(const char* text, const char* format, ...);

// Null for no bytes and without memory. The block is freed by std::free.
void* NUVA_MemMallocS(std::size_t size);

#endif  // NUV_OS_ADAPTER_H
