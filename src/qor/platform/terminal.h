#ifndef QOR_SRC_PLATFORM_TERMINAL_H
#define QOR_SRC_PLATFORM_TERMINAL_H

namespace qor::platform {

// Whether a read from the standard input returns at once, with text or with the end of input. Text
// in the buffer of the C library counts too.
bool inputWaiting() noexcept;
// Lets the C library continue to read after the end of input.
void continueInput() noexcept;

// Forgets the text in the standard output's buffer of the C library.
void dropOutput() noexcept;

// Asks the system at most once per second.
bool debuggerAttached() noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_TERMINAL_H
