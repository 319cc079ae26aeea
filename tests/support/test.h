#ifndef QOR_TESTS_SUPPORT_TEST_H
#define QOR_TESTS_SUPPORT_TEST_H

// What a test file of any area needs: it includes the header that it tests, then this one.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <ranges>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "qor/qor.h"
#include "support/allocation.h"
#include "support/hex.h"
#include "support/log_file.h"
#include "support/machine.h"
#include "support/raised.h"
#include "support/shown.h"
#include "support/temp_dir.h"

// Tests are in the namespace qor, or in one inside it. A name of the library hides one of these.
namespace support {}
namespace qor {
using namespace ::support;
}

#endif  // QOR_TESTS_SUPPORT_TEST_H
