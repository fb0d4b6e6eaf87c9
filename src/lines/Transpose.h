#pragma once

#include "KXPixels.h"

#include "support/Prefetch.h"

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
/// Goes along the longer side in strips of four: so a tall block of an image is read row after row, and a wide one is
/// written row after row.
inline void transpose(
    const OPRGBA32i *from, qptrdiff fromStride, OPRGBA32i *to, qptrdiff toStride, int columns, int rows)
{
    const int wholeColumns = columns & ~3, wholeRows = rows & ~3;
    const auto block = [&](int x, int y) {
        detail::transpose4x4(from + y * fromStride + x, fromStride, to + x * toStride + y, toStride);
    };
    if (rows > columns)
        for (int y = 0; y < wholeRows; y += 4) {
            memory::prefetch(from + (y + 16) * fromStride, columns, std::min(rows - y - 16, 4), fromStride);
            for (int x = 0; x < wholeColumns; x += 4)
                block(x, y);
        }
    else
        for (int x = 0; x < wholeColumns; x += 4)
            for (int y = 0; y < wholeRows; y += 4)
                block(x, y);
    for (int y = 0; y < rows; ++y) // what is left on the right and at the bottom
        for (int x = y < wholeRows ? wholeColumns : 0; x < columns; ++x)
            to[x * toStride + y] = from[y * fromStride + x];
}

} // namespace lines
