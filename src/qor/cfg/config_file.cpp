#include "qor/cfg/config_file.h"

#include "base/upward.h"
#include "qor/base/base_type_char.h"

namespace qor {

template class CreateByAllocate<ConfigFile>;

namespace {

constexpr ulong32 kUtf8 = 65001;

// True while the thread loads the file. Loading converts text, and so does the logging of its
// exceptions: these conversions must not use the settings that are being read.
thread_local bool loading = false;
std::atomic<unsigned> threadsLoading{0};

class Loading : noncopyable {
public:
    Loading() noexcept : outer_(std::exchange(loading, true)) { ++threadsLoading; }
    ~Loading() {
        --threadsLoading;
        loading = outer_;
    }

    // Reads the thread's own flag only if some thread is loading.
    static bool here() noexcept {
        return threadsLoading.load(std::memory_order_relaxed) != 0 && loading;
    }

private:
    bool outer_;
};

}  // namespace

ulong32 upward::codepage() {
    return static_cast<ulong32>(ConfigFile::codepage());
}

ConfigFile::ConfigFile() {
    const Loading mark;
    load(getenv("OMB_CLI_CFG_FILE"));
}

unsigned long ConfigFile::codepage() {
    if (Loading::here()) return kUtf8;
    return instance().codepage_.load(std::memory_order_relaxed);
}

ConfigFile& ConfigFile::load() {
    const Loading mark;
    // Destroyed while this thread is marked as loading: the leak table may print the release.
    pml::stream config;
    if (filename_.empty()) filename_ = "p2p_config.pml";
    config.from(filename_, pml::from_file(), false);
    bool enable = true;
    config["enable"] >> enable;
    ulong32 codepage = codepage_;
    config["codepage"] >> codepage;
    config_ = config;
    enable_ = enable;
    codepage_ = codepage;
    return *this;
}

ConfigFile& ConfigFile::load(istr filename) {
    filename_ = filename;
    return load();
}

dumper& ConfigFile::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::ConfigFile");
    return d.member("enable_", enable_)
        .member("config_", config_)
        .member("mps_", mps_)
        .member("codepage_", codepage_.load());
}

}  // namespace qor
