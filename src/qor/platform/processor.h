#ifndef QOR_SRC_PLATFORM_PROCESSOR_H
#define QOR_SRC_PLATFORM_PROCESSOR_H

namespace qor::platform {

// Whether code for the vector units of this processor may be used. False if the environment
// variable QOR_PORTABLE is "on": tests set it to run the portable code on every machine. Each kind
// of vector code asks once.
bool vectorsAllowed() noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_PROCESSOR_H
