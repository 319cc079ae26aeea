#ifndef QOR_TESTS_SUPPORT_EXAMPLE_H
#define QOR_TESTS_SUPPORT_EXAMPLE_H

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <string>

#include "support/temp_dir.h"

namespace support {

// The surroundings of an example of the documentation: an empty directory, and what it prints.
class Example {
public:
    Example() {
        std::filesystem::current_path(dir_.path());
        testing::internal::CaptureStdout();
    }
    ~Example() {
        if (!taken_) printed();
        std::filesystem::current_path(before_);
    }

    // What has been printed so far. Once.
    std::string printed() {
        taken_ = true;
        std::cout.flush();
        return testing::internal::GetCapturedStdout();
    }

private:
    const std::filesystem::path before_ = std::filesystem::current_path();
    const TempDir dir_;
    bool taken_ = false;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_EXAMPLE_H
