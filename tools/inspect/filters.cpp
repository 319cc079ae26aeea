#include "inspect/filters.h"

#include <limits>

#include "common/failure.h"
#include "common/options.h"

namespace tools {

std::vector<Step> parsePath(std::string_view text) {
    std::vector<Step> path;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('/'), text.size());
        const std::string_view word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (word.empty()) continue;
        Step step;
        step.isIndex = word.front() == '[' && word.back() == ']';
        if (step.isIndex) {
            step.index = parseCount("path", word.substr(1, word.size() - 2),
                                    std::numeric_limits<unsigned>::max());
        } else {
            step.key = word;
        }
        path.push_back(std::move(step));
    }
    return path;
}

PathFilter::Match PathFilter::match(const Label& label) {
    if (found_) return Match::No;
    if (counts_.empty()) return path_.empty() ? Match::Target : Match::Way;
    const Step& step = path_[counts_.size() - 1];
    bool fits = false;
    if (label.part == Part::Item) {
        const unsigned long place = counts_.back()++;
        fits = step.isIndex ? place == step.index
                            : !label.key.is_null() && std::string_view(label.key) == step.key;
    } else {
        fits = !step.isIndex && keyOf(label) == step.key;
    }
    if (!fits) return Match::No;
    return counts_.size() == path_.size() ? Match::Target : Match::Way;
}

void PathFilter::begin(const Label& label, Shape shape, bool isChain) {
    if (inside_ != 0) {
        ++inside_;
        next_.begin(label, shape, isChain);
    } else if (skipped_ != 0) {
        ++skipped_;
    } else {
        switch (match(label)) {
            case Match::No:
                skipped_ = 1;
                break;
            case Match::Way:
                counts_.push_back(0);
                break;
            case Match::Target:
                inside_ = 1;
                next_.begin(label, shape, isChain);
                break;
        }
    }
}

void PathFilter::leaf(const Label& label, const Scalar& value) {
    if (inside_ != 0) return next_.leaf(label, value);
    if (skipped_ != 0 || match(label) != Match::Target) return;
    found_ = true;
    next_.leaf({label.key, label.type}, value);
}

void PathFilter::end() {
    if (inside_ != 0) {
        next_.end();
        if (--inside_ == 0) found_ = true;
    } else if (skipped_ != 0) {
        --skipped_;
    } else {
        counts_.pop_back();
    }
}

void PathFilter::elided(const Label& label, Shape shape) {
    if (inside_ != 0) next_.elided(label, shape);
}

void PathFilter::finish() {
    if (!found_) throw Failure("the path leads nowhere");
    found_ = false;
    next_.finish();
}

void DepthFilter::begin(const Label& label, Shape shape, bool isChain) {
    ++depth_;
    if (depth_ <= most_) return next_.begin(label, shape, isChain);
    if (depth_ == most_ + 1) next_.elided(label, shape);
}

void DepthFilter::leaf(const Label& label, const Scalar& value) {
    if (depth_ <= most_) next_.leaf(label, value);
}

void DepthFilter::end() {
    if (depth_-- <= most_) next_.end();
}

}  // namespace tools
