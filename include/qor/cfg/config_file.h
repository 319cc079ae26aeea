#ifndef QOR_CFG_CONFIG_FILE_H
#define QOR_CFG_CONFIG_FILE_H

#include <atomic>

#include "qor/pml/pml_stream.h"
#include "qor/util/singleton_T.h"

namespace qor {

class ConfigFile;
extern template class QOR_API CreateByAllocate<ConfigFile>;

// The settings of the process: a pml file that is read at the first use, which is often the first
// conversion of text.
//
//     config(enable(true) codepage(936) numofTimers(8000))
//
// "enable" (default true) is the main switch: if it is false, mps() has no settings. "codepage"
// (default 65001) is the code page of narrow text and does not depend on the switch. All other keys
// belong to subsystems.
//
// The environment variable OMB_CLI_CFG_FILE names the file; the default is p2p_config.pml in the
// current directory. If the file does not exist, all defaults apply. If it is malformed, the
// operation that used the settings first, such as a conversion of text, raises
// pml::DecodeException, or pml::ntv::DuplicatedUnitException for a repeated key; the next use reads
// the file again.
//
// While a thread reads the file, its conversions of text, such as those for the log, use code page
// 65001, and it must not call instance().
//
// Any thread may read the settings. `load` takes no lock: meanwhile no other thread may load, or
// use mps(), empty() or dump().
class QOR_API ConfigFile : noncopyable {
public:
    static ConfigFile& instance() { return *CreateByAllocate<ConfigFile>::instance(); }
    static void destroy() noexcept { CreateByAllocate<ConfigFile>::destroy(); }
    // The configured code page; 65001 while the calling thread reads the file.
    static unsigned long codepage();

    // Read the file again, or another file. If the key "codepage" is missing, the page is
    // unchanged. If they raise, all settings are; the other file is then the one that load() reads.
    // Its name is UTF-8.
    ConfigFile& load();
    ConfigFile& load(istr filename);
    // Deliberate (compatibility): false after any load, since load adds the two keys if the file
    // lacks them. So it does not show whether there is a file.
    bool empty() const { return config_.unit().empty(); }
    // The settings: the root of the file, or an empty stream if "enable" is false.
    const pml::stream& mps() const noexcept { return enable_ ? config_ : mps_; }
    dumper& dump(dumper& d) const;

private:
    friend CreateByAllocate<ConfigFile>;
    ConfigFile();
    ~ConfigFile() = default;

    bool enable_ = false;
    String filename_;
    pml::stream config_;
    pml::stream mps_;  // always empty
    std::atomic<ulong32> codepage_{65001};
};

}  // namespace qor

#endif  // QOR_CFG_CONFIG_FILE_H
