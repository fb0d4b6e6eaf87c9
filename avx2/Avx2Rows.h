#pragma once

#include "Lane8.h"
#include "compose/ModeTable.h"
#include "support/Prefetch.h"

#include <immintrin.h>

namespace compose {

/// The rows of the mode table, eight pixels at a time; the plain rows do the tail.
struct Avx2Rows {
    /// Whether the destination begins within what is still to be read. Then eight pixels must not be read before the
    /// first of them is written, as vectors do; everywhere else the order makes no difference.
    static bool readsAhead(const OPRGBA32i *read, const OPRGBA32i *written, int count)
    {
        return read && written > read && written < read + count;
    }

    /// Prefetches what long rows hold half a page further on: by itself the processor does not fetch beyond a page.
    template <class... Pixels>
    static Q_ALWAYS_INLINE void askAhead(int i, int count, const Pixels *...rows)
    {
        constexpr int distance = 512;
        if (i + distance < count)
            ((rows ? memory::prefetch(rows + i + distance, 1) : void()), ...);
    }

    template <class Mode>
    static void row(
        const OPRGBA32i *src, OPRGBA32i *dst, const OPRGBA32i *mask, int count, quint32 opacity, bool lockAlpha)
    {
        if (copiesRow<Mode>(src, dst, count, opacity, lockAlpha))
            return;
        int i = 0;
        if (opacity <= 256 && !readsAhead(src, dst, count) && !readsAhead(mask, dst, count))
            for (; i + 8 <= count; i += 8) {
                askAhead(i, count, src, dst, mask);
                const PlainCoverage<Lane8> c { opacity, lockAlpha, mask != nullptr,
                    mask ? loadAlpha8(mask + i) : Lane8(255) };
                store8(dst + i, Mode::blend(load8(src + i), load8(dst + i), c));
            }
        PlainRows::row<Mode>(src + i, dst + i, mask ? mask + i : nullptr, count - i, opacity, lockAlpha);
    }

    template <class Mode>
    static void maskedRow(const OPRGBA32i *src, const OPRGBA32i *second, OPRGBA32i *dst, const OPRGBA32i *mask1,
        const OPRGBA32i *mask2, int count, quint32 opacity, bool lockAlpha)
    {
        const auto from = [](const OPRGBA32i *row, int i) { return row ? row + i : nullptr; };
        const auto alpha = [](const OPRGBA32i *row, int i) { return row ? loadAlpha8(row + i) : Lane8(255); };
        int i = 0;
        if (opacity <= 256 && !readsAhead(src, dst, count) && !readsAhead(second, dst, count)
            && !readsAhead(mask1, dst, count) && !readsAhead(mask2, dst, count))
            for (; i + 8 <= count; i += 8) {
                askAhead(i, count, src, second, dst, mask1, mask2);
                const MaskedCoverage<Lane8> c { opacity, lockAlpha, mask1 != nullptr, mask2 != nullptr,
                    alpha(second, i), alpha(mask1, i), alpha(mask2, i) };
                store8(dst + i, Mode::blend(load8(src + i), load8(dst + i), c));
            }
        PlainRows::maskedRow<Mode>(
            src + i, from(second, i), dst + i, from(mask1, i), from(mask2, i), count - i, opacity, lockAlpha);
    }

    template <class Brush>
    static void brushRow(const OPRGBA32i *src, OPRGBA32i *dst, int count)
    {
        int i = 0;
        if (!readsAhead(src, dst, count))
            for (; i + 8 <= count; i += 8) {
                const Lane8 alpha = Brush::template alpha<Lane8>(loadAlpha8(src + i), loadAlpha8(dst + i));
                const __m256i old = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(dst + i));
                const __m256i colours = _mm256_and_si256(old, _mm256_set1_epi32(0x00FFFFFF));
                _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + i), _mm256_or_si256(colours, (alpha << 24).v));
            }
        PlainRows::brushRow<Brush>(src + i, dst + i, count - i);
    }

    static void stampRow(const OPRGBA32i *src, OPRGBA32i *dst, int count, const Stamp &stamp);
};

} // namespace compose
