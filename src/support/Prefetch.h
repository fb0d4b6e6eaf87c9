#pragma once

#include <QtCore/qglobal.h>

/// Asks for memory before it is needed. By itself the processor fetches ahead along a row, but only to the end of the
/// page (of 4 KiB) that it lies in, and it foresees no jump to another row.
namespace memory {

constexpr int lineBytes = 64; ///< of a cache line

/// Asks for the cache lines of @p count pixels in each of @p rows rows, @p stride pixels apart. Any address will do.
/// Always inline, like what calls it in a loop: to a compiler, a function that only prefetches has no effect, and its
/// calls may be dropped.
template <class Pixel>
Q_ALWAYS_INLINE void prefetch(const Pixel *pixels, int count, int rows = 1, qptrdiff stride = 0)
{
    constexpr qptrdiff pixelBytes = sizeof(Pixel);
    for (int row = 0; row < rows; ++row)
        for (int x = 0; x < count; x += lineBytes / int(pixelBytes))
            __builtin_prefetch(
                reinterpret_cast<const void *>(quintptr(pixels) + quintptr((row * stride + x) * pixelBytes)));
}

} // namespace memory
