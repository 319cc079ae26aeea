#ifndef QOR_CFG_CONFIG_FILE_H
#define QOR_CFG_CONFIG_FILE_H

#include <atomic>

#include "qor/pml/pml_stream.h"
#include "qor/util/singleton_T.h"

namespace qor {

class ConfigFile;
extern template class QOR_API CreateByAllocate<ConfigFile>;

// The settings of the process: a pml file that is read once, at the first use, which is often the
// first conversion of text.
//
//     config(enable(true) codepage(936) numofTimers(8000))
//
// "enable" (default true) is the master switch: with false, subsystems get no settings. "codepage"
// (default 65001) is the code page of narrow text and does not depend on the switch. All other keys
// belong to subsystems.
//
// The file is named by the environment variable OMB_CLI_CFG_FILE, or is p2p_config.pml in the
// current directory. If it does not exist, all defaults apply. A malformed file raises
// pml::DecodeException from the operation that used the settings first, such as a conversion of
// text; the next use reads the file again.
//
// Code that runs while the file is read, such as the log of its errors, converts text by page 65001
// and must not call instance().
//
// After the first use any thread may read; `load` is not guarded against readers of mps().
class QOR_API ConfigFile : noncopyable {
public:
    static ConfigFile& instance() { return *CreateByAllocate<ConfigFile>::instance(); }
    static void destroy() noexcept { CreateByAllocate<ConfigFile>::destroy(); }
    // The configured code page; 65001 on a thread that is just loading the file.
    static unsigned long codepage();

    // Reads the file again, from another name if one is given. A missing key "codepage" keeps the
    // page.
    ConfigFile& load();
    ConfigFile& load(istr filename);
    // Deliberate (compatibility): false after any load, since load adds the two keys if the file
    // lacks them. So it does not show whether there is a file.
    bool empty() const { return config_.unit().empty(); }
    // The settings: the file's root, or an empty stream when they are switched off.
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
