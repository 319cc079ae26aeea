// Holds docs/settings.md against the code: every key and variable that the library reads is there.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>

#include "qor/log/log_factory.h"
#include "qor/pml/pml_stream.h"
#include "support/document.h"

namespace qor {
namespace {

const support::Document& page() {
    static const support::Document document("docs/settings.md");
    return document;
}

// The first cells of the tables with this heading, with the cells in that column.
std::map<String, String> column(const char* heading, std::size_t at) {
    std::map<String, String> cells;
    for (const support::Row& row : page().tablesOf(heading))
        cells[support::unquoted(row.at(0))] = support::unquoted(row.at(at));
    return cells;
}

// What the pattern's first group finds in the sources of the library.
std::set<String> foundInSources(const char* pattern) {
    const std::regex expression(pattern);
    std::set<String> found;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(QOR_SOURCE_DIR "/src/qor")) {
        if (entry.path().extension() != ".cpp") continue;
        std::ifstream file(entry.path());
        const std::string text(std::istreambuf_iterator<char>(file), {});
        for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
             ++match) {
            found.insert(String((*match)[1].str()));
        }
    }
    return found;
}

TEST(Settings, EveryKeyThatIsReadIsOnThePage) {
    const std::set<String> keys = foundInSources(R"re((?:mps\(\)|config_)\["(\w+)"\])re");
    const std::map<String, String> told = column("Setting", 2);
    EXPECT_EQ(keys.size(), 3u);
    for (const String& key : keys)
        EXPECT_TRUE(told.contains(key)) << key;
}

TEST(Settings, EveryVariableThatIsReadIsOnThePage) {
    const std::set<String> variables = foundInSources(R"re(getenv\("(\w+)"\))re");
    std::set<String> told;
    for (const auto& [name, cell] : column("Variable", 1))
        told.insert(name);
    EXPECT_EQ(variables, told);
}

TEST(Settings, KeysOfALoggerAndTheirDefaultsAreOnThePage) {
    pml::stream out;
    logger_factory::instance("settings").codec(out);
    ASSERT_NE(out.unit().numofChildren(), 0u);
    const std::map<String, String> defaults = column("Setting", 2);
    for (std::size_t i = 0; i < out.unit().numofChildren(); ++i) {
        const pml::ntv::Unit& child = out.unit()[i];
        const auto found = defaults.find(child.name());
        ASSERT_NE(found, defaults.end()) << child.name();
        EXPECT_EQ(child.simple() ? String(child.getStringValue()) : String("none"), found->second)
            << child.name();
    }
}

}  // namespace
}  // namespace qor
