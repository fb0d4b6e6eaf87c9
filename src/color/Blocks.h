#pragma once

#include "BaseTransformation.h"

#include <algorithm>
#include <cstring>

/// What callers and kernels of the block forms of BaseTransformation agree on: a block is exactly @c length pixels, at
/// any address. So the cost of a call is spread over many pixels, and no kernel has to treat a tail. The flag has no
/// meaning: callers pass @c flag, kernels ignore it.
namespace blocks {

constexpr int length = BaseTransformation::BlockLength; ///< as long as a row of a tile
constexpr bool flag = false;

/// Calls @p block on each whole block of @p count pixels and, for what remains, on a padded copy. @p block gets the
/// pixels and the index of the first one.
template <class Block>
void forEach(OPRGBA32i *pixels, int count, const Block &block)
{
    int i = 0;
    for (; i + length <= count; i += length)
        block(reinterpret_cast<unsigned char *>(pixels + i), i);
    if (i < count) {
        OPRGBA32i padded[length];
        const size_t bytes = size_t(count - i) * sizeof *pixels;
        std::memcpy(static_cast<void *>(padded), pixels + i, bytes);
        block(reinterpret_cast<unsigned char *>(padded), i);
        std::memcpy(static_cast<void *>(pixels + i), padded, bytes);
    }
}

/// Applies @p transformation to @p count pixels in place: by its kernel where it has one, otherwise pixel by pixel.
inline void apply(const BaseTransformation &transformation, OPRGBA32i *pixels, int count)
{
    if (transformation.HasKernel())
        forEach(pixels, count, [&](unsigned char *block, int) { transformation(block, flag); });
    else
        std::for_each(pixels, pixels + count, [&](OPRGBA32i &pixel) { transformation(pixel); });
}

/// The same for a transformation that depends on the position; the first pixel stands at (@p x, @p y).
inline void applyAt(const BaseTransformation &transformation, int x, int y, OPRGBA32i *pixels, int count)
{
    if (transformation.HasKernel())
        forEach(pixels, count, [&](unsigned char *block, int i) { transformation(x + i, y, block, flag); });
    else
        for (int i = 0; i < count; ++i)
            transformation(x + i, y, pixels[i]);
}

} // namespace blocks
