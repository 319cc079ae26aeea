#ifndef QOR_LOG_LOG_FACTORY_H
#define QOR_LOG_LOG_FACTORY_H

#include <iosfwd>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/interface.h"

// Loggers, and the functions that format and write an entry. docs/logging.md shows the formats, the
// switches and the keys of their configuration.

namespace qor {

class dumper;

namespace pml {
class stream;
}

// The usual tags of entries. A subsystem puts its name before them: "TCP.DEBUG".
namespace log_tag {
inline constexpr const char* Debug = "DEBUG";
inline constexpr const char* Trace = "TRACE";
inline constexpr const char* Data = "DATA";
inline constexpr const char* Diag = "DIAG";
inline constexpr const char* Comm = "COMM";
inline constexpr const char* Cmd = "CMD";
inline constexpr const char* Hb = "HB";
inline constexpr const char* Info = "INFO";
inline constexpr const char* Notice = "NOTICE";
inline constexpr const char* Warning = "<WARNING>";
inline constexpr const char* Error = "<ERROR>";
inline constexpr const char* FatalError = "<FATALERROR>";
}  // namespace log_tag

// A set of switches, and the file for the entries. Test a switch first, and only then build the
// text and call a writer:
//
//     logger& log = logger_factory::instance("QOR");
//     if (log.infoOn()) writeInfoLog(log, __FILE__, __LINE__, "qor::Pump::open", "open", "INFO");
//
// While debugOn() is off, traceOn(), msgLogOn() and the switches from dataLogOn() to hbLogOn() are
// off too. A logger without a file drops its entries. Failures are not reported.
//
// Any thread may use a logger at any time. Entries of several threads are never mixed.
class QOR_API logger : public virtual Interface {
public:
    // Closes the file; open() may be called again.
    virtual void close() = 0;
    // Opens the file for the entries, unless the logger already has one. A name without a separator
    // of paths is in the directory of the program; another relative name is in the directory that
    // was the working directory when the process first opened that name.
    virtual void open(istr fileName) = 0;
    // Writes the text as one line, unchanged, up to its first zero.
    virtual void write(istr text) = 0;

    virtual bool infoOn() const = 0;
    virtual void infoOn(bool on) = 0;
    virtual bool debugOn() const = 0;
    virtual void debugOn(bool on) = 0;
    virtual bool traceOn() const = 0;
    virtual void traceOn(bool on) = 0;
    // These are set by the configuration only.
    virtual bool dataLogOn() const = 0;
    virtual bool debugLogOn() const = 0;
    virtual bool traceLogOn() const = 0;
    virtual bool diagLogOn() const = 0;
    virtual bool cmdLogOn() const = 0;
    virtual bool commLogOn() const = 0;
    virtual bool hbLogOn() const = 0;

    // Switches by the name of an application, which is often a tag. While appLogOn() is off, all of
    // them are off. Deliberate (compatibility): for a name without a switch both appLog and
    // appLogOff are false.
    virtual bool appLogOn() const = 0;
    virtual void appLogOn(bool on) = 0;
    virtual bool appLog(const String& name) const = 0;
    virtual void appLog(const String& name, bool on) = 0;
    virtual bool appLogOff(const String& name) const = 0;
    // The same by the name of a message; names without a switch use the switch "default".
    virtual bool msgLogOn() const = 0;
    virtual void msgLogOn(bool on) = 0;
    virtual bool msgLog(const String& name) const = 0;
    virtual void msgLog(const String& name, bool on) = 0;
    virtual bool msgLogOff(const String& name) const = 0;

    // The number of bytes of a text or of data that a dumper shows at most.
    virtual unsigned long maxStringSize() const = 0;
    virtual std::string name() const = 0;
    // Reads or writes all switches, as the stream's direction says. Switches that the input lacks
    // are unchanged.
    virtual void codec(pml::stream& s) = 0;
    virtual dumper& dump(dumper& d) const = 0;
    virtual void dump(std::ostream& os) const = 0;

    // Settings of the file; without a file they do nothing. level: the highest level that is
    // written (a logger's entries have level 2). maxFileSize: the size in KiB at which the file is
    // rotated. maxFileCount: the number of old files that are kept. The two ignore values less than
    // 1.
    virtual void level(int n) = 0;
    virtual void maxFileSize(int kibibytes) = 0;
    virtual void maxFileCount(int count) = 0;
};

// The loggers of the process, by their names.
class QOR_API logger_factory {
public:
    logger_factory() = delete;
    static void create();
    // Closes all loggers and resets their switches. References stay valid, and instance returns the
    // same objects again; a logger drops its entries until open() is called for it.
    static void destroy() noexcept;
    // The logger of that name, created at the first call. It may be called at any time, even before
    // init and after fini.
    static logger& instance(const std::string& name);
};

// `d << LOGGER_FACTORY()` writes all loggers.
struct LOGGER_FACTORY {};
QOR_API dumper& operator<<(dumper& d, LOGGER_FACTORY);

// The writers. They do not test a switch: the caller does. Null texts are empty, and no text is
// used as a format. They never raise: if memory runs out, the entry is dropped.

// The text alone.
QOR_API void writeDataLog(logger& log, const char* file, unsigned line, const char* tag,
                          istr text) noexcept;
// "[tag]{thread}[function] text"; on a thread that is not a SimpleThread, "{thread}" is missing.
QOR_API void writeDebugLog(logger& log, const char* file, unsigned line, const char* func,
                           istr text, const char* tag = log_tag::Debug) noexcept;
// "[tag]{thread}function() text", the function without its scope.
QOR_API void writeInfoLog(logger& log, const char* file, unsigned line, const char* func, istr text,
                          const char* tag = log_tag::Info) noexcept;
// A line of 118 columns: left and middle, then the fill character, then right at the right end. A
// longer line has no fill characters.
QOR_API void writeEntryLog(logger& log, istr left, istr middle, istr right, char fill) noexcept;

// Blocks between two horizontal lines of 118 columns: the title, the cause, the place, the call
// stack.
QOR_API void writeErrorLog(logger& log, const char* file, unsigned line, const char* func,
                           istr cause, istr title = "ERROR") noexcept;
QOR_API void writeExcptLog(logger& log, const char* file, unsigned line, const char* func,
                           istr text) noexcept;
QOR_API void exceptionThrown(logger& log, const char* file, unsigned line, const char* func,
                             istr text) noexcept;
// The action may be null.
QOR_API void assertFailure(logger& log, const char* condition, const char* file, unsigned line,
                           const char* func, const char* action) noexcept;
QOR_API void ensureFailure(logger& log, const char* condition, const char* file, unsigned line,
                           const char* func, const char* action) noexcept;
// A block with any texts. For a null header or trailer its horizontal line is not written; for an
// empty one it is. An empty title or subtitle is not written.
QOR_API void writeLog(logger& log, const char* header, istr title, istr text, istr subtitle,
                      const char* trailer) noexcept;

}  // namespace qor

#endif  // QOR_LOG_LOG_FACTORY_H
