#ifndef QOR_TOOLS_INSPECT_FILTERS_H
#define QOR_TOOLS_INSPECT_FILTERS_H

#include <string>
#include <string_view>
#include <vector>

#include "inspect/events.h"

namespace tools {

// A step of a path: a key, or the index of an item in a container.
struct Step {
    std::string key;
    unsigned long index = 0;
    bool isIndex = false;
};

// Reads a path such as "a/b/[2]": steps with "/" between them. "[2]" is the third item; the name of
// an attribute begins with "@". Slashes at the beginning and the end are ignored. Raises
// UsageError.
std::vector<Step> parsePath(std::string_view text);

// Passes on only the first value at the path, as the root.
class PathFilter final : public Sink {
public:
    PathFilter(Sink& next, std::vector<Step> path) : next_(next), path_(std::move(path)) {}

    void begin(const Label& label, Shape shape, bool isChain) override;
    void leaf(const Label& label, const Scalar& value) override;
    void end() override;
    void elided(const Label& label, Shape shape) override;
    // Raises Failure if there was no value at the path.
    void finish() override;

private:
    enum class Match { No, Way, Target };
    Match match(const Label& label);

    Sink& next_;
    const std::vector<Step> path_;
    std::vector<unsigned long> counts_;  // items so far, for each open container on the path
    unsigned long skipped_ = 0;          // open containers that are not on the path
    unsigned long inside_ = 0;           // open containers at and below the target
    bool found_ = false;
};

// Passes on containers down to a depth; the outermost one has the depth 1. Deeper ones are elided.
class DepthFilter final : public Sink {
public:
    DepthFilter(Sink& next, unsigned long most) : next_(next), most_(most) {}

    void begin(const Label& label, Shape shape, bool isChain) override;
    void leaf(const Label& label, const Scalar& value) override;
    void end() override;
    void elided(const Label& label, Shape shape) override { next_.elided(label, shape); }
    void finish() override { next_.finish(); }

private:
    Sink& next_;
    const unsigned long most_;
    unsigned long depth_ = 0;
};

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_FILTERS_H
