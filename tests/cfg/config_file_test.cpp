#include "qor/cfg/config_file.h"

#include <barrier>

#include "support/child.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

class Configured : public testing::Test {
protected:
    // The next use of the configuration reads this file.
    void configure(std::string_view content) {
        dir_.file("c.pml", content);
        ConfigFile::destroy();
    }
    void SetUp() override { setenv("OMB_CLI_CFG_FILE", dir_.path("c.pml").c_str(), 1); }
    void TearDown() override {
        unsetenv("OMB_CLI_CFG_FILE");
        ConfigFile::destroy();
    }

    const TempDir dir_;
};

const wchar_t* const kWide = L"\u5b89";
const char* const kGbk = "\xB0\xB2";
const char* const kUtf8 = "\xE5\xAE\x89";

// Present and missing keys.
TEST_F(Configured, ReadsItsKeys) {
    const std::tuple<const char*, unsigned long, const char*> cases[] = {
        {"", 65001, "(enable()codepage())"},
        {"config(enable(true) codepage(936) numofTimers(8000))", 936,
         "config(enable(true)codepage(936)numofTimers(8000))"},
        {"c(enable(false)codepage(936))", 936, "()"},
        {"c(enable(maybe)codepage(many))", 65001, "c(enable(maybe)codepage(many))"},
        {"c(scalar)", 65001, "c((scalar)enable()codepage())"},
    };
    for (const auto& [content, codepage, settings] : cases) {
        SCOPED_TRACE(content);
        configure(content);
        EXPECT_EQ(ConfigFile::codepage(), codepage);
        EXPECT_EQ(ConfigFile::instance().mps().unit().str(pml::ShowMode::COMPACT).replace("\"", ""),
                  settings);
        EXPECT_FALSE(ConfigFile::instance().empty());
    }
    const std::string shown = dumped(ConfigFile::instance());
    EXPECT_TRUE(shown.starts_with("{enable_=true config_={direction_=output unit_={name_='c'"));
    EXPECT_TRUE(
        shown.ends_with("mps_={direction_=output unit_={name_= type_= value_=}} codepage_=65001}"));
}

TEST_F(Configured, LoadsAgain) {
    configure("c(codepage(936)enable(false))");
    ConfigFile& config = ConfigFile::instance();
    dir_.file("d.pml", "d(a(1))");
    // Without the key the page is kept; the switch is not.
    EXPECT_EQ(&config.load(dir_.path("d.pml")), &config);
    EXPECT_EQ(config.mps().name(), "d");
    EXPECT_EQ(ConfigFile::codepage(), 936u);
    config.load(dir_.path("missing"));
    EXPECT_EQ(config.mps().unit().numofChildren(), 2u);
    dir_.file("d.pml", "d(x");
    dir_.file("bad.pml", "a(codepage(932)b:");
    const std::string before = dumped(config);
    EXPECT_THROW(config.load(dir_.path("bad.pml")), pml::DecodeException);
    EXPECT_EQ(dumped(config), before);
    dir_.file("bad.pml", "a(codepage(932)b:b())");
    EXPECT_TRUE(config.load().mps().has("b"));
    EXPECT_FALSE(config.load(dir_.path("d.pml")).mps().has("a"));
}

TEST_F(Configured, HasADefaultName) {
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(dir_.path());
    dir_.file("p2p_config.pml", "c(codepage(936))");
    unsetenv("OMB_CLI_CFG_FILE");
    ConfigFile::destroy();
    EXPECT_EQ(ConfigFile::codepage(), 936u);
    std::filesystem::current_path(before);
}

TEST_F(Configured, IsTheCodePageOfConversions) {
    // Streams that exist when the page changes use the new one, too.
    configure("c(codepage(65001))");
    nbr::OutputStream message;
    nbr::CodecStream before, after;
    nbr::encode(before, std::vector<String>{kUtf8});
    nbr::CodecStream in(before.str());
    configure("c(codepage(936))");
    std::vector<String> texts;
    nbr::decode(in, texts);
    EXPECT_EQ(texts, std::vector<String>{kGbk});
    nbr::encode(after, texts);
    EXPECT_EQ(after.str(), before.str());
    EXPECT_EQ(String(kWide), kGbk);
    EXPECT_EQ(String(kGbk).toWstring(), kWide);
    EXPECT_EQ(toAnsi(utf8(kUtf8)), kGbk);
    EXPECT_EQ(String(kWide, 65001), kUtf8);
    pml::ntv::Unit unit;
    EXPECT_TRUE(pml::ntvFromPml(unit, iwstr(L"\u5b89(\u5b89)")));
    EXPECT_EQ(unit.name() + String(unit.getStringValue()), std::string(kGbk) + kGbk);
    std::wstring wide;
    EXPECT_TRUE(unit >> wide);
    EXPECT_EQ(wide, kWide);
    unit << wide;  // UTF-8 whatever the page
    EXPECT_EQ(unit.getStringValue(), "5a6J");
    EXPECT_EQ(BinaryOutStream().write(std::string(kGbk)).str(), String("\x01\x03") + kUtf8);
    message << String(kGbk);
    EXPECT_EQ(String(message.str()), std::string("\xF1\x03") + kUtf8);
    configure("c(codepage(37))");
    EXPECT_EQ(*json::JsonString::unescape("\\u0041"), "\xC1");
    ConfigFile::destroy();
    unsetenv("OMB_CLI_CFG_FILE");
    EXPECT_EQ(String(kWide), kUtf8);
}

TEST_F(Configured, WithoutACodePageNoWideTextIsRead) {
    for (const char* const content : {"c(codepage(99999))", "c(codepage(1)codepage(2))"}) {
        configure(content);
        FileReadWriter file(dir_.wide(L"c.pml"), false);
        file.rewind(3);
        for (const bool all : {true, false}) {
            std::wstring text = L"old";
            EXPECT_FALSE(all ? file.readAll(text) : file.read(text, 5));
            EXPECT_EQ(errno, EINVAL);
            EXPECT_EQ(text, L"");
        }
        EXPECT_FALSE(file.write(L"x"));
        EXPECT_EQ(file.readByte(), content[3]);
    }
}

// The leak table shows the release of what was read, which converts text.
TEST_F(Configured, FailsWhileTheLeakTableShowsEvents) {
    const int status = statusOf([&] {
        alarm(30);
        configure("c(codepage(936)b:");
        MemLeakChecker::instance()->start();
        console::setOn(true);
        const MemLeakChecker::DumpEntry shown;
        const bool fails = !raised<pml::DecodeException>([] { ConfigFile::instance(); }).empty();
        _exit(fails ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
}

// The first use is in all threads at once, and none of them sees another page.
TEST_F(Configured, IsReadOnceByConcurrentThreads) {
    for (int round = 0; round < 20; ++round) {
        configure("(* a comment *) c(codepage(936)enable(false))");
        std::barrier start(6);
        inThreads(6, [&] {
            start.arrive_and_wait();
            EXPECT_EQ(String(kWide), kGbk);
        });
    }
}

// Any first use raises, and the next one reads again.
TEST_F(Configured, RaisesForAMalformedFileUntilItIsCorrected) {
    configure("c(codepage(936)b:");
    EXPECT_THROW(ConfigFile::instance(), pml::DecodeException);
    EXPECT_THROW(String text(kWide), pml::DecodeException);
    EXPECT_NO_THROW(nbr::CodecStream().bos() << 1);
    EXPECT_EQ(String(L"") + String(iwstr()) + String(toWstring(ansi(istr()))) + toAnsi(utf8("")),
              "");
    std::thread([] { EXPECT_THROW(String(kGbk).toWstring(), pml::DecodeException); }).join();
    dir_.file("c.pml", "c(a(1)a(2))");
    EXPECT_THROW(ConfigFile::codepage(), DuplicatedUnitException);
    dir_.file("c.pml", "c(codepage(936))");
    EXPECT_EQ(String(kWide), kGbk);
}

}  // namespace
}  // namespace qor
