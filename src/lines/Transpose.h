#pragma once

#include "KXPixels.h"

#include <QtCore/qglobal.h>

#include <algorithm>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lines {

namespace detail {

/// Exchanges the rows and columns of a block of 4 by 4 pixels.
inline void transpose4x4(const OPRGBA32i *from, qptrdiff fromStride, OPRGBA32i *to, qptrdiff toStride)
{
#ifdef __SSE2__
    const auto row = [&](int y) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(from + y * fromStride)); };
    const __m128i a = row(0), b = row(1), c = row(2), d = row(3);
    const __m128i abLow = _mm_unpacklo_epi32(a, b), abHigh = _mm_unpackhi_epi32(a, b);
    const __m128i cdLow = _mm_unpacklo_epi32(c, d), cdHigh = _mm_unpackhi_epi32(c, d);
    const auto put = [&](int x, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(to + x * toStride), v); };
    put(0, _mm_unpacklo_epi64(abLow, cdLow));
    put(1, _mm_unpackhi_epi64(abLow, cdLow));
    put(2, _mm_unpacklo_epi64(abHigh, cdHigh));
    put(3, _mm_unpackhi_epi64(abHigh, cdHigh));
#else
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            to[x * toStride + y] = from[y * fromStride + x];
#endif
}

} // namespace detail

/// to[x * toStride + y] = from[y * fromStride + x] for all x < @p columns and y < @p rows. Strides are in pixels.
///
/// Goes in squares of 16 by 16, which touch each cache line of either side once.
inline void transpose(
    const OPRGBA32i *from, qptrdiff fromStride, OPRGBA32i *to, qptrdiff toStride, int columns, int rows)
{
    constexpr int square = 16;
    for (int top = 0; top < rows; top += square)
        for (int left = 0; left < columns; left += square) {
            const int bottom = std::min(top + square, rows), right = std::min(left + square, columns);
            for (int y = top; y < bottom; y += 4)
                for (int x = left; x < right; x += 4) {
                    const OPRGBA32i *const source = from + y * fromStride + x;
                    OPRGBA32i *const target = to + x * toStride + y;
                    if (bottom - y >= 4 && right - x >= 4) {
                        detail::transpose4x4(source, fromStride, target, toStride);
                        continue;
                    }
                    for (int j = 0; j < std::min(bottom - y, 4); ++j)
                        for (int i = 0; i < std::min(right - x, 4); ++i)
                            target[i * toStride + j] = source[j * fromStride + i];
                }
        }
}

} // namespace lines
