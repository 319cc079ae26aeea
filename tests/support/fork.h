#ifndef QOR_TESTS_SUPPORT_FORK_H
#define QOR_TESTS_SUPPORT_FORK_H

namespace support {

// Whether a child can allocate that was forked while another thread did so too. The address
// sanitizer's allocator may leave it with a lock that nobody gives back.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool forksBesideAllocations = false;
#else
inline constexpr bool forksBesideAllocations = true;
#endif

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_FORK_H
