#ifndef QOR_SRC_PLATFORM_TERMINAL_H
#define QOR_SRC_PLATFORM_TERMINAL_H

namespace qor::platform {

// Whether reading the standard input gives something at once, an end included. What the C library
// holds already counts.
bool inputWaiting() noexcept;
// Lets the C library read on after it has met the end of input.
void continueInput() noexcept;

// Looked up at most once a second.
bool debuggerAttached() noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_TERMINAL_H
