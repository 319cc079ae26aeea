#ifndef QOR_SRC_LOG_CONSOLE_END_H
#define QOR_SRC_LOG_CONSOLE_END_H

namespace qor {

// Whether the console was destroyed, and not created again by console::create. Its next use would
// create it again, and the settings with it.
bool isConsoleDestroyed() noexcept;

}  // namespace qor

#endif  // QOR_SRC_LOG_CONSOLE_END_H
