#ifndef QOR_TESTS_SUPPORT_DOCUMENT_H
#define QOR_TESTS_SUPPORT_DOCUMENT_H

#include <fstream>
#include <string>
#include <vector>

#include "qor/base/base_type_string.h"

namespace support {

using Row = std::vector<qor::String>;

inline qor::String unquoted(qor::String cell) {
    return cell.trimLeftRight('`');
}

inline qor::String trimmed(const std::string& cell) {
    return qor::String(qor::istr(cell).trim());
}

// A page of the documentation, whose tables and blocks are the data of tests.
class Document {
public:
    // By its path in the project.
    explicit Document(const char* path) {
        std::ifstream file(std::string(QOR_SOURCE_DIR "/") + path);
        for (std::string line; std::getline(file, line);)
            lines_.push_back(line);
    }

    // Whether the text, of whole lines, is on the page.
    bool has(const std::string& text) const {
        std::string page;
        for (const std::string& line : lines_)
            page += line + "\n";
        return page.find(text) != std::string::npos;
    }

    // The rows of all tables whose first heading is `heading`.
    std::vector<Row> tablesOf(const char* heading) const {
        std::vector<Row> rows;
        bool inside = false;
        for (const std::string& line : lines_) {
            const Row cells = line.starts_with('|') ? cellsOf(line) : Row();
            if (cells.empty()) {
                inside = false;
            } else if (cells[0] == heading) {
                inside = true;
            } else if (inside && !cells[0].starts_with("---")) {
                rows.push_back(cells);
            }
        }
        return rows;
    }

    // The blocks that are fenced and marked with the kind, each line with its end.
    std::vector<std::string> blocksOf(const std::string& kind) const {
        std::vector<std::string> blocks;
        bool inside = false;
        for (const std::string& line : lines_) {
            if (line == "```" + kind) {
                blocks.emplace_back();
                inside = true;
            } else if (line == "```") {
                inside = false;
            } else if (inside) {
                blocks.back() += line + "\n";
            }
        }
        return blocks;
    }

    // The indented lines that follow the first line that begins so, without their indent.
    qor::String indentedAfter(const std::string& label) const {
        qor::String block;
        bool inside = false;
        for (const std::string& line : lines_) {
            if (line.starts_with(label)) {
                inside = true;
            } else if (inside && line.starts_with("    ")) {
                block += (block.empty() ? "" : "\n") + line.substr(4);
            } else if (inside && !line.empty()) {
                break;
            }
        }
        return block;
    }

private:
    static Row cellsOf(const std::string& line) {
        Row cells;
        for (std::size_t at = 1, end = 0; (end = line.find('|', at)) != std::string::npos;
             at = end + 1) {
            cells.push_back(trimmed(line.substr(at, end - at)));
        }
        return cells;
    }

    std::vector<std::string> lines_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_DOCUMENT_H
