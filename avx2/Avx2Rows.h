#pragma once

#include "KXImage.h"
#include "Lane16.h"
#include "compose/ModeTable.h"
#include "support/Prefetch.h"

#include <algorithm>
#include <cstring>
#include <immintrin.h>

namespace compose {

/// The rows of the mode table, eight pixels at a time; the plain rows do the tail.
struct Avx2Rows {
    static constexpr int cacheLine = 16, group = 32; ///< pixels
    static constexpr int stretch = 128; ///< pixels; so far a loop that blends goes at most, with constants in registers

    /// Whether the destination begins within what is still to be read. Then eight pixels must not be read before the
    /// first of them is written, as vectors do; everywhere else the order makes no difference.
    static bool readsAhead(const OPRGBA32i *read, const OPRGBA32i *written, int count)
    {
        return read && written > read && written < read + count;
    }

    /// Prefetches as many @p pixels of long rows, @p distance further on, where @p i is a multiple of them: in rows
    /// that several threads take in turn the processor does not fetch beyond a page by itself. Blending asks for one
    /// cache line at a time, as more of them at once wait for one another. Pixels that are only looked at go by faster
    /// and have to be asked for earlier. Through a whole tile the processor keeps ahead by itself, and asking only
    /// costs time, unless its pixels are skipped.
    enum Distance { WhenBlending = 512, WhenLooking = 1024, WhenSkippingTile = 2048 };
    static constexpr int wholeTile = RGBA32iImage::TileWidth * RGBA32iImage::TileHeight;
    template <Distance distance, int pixels, class... Pixels>
    static Q_ALWAYS_INLINE void askAhead(int i, int count, const Pixels *...rows)
    {
        if (i % pixels == 0 && i + distance < count && (count == wholeTile) == (distance == WhenSkippingTile))
            ((rows ? memory::prefetch(rows + i + distance, pixels) : void()), ...);
    }

    template <class Mode>
    static void row(const LayerRows &rows, int count, const Blending &blending)
    {
        if (copiesRow<Mode>(rows, count, blending))
            return;
        const int done = rows.clip ? blend8<Mode, Plain8<true>>(rows, count, blending)
                                   : blend8<Mode, Plain8<false>>(rows, count, blending);
        PlainRows::row<Mode>(rows.From(done), count - done, blending);
    }

    template <class Mode>
    static void maskedRow(const LayerRows &rows, int count, const Blending &blending)
    {
        const int done = blend8<Mode, Masked8>(rows, count, blending);
        PlainRows::maskedRow<Mode>(rows.From(done), count - done, blending);
    }

    template <class Brush>
    static void brushRow(const OPRGBA32i *src, OPRGBA32i *dst, int count)
    {
        int i = 0;
        if (!readsAhead(src, dst, count))
            for (; i + 8 <= count; i += 8) {
                const Lane8 alpha = Brush::template alpha<Lane8>(loadAlpha8(src + i), loadAlpha8(dst + i));
                const __m256i old = loadWords8(dst + i);
                const __m256i colours = _mm256_and_si256(old, _mm256_set1_epi32(0x00FFFFFF));
                _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + i), _mm256_or_si256(colours, (alpha << 24).v));
            }
        PlainRows::brushRow<Brush>(src + i, dst + i, count - i);
    }

    static void stampRow(const OPRGBA32i *src, OPRGBA32i *dst, int count, const Stamp &stamp);

private:
    static constexpr quint64 bothAlphas = 0xFF000000FF000000;
    /// The alphas of two pixels, where they lie in them. Those of a group's first two mostly decide what kind it is of,
    /// without the vector units, which the blending before and after keeps busy.
    static quint64 alphasOfTwo(const OPRGBA32i *p)
    {
        quint64 words;
        std::memcpy(&words, p, sizeof words);
        return words & bothAlphas;
    }
    /// Whether all pixels of a group have an alpha of 0: in one look, for where they most likely do.
    static bool hasNoAlpha(const OPRGBA32i *p)
    {
        const __m256i any = _mm256_or_si256(
            _mm256_or_si256(loadWords8(p), loadWords8(p + 8)), _mm256_or_si256(loadWords8(p + 16), loadWords8(p + 24)));
        return _mm256_testz_si256(any, _mm256_set1_epi32(int(0xFF000000)));
    }
    /// Whether all pixels of a group have an alpha of 0, or of 255, or none of 0.
    static bool isTransparentGroup(const OPRGBA32i *p) { return alphasOfTwo(p) == 0 && hasNoAlpha(p); }
    static bool isOpaqueGroup(const OPRGBA32i *p)
    {
        if (alphasOfTwo(p) != bothAlphas)
            return false;
        const __m256i all = _mm256_and_si256(_mm256_and_si256(loadWords8(p), loadWords8(p + 8)),
            _mm256_and_si256(loadWords8(p + 16), loadWords8(p + 24)));
        return _mm256_testc_si256(all, _mm256_set1_epi32(int(0xFF000000)));
    }
    static bool isVisibleGroup(const OPRGBA32i *p)
    {
        const __m256i least = _mm256_min_epu8(
            _mm256_min_epu8(loadWords8(p), loadWords8(p + 8)), _mm256_min_epu8(loadWords8(p + 16), loadWords8(p + 24)));
        const __m256i zero = _mm256_cmpeq_epi8(least, _mm256_setzero_si256());
        return _mm256_testz_si256(zero, _mm256_set1_epi32(int(0xFF000000)));
    }

    /// What covers eight pixels in the plain form.
    template <bool hasClip>
    struct Plain8 {
        static constexpr bool isMasked = false, mayBeClipped = hasClip;
        LayerRows rows;
        Blending blending;

        PlainCoverage<Lane8> At(int i) const
        {
            return { blending.opacity, blending.lockAlpha, hasClip, hasClip ? loadAlpha8(rows.clip + i) : Lane8(255) };
        }
        bool HidesGroup(int i) const { return hasClip && isTransparentGroup(rows.clip + i); }
    };

    struct Masked8 {
        static constexpr bool isMasked = true, mayBeClipped = true;
        LayerRows rows;
        Blending blending;

        MaskedCoverage<Lane8> At(int i) const
        {
            const auto alpha = [i](const OPRGBA32i *row) { return row ? loadAlpha8(row + i) : Lane8(255); };
            return { blending.opacity, blending.lockAlpha, rows.clip != nullptr, rows.secondMask != nullptr,
                alpha(rows.mask), alpha(rows.clip), alpha(rows.secondMask) };
        }
        bool HidesGroup(int i) const
        {
            const auto hides = [i](const OPRGBA32i *row) { return row && isTransparentGroup(row + i); };
            return hides(rows.mask) || (rows.clip && (hides(rows.clip) || hides(rows.secondMask)));
        }
    };

    /// Leaves of a group of pixels what a mode keeps where nothing is laid on them.
    static void keepGroup(OPRGBA32i *dst, Kept kept)
    {
        if (kept == Kept::All || isVisibleGroup(dst))
            return;
        const __m256i noAlpha = _mm256_set1_epi32(0x00FFFFFF);
        for (int i = 0; i < group; i += 8) {
            const __m256i words = loadWords8(dst + i);
            const __m256i hidden = _mm256_cmpeq_epi32(_mm256_or_si256(words, noAlpha), noAlpha);
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(dst + i), _mm256_andnot_si256(hidden, words));
        }
    }

    /// Blends eight pixels at a time and returns how many it did. Layers are opaque or empty for long stretches: what
    /// kind of pixels lies ahead is asked group by group, and each kind has a loop of its own. All that it calls is
    /// compiled into it: a mode whose formula was called for each eight pixels took a third longer.
    template <class Mode, class Covering>
    [[gnu::flatten]] static int blend8(const LayerRows &rows, int count, const Blending &blending)
    {
        const OPRGBA32i *const src = rows.source;
        const OPRGBA32i *const clip = Covering::mayBeClipped ? rows.clip : nullptr;
        const OPRGBA32i *const mask = Covering::isMasked ? rows.mask : nullptr;
        const OPRGBA32i *const secondMask = Covering::isMasked ? rows.secondMask : nullptr;
        OPRGBA32i *const dst = rows.destination;
        if (blending.opacity > 256 || readsAhead(src, dst, count) || readsAhead(clip, dst, count)
            || readsAhead(mask, dst, count) || readsAhead(secondMask, dst, count))
            return 0;
        const Covering covering { rows, blending };
        const Uncovered uncovered = Mode::uncovered(blending.lockAlpha);
        const auto kept = [&](int i) {
            if (uncovered.bySource != Kept::Nothing && isTransparentGroup(rows.source + i))
                return uncovered.bySource;
            return uncovered.byMask != Kept::Nothing && covering.HidesGroup(i) ? uncovered.byMask : Kept::Nothing;
        };
        const auto isOpaqueBelow = [&](int i) {
            return isSimplerOnOpaque<Mode> && isOpaqueGroup(rows.destination + i);
        };
        const int inGroups = count - count % group, inVectors = count - count % 8;
        // The end of a stretch of groups from i on that belong together.
        const auto endOf = [&](int i, const auto &belongs) {
            const int limit = std::min(i + stretch, inGroups);
            while (i < limit && belongs(i))
                i += group;
            return i;
        };
        // Blends from i to end, one cache line after another.
        const auto blendTo = [&](int &i, int end, const auto &blendEight) {
            for (; i < end; i += cacheLine) {
                askAhead<WhenBlending, cacheLine>(i, count, src, dst, clip, mask, secondMask);
                blendEight(i);
                if (i + 8 < end)
                    blendEight(i + 8);
            }
            i = end;
        };
        int i = 0;
        while (i < inVectors) {
            if (uncovered.bySource == Kept::All && alphasOfTwo(src + i) == 0) // nothing to do but to look
                for (; i < inGroups && hasNoAlpha(src + i); i += group) {
                    askAhead<WhenLooking, group>(i, count, src);
                    askAhead<WhenSkippingTile, group>(i, count, src);
                }
            for (Kept what; i < inGroups && (what = kept(i)) != Kept::Nothing; i += group) {
                askAhead<WhenLooking, group>(i, count, src, clip, mask, secondMask);
                if (what != Kept::All)
                    askAhead<WhenLooking, group>(i, count, dst);
                keepGroup(dst + i, what);
            }
            if constexpr (isSimplerOnOpaque<Mode>) {
                const int end = endOf(i, [&](int k) { return isOpaqueBelow(k) && kept(k) == Kept::Nothing; });
                blendTo(i, end, [&](int k) {
                    if constexpr (Mode::mixFits16Bits)
                        blendOnOpaque16<Mode>(src + k, dst + k, covering.At(k));
                    else
                        store8(dst + k, blendOnOpaque<Mode>(load8(src + k), load8(dst + k), covering.At(k)));
                });
            }
            int end = endOf(i, [&](int k) { return !isOpaqueBelow(k) && kept(k) == Kept::Nothing; });
            if (end == inGroups)
                end = inVectors;
            blendTo(
                i, end, [&](int k) { store8(dst + k, Mode::blend(load8(src + k), load8(dst + k), covering.At(k))); });
        }
        return i;
    }
};

} // namespace compose
