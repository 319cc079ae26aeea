// qor-inspect: shows the contents of files, and converts them to other formats.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/failure.h"
#include "common/options.h"
#include "common/output.h"
#include "common/run.h"
#include "inspect/inspector.h"
#include "qor/pml/pml_show.h"

namespace {

using namespace tools;

constexpr const char* kTool = "qor-inspect";

constexpr const char* kClosing =
    "\nInput formats: nbr, hex (a message in hexadecimal), pml, json, xml, frames (a stream of\n"
    "TCP frames), directory. All but the directory may be compressed with gzip, frames only in\n"
    "a file whose name ends with .gz. Without --from, the end of the name decides the format, or\n"
    "else the content. If FILE is \"-\" or is not given, the standard input is read.\n"
    "Output formats: tree (the default for nbr), pml, json, xml, nbr, hex, frames.\n"
    "The exit status is 0; or 1 if an input cannot be read; or 2 after a mistake in the command\n"
    "line.\n";

int partsOf(std::string_view text) {
    constexpr std::string_view kLetters = "vtnp";
    int parts = qor::pml::ShowPattern::NONE;
    for (const char letter : text) {
        const std::size_t bit = kLetters.find(letter);
        if (bit == kLetters.npos) throw UsageError("--parts takes letters of p, n, t and v");
        parts |= 1 << bit;
    }
    return parts;
}

Format formatNamed(std::string_view text) {
    return static_cast<Format>(parseChoice(
        "from", text, {"auto", "nbr", "hex", "pml", "json", "xml", "frames", "directory"}));
}

Format payloadNamed(std::string_view text) {
    return static_cast<Format>(
        parseChoice("payload", text, {"auto", "nbr", "hex", "pml", "json", "xml"}));
}

int openOutput(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) throw Failure(path + ": " + std::strerror(errno));
    return file;
}

bool isBinary(const InspectOptions& options) {
    return options.to == Target::Nbr || options.to == Target::Frames;
}

int inspect(const std::vector<std::string>& arguments) {
    InspectOptions options;
    ColorMode color = ColorMode::Auto;
    std::string target;
    bool compress = false;
    bool hasParts = false;
    Options line(
        kTool, "[OPTION]... [FILE]...",
        "Shows the contents of files in nbr, pml, JSON or XML, of streams of TCP frames, and of\n"
        "directories, and converts them to another format.",
        {{'f', "from", "FORMAT", "the format of the input",
          [&](std::string_view text) { options.from = formatNamed(text); }},
         {'t', "to", "FORMAT", "the format of the output; by default that of the input",
          [&](std::string_view text) {
              options.to = static_cast<Target>(parseChoice(
                  "to", text, {"auto", "tree", "pml", "json", "xml", "nbr", "hex", "frames"}));
          }},
         {0, "payload", "FORMAT", "the format of the payload of frames",
          [&](std::string_view text) { options.payload = payloadNamed(text); }},
         {'c', "compact", nullptr, "write each tree on one line",
          [&](std::string_view) { options.compact = true; }},
         {'d', "depth", "N", "only containers down to this depth; the outermost is 1",
          [&](std::string_view text) { options.depth = parseCount("depth", text, 1000000000); }},
         {'p', "path", "PATH",
          "only the value at the path: a/b/[2] is the third item\nof b in a; @x is an "
          "attribute, [4]/1 the tag 1 of frame 4",
          [&](std::string_view text) {
              options.path = parsePath(text);
              options.hasPath = true;
          }},
         {0, "layout", "LAYOUT", "pml in the layout compact, simple, mixed or formatted",
          [&](std::string_view text) {
              options.layout =
                  1 + static_cast<int>(
                          parseChoice("layout", text, {"compact", "simple", "mixed", "formatted"}));
          }},
         {0, "parts", "LETTERS", "with --layout: some of p (path), n (name), t (type), v (value)",
          [&](std::string_view text) {
              options.parts = partsOf(text);
              hasParts = true;
          }},
         {'o', "output", "FILE", "write to FILE",
          [&](std::string_view text) {
              if (text.empty()) throw UsageError("--output needs the name of a file");
              target = text;
          }},
         {'z', "gzip", nullptr, "compress the output", [&](std::string_view) { compress = true; }},
         {0, "color", "WHEN", "auto, always or never",
          [&](std::string_view text) { color = parseColorMode(text); }}},
        kClosing);
    std::vector<std::string> files = line.parse(arguments);
    if (files.empty()) files.emplace_back("-");

    const int file = target.empty() ? STDOUT_FILENO : -1;
    std::string collected;
    // The output file is opened only after all inputs were read: a failure does not change it.
    Output out = compress || file < 0 ? Output(collected, color == ColorMode::Always)
                                      : Output::standard(color);
    if (!line.answer().empty()) {
        Output::standard(color).raw(line.answer()).flush();
        return kSuccess;
    }
    if (file >= 0 && isatty(file) == 1 && (compress || isBinary(options))) {
        throw UsageError("binary output to a terminal: use --output, or --to=hex");
    }
    if (options.depth && options.to >= Target::Nbr) throw UsageError("--depth is for text");
    const bool isPml = options.to == Target::Native || options.to == Target::Pml;
    if (options.layout != 0 && (options.depth || !isPml)) {
        throw UsageError("--layout is for whole trees in pml");
    }
    if (hasParts && options.layout == 0) throw UsageError("--parts needs --layout");
    int status = kSuccess;
    for (const std::string& path : files) {
        const std::string name = path == "-" ? "standard input" : path;
        try {
            Inspector inspector(options, out, [&](const std::string& remark) {
                complain(kTool, name + ": " + remark);
            });
            if (!inspector.inspect(path)) status = kFailure;
        } catch (const WriteFailure&) {
            throw;
        } catch (const Failure& e) {
            out.flush();
            complain(kTool, name + ": " + e.what());
            status = kFailure;
        }
    }
    out.flush();
    if (compress) collected = gzip(collected);
    if (target.empty() && !compress) return status;
    if (status == kSuccess || target.empty()) {
        const int to = target.empty() ? STDOUT_FILENO : openOutput(target);
        Output last(to, false, false);
        last.raw(collected).flush();
        if (to != STDOUT_FILENO && ::close(to) != 0) {
            throw Failure(target + ": " + std::strerror(errno));
        }
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    return run(kTool, argc, argv, inspect);
}
