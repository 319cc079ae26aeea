// Compares docs/settings.md with the code: it has every key and variable that the library reads.

#include "support/document.h"
#include "support/test.h"

namespace qor {
namespace {

const Document& settingsPage() {
    static const Document document("docs/settings.md");
    return document;
}

// The first cells of the tables with this heading, each with its cell in column `at`.
std::map<String, String> column(const char* heading, std::size_t at) {
    std::map<String, String> cells;
    for (const Row& row : settingsPage().tablesOf(heading))
        cells[unquoted(row.at(0))] = unquoted(row.at(at));
    return cells;
}

// The names in quotes that follow these openings in the sources of the library.
std::set<String> foundInSources(std::initializer_list<std::string_view> openings) {
    std::set<String> found;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(QOR_SOURCE_DIR "/src/qor")) {
        if (entry.path().extension() != ".cpp") continue;
        const std::string text = contentOf(entry.path());
        for (const std::string_view opening : openings) {
            for (std::size_t at = 0; (at = text.find(opening, at)) != std::string::npos;) {
                at += opening.size();
                found.insert(String(text.substr(at, text.find('"', at) - at)));
            }
        }
    }
    return found;
}

TEST(Settings, EveryKeyThatIsReadIsOnThePage) {
    const std::set<String> keys = foundInSources({"mps()[\"", "config[\""});
    const std::map<String, String> documented = column("Setting", 2);
    EXPECT_EQ(keys.size(), 3u);
    for (const String& key : keys)
        EXPECT_TRUE(documented.contains(key)) << key;
}

TEST(Settings, EveryVariableThatIsReadIsOnThePage) {
    const std::set<String> variables = foundInSources({"getenv(\""});
    std::set<String> documented;
    for (const auto& [name, cell] : column("Variable", 1))
        documented.insert(name);
    EXPECT_EQ(variables, documented);
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
