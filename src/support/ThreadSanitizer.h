#pragma once

#if defined(__SANITIZE_THREAD__)
#define KXCORE_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KXCORE_THREAD_SANITIZER
#endif
#endif

#ifdef KXCORE_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

/// Tells the thread sanitizer what it cannot see: Qt is not built for it, so where Qt hands an object from one thread
/// to another the order looks like chance. In every other build these functions are empty.
namespace support {

/// What this thread has done so far is seen by the thread that takes @p object over.
inline void handOver([[maybe_unused]] void *object)
{
#ifdef KXCORE_THREAD_SANITIZER
    __tsan_release(object);
#endif
}

inline void takeOver([[maybe_unused]] void *object)
{
#ifdef KXCORE_THREAD_SANITIZER
    __tsan_acquire(object);
#endif
}

} // namespace support
