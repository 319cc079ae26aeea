#include "inspect/inspector.h"

#include <sys/stat.h>

#include <sstream>

#include "inspect/readers.h"
#include "inspect/writers.h"
#include "qor/pml/pml_writer.h"

namespace tools {

namespace {

constexpr const char* kNoLayout = "only pml has layouts";

bool isDirectory(const std::string& path) {
    struct stat status {};
    return path != "-" && ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Target nativeOf(Format format) {
    switch (format) {
        case Format::Pml:
        case Format::Directory:
            return Target::Pml;
        case Format::Json:
            return Target::Json;
        case Format::Xml:
            return Target::Xml;
        default:
            return Target::Tree;
    }
}

std::unique_ptr<Sink> makeWriter(Target target, Output& out, bool compact) {
    switch (target) {
        case Target::Pml:
            return makePmlWriter(out, compact);
        case Target::Json:
            return makeJsonWriter(out, compact);
        case Target::Xml:
            return makeXmlWriter(out, compact);
        case Target::Nbr:
        case Target::Hex:
        case Target::Frames:
            return makeNbrWriter(out);
        default:
            return makeTreeWriter(out, compact);
    }
}

std::string frameOf(const std::string& payload) {
    std::string frame;
    for (int shift = 24; shift >= 0; shift -= 8)
        frame += static_cast<char>(payload.size() >> shift);
    return frame + payload;
}

}  // namespace

bool Inspector::inspect(const std::string& path) {
    path_ = options_.path;
    const bool mayBeDirectory =
        options_.from == Format::Guess || options_.from == Format::Directory;
    if (mayBeDirectory && isDirectory(path)) {
        showDirectory(path);
        return true;
    }
    if (options_.from == Format::Directory) throw Failure("no directory");
    if (options_.from == Format::Frames && !path.ends_with(".gz")) {
        FileSource file(path);
        std::istream source(&file);
        return showFrames(source);
    }
    std::string content = readContent(path);
    if (isGzip(content)) content = gunzip(content);
    Format format = options_.from;
    if (format == Format::Guess) format = formatOfName(path);
    // A file with the extension ".nbr" may have a message in hexadecimal.
    if (format == Format::Guess || format == Format::Nbr) {
        const Format guessed = formatOfContent(content);
        const bool isHex = guessed == Format::Hex && options_.from == Format::Guess;
        if (format == Format::Guess || isHex) format = guessed;
    }
    if (format == Format::Frames) {
        std::istringstream source(std::move(content));
        return showFrames(source);
    }
    show(content, format);
    return true;
}

void Inspector::showDirectory(const std::string& path) {
    if (options_.layout != 0) throw Failure(kNoLayout);
    const Target target = options_.to == Target::Native ? Target::Pml : options_.to;
    through(target, [&](Sink& sink) { readDirectory(path, sink); });
}

bool Inspector::showFrames(std::istream& source) {
    std::optional<unsigned long> wanted;
    if (!path_.empty()) {
        if (!path_.front().isIndex)
            throw Failure("the path to a frame begins with its number, [0]");
        wanted = path_.front().index;
        path_.erase(path_.begin());
    }
    FrameReader frames(source);
    std::string payload;
    bool good = true;
    bool found = !wanted;
    while (frames.next(payload)) {
        if (wanted && frames.number() != *wanted) continue;
        found = true;
        const std::string place = "frame " + std::to_string(frames.number()) + " at offset " +
                                  std::to_string(frames.offset());
        if (options_.to == Target::Native && options_.layout == 0) {
            out_.put(Role::Note, "# " + place + ", " + std::to_string(payload.size()) + " bytes");
            out_.raw("\n");
        }
        try {
            const Format format =
                options_.payload == Format::Guess ? formatOfContent(payload) : options_.payload;
            if (!payload.empty()) show(payload, format == Format::Frames ? Format::Nbr : format);
        } catch (const WriteFailure&) {
            throw;
        } catch (const Failure& e) {
            out_.flush();
            remark_(place + ": " + e.what());
            good = false;
        }
        out_.flush();
        if (wanted) break;
    }
    if (!found) throw Failure("no frame of that number");
    return good;
}

void Inspector::show(istr content, Format format) {
    if (options_.layout != 0) {
        if (format != Format::Pml) throw Failure(kNoLayout);
        return showPmlLayout(content);
    }
    const Target target = options_.to == Target::Native ? nativeOf(format) : options_.to;
    through(target, [&](Sink& sink) { tell(content, format, sink); });
}

void Inspector::tell(istr content, Format format, Sink& sink) {
    std::string remark;
    switch (format) {
        case Format::Pml:
            remark = readPml(content, sink);
            break;
        case Format::Json:
            remark = readJson(content, sink);
            break;
        case Format::Xml:
            remark = readXml(content, sink);
            break;
        case Format::Hex: {
            const std::string bytes = bytesOfHex(content);
            remark = readNbr(istr(bytes), sink);
            break;
        }
        default:
            remark = readNbr(content, sink);
    }
    if (remark.empty()) return;
    out_.flush();
    remark_(remark);
}

void Inspector::through(Target target, const std::function<void(Sink&)>& reader) {
    const bool isCollected = target == Target::Hex || target == Target::Frames;
    std::string collected;
    Output collecting(collected);
    Output& out = isCollected ? collecting : out_;
    const std::unique_ptr<Sink> writer = makeWriter(target, out, options_.compact);
    std::optional<DepthFilter> depth;
    std::optional<PathFilter> path;
    Sink* first = writer.get();
    if (options_.depth) first = &depth.emplace(*first, *options_.depth);
    if (options_.hasPath) first = &path.emplace(*first, path_);
    reader(*first);
    if (!isCollected) return;
    collecting.flush();
    if (target == Target::Hex) {
        out_.raw(hexOf(istr(collected))).raw("\n");
    } else {
        out_.raw(frameOf(collected));
    }
}

void Inspector::showPmlLayout(istr content) {
    qor::pml::ntv::Unit unit;
    const std::string remark = parsePml(content, unit);
    const qor::pml::ntv::Unit* shown = &unit;
    for (const Step& step : path_) {
        const std::string name = step.isIndex ? '[' + std::to_string(step.index) + ']' : step.key;
        if (shown != nullptr) shown = shown->find(name);
    }
    if (shown == nullptr) throw Failure("the path leads nowhere");
    out_.put(Role::Plain, shown->str(options_.layout, options_.parts)).raw("\n");
    if (!remark.empty()) remark_(remark);
}

}  // namespace tools
