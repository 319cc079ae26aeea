#ifndef QOR_SRC_BASE_VERSION_H
#define QOR_SRC_BASE_VERSION_H

namespace qor {

extern const char* const kVersion;
extern const char* const kCompiledAt;

}  // namespace qor

#endif  // QOR_SRC_BASE_VERSION_H
