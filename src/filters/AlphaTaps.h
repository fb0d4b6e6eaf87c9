#pragma once

#include "KXPixels.h"

#include "support/Arithmetic.h"

#include <QtCore/qglobal.h>

#include <algorithm>

namespace filters {

/// Sets the alpha of @p length pixels to sums of samples, truncated to a byte: that of pixel i to samples[i] * taps[0]
/// + samples[i + stride] * taps[1] + ..., summed in this order, in single precision. Colours stay.
///
/// The sums of many pixels are taken side by side, a tap at a time: the order within each of them is kept.
inline void sumAlphaTaps(
    const float *samples, qptrdiff stride, const float *taps, int tapCount, OPRGBA32i *pixels, int length)
{
    constexpr int width = 64;
    for (int first = 0; first < length; first += width) {
        const int count = std::min(width, length - first);
        float sums[width] = {};
        for (int tap = 0; tap < tapCount; ++tap) {
            const float *const under = samples + first + tap * stride;
            for (int i = 0; i < count; ++i)
                sums[i] += under[i] * taps[tap];
        }
        for (int i = 0; i < count; ++i)
            pixels[first + i].a = static_cast<unsigned char>(arithmetic::clamp8(arithmetic::truncate(sums[i])));
    }
}

} // namespace filters
