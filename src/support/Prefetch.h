#pragma once

#include "KXPixels.h"

#include <QtCore/qglobal.h>

/// Asks for memory before it is needed. The processor foresees how a row goes on, but not beyond the page (of 4 KiB) that
/// it lies in: neither the next rows of a tile nor a row that lies pages further.
namespace memory {

constexpr int linePixels = 16; ///< pixels of a cache line

/// Asks for the cache lines of @p count pixels in each of @p rows rows, @p stride pixels apart. Any address will do.
/// Always inline, like what calls it in a loop: a compiler takes a function that does nothing else for one without effect.
Q_ALWAYS_INLINE void prefetch(const OPRGBA32i *pixels, int count, int rows = 1, qptrdiff stride = 0)
{
    for (int row = 0; row < rows; ++row)
        for (int x = 0; x < count; x += linePixels)
            __builtin_prefetch(reinterpret_cast<const void *>(quintptr(pixels) + quintptr((row * stride + x) * 4)));
}

} // namespace memory
