#ifndef QOR_SRC_PLATFORM_TERMINAL_H
#define QOR_SRC_PLATFORM_TERMINAL_H

namespace qor::platform {

// Whether reading the standard input gives something at once, an end included. What the C library
// holds already counts.
bool inputWaiting() noexcept;
// The C library looks for more input after an end that it has met.
void continueInput() noexcept;

// Looked up at most once a second.
bool debuggerAttached() noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_TERMINAL_H
