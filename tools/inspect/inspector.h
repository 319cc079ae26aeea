#ifndef QOR_TOOLS_INSPECT_INSPECTOR_H
#define QOR_TOOLS_INSPECT_INSPECTOR_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/output.h"
#include "inspect/filters.h"
#include "inspect/input.h"

namespace tools {

enum class Target { Native, Tree, Pml, Json, Xml, Nbr, Hex, Frames };

struct InspectOptions {
    Format from = Format::Guess;
    Format payload = Format::Guess;  // of the frames of a stream
    Target to = Target::Native;
    bool compact = false;
    std::optional<unsigned long> depth;
    std::vector<Step> path;
    bool hasPath = false;
    // If `layout` is not 0, the library's own writer shows pml, with these parts of each unit.
    int layout = 0;
    int parts = 7;
};

// Shows one input after another.
class Inspector {
public:
    // Called with each remark, and with each failure that does not end the run. The text begins
    // with the place.
    using Remark = std::function<void(const std::string&)>;

    Inspector(const InspectOptions& options, Output& out, Remark remark)
        : options_(options), out_(out), remark_(std::move(remark)) {}

    // Shows a file, a directory, or the standard input for "-". False if a failure was passed to
    // `remark`. Raises Failure.
    bool inspect(const std::string& path);

private:
    bool showFrames(std::istream& source);
    void show(istr content, Format format);
    void showPmlLayout(istr content);
    void tell(istr content, Format format, Sink& sink);
    void tellDirectory(const std::string& path);
    // Runs `reader` with a sink that applies the filters of the options and then writes.
    void through(Target target, const std::function<void(Sink&)>& reader);

    const InspectOptions& options_;
    Output& out_;
    Remark remark_;
    std::vector<Step> path_;  // in frames, without the number of the frame
};

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_INSPECTOR_H
