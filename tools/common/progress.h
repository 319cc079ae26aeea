#ifndef QOR_TOOLS_COMMON_PROGRESS_H
#define QOR_TOOLS_COMMON_PROGRESS_H

#include <cstdint>
#include <string>

namespace tools {

// A progress bar on a terminal. Erase it before writing to the same terminal.
class Progress {
public:
    // With the descriptor -1 it draws nothing.
    Progress(int descriptor, std::uint64_t total) : descriptor_(descriptor), total_(total) {}
    ~Progress() { erase(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Draws the bar if it looks different than before.
    void show(std::uint64_t done);
    void erase();

    // "[####......]  40%", with the given number of columns between the brackets.
    static std::string bar(std::uint64_t done, std::uint64_t total, unsigned columns);

private:
    int descriptor_;
    std::uint64_t total_;
    std::string shown_;
};

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_PROGRESS_H
