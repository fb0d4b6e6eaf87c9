#pragma once

#include "LineChunks.h"
#include "Quarters.h"
#include "Scratch.h"
#include "SymmetricTaps.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <vector>

/// The places where long, flat taps change. From one pixel to the next the sum changes only by the samples at these
/// places, each times the change of the taps there: out[i + 1] - out[i] = sum of (k[m - 1] - k[m]) * x[i + m].
class Staircase {
public:
    /// The places are looked for only where a line of @p length pixels may be done sooner with them. With more taps
    /// than a chunk takes, a short one may be too: the only other form is the library's own.
    Staircase(const std::vector<short> &taps, unsigned length)
        : m_taps(taps)
        , m_isFlat(taps.size() >= 64 && length >= (taps.size() > chunks::maxTaps ? 32 : 256))
    {
        for (std::size_t m = 0; m <= taps.size() && m_isFlat; ++m) {
            const int change = (m > 0 ? taps[m - 1] : 0) - (m < taps.size() ? taps[m] : 0);
            m_isFlat = (change > 0 ? m_added : m_taken).Insert(int(m), std::abs(change));
        }
    }

    /// Whether a line is done sooner this way than by the whole sum for each pixel.
    bool Pays() const { return m_isFlat && 3 * std::size_t(m_added.count + m_taken.count) < 4 * m_taps.size(); }

    /// Convolves a line; false where there is no memory.
    bool Convolve(const unsigned *source, unsigned *destination, int length) const
    {
        constexpr int group = 8;
        const int taps = int(m_taps.size()), quarter = ((length + 3) / 4 + group - 1) / group * group;
        Scratch<unsigned, 8192> padding(std::size_t(length) + m_taps.size() + 3); // three more, which may be anything
        Scratch<quarters::Element, 2048> scratch(std::size_t(quarter) + m_taps.size() + 4);
        unsigned *const padded = padding.Data();
        quarters::Element *const line = scratch.Data();
        if (!padded || !line)
            return false;
        std::fill_n(std::copy_n(source, length + taps - 1, padded), 4, 0u);
        const quarters::Starts starts(length, quarter);
        quarters::expand(padded, starts, quarter + taps, line, [](__m256i pixels) { return pixels; });
        unsigned *to[4];
        for (int k = 0; k < 4; ++k)
            to[k] = destination + starts.at[k];

        symmetric::Sums sums; // of the current element
        const __m256i zero = _mm256_setzero_si256();
        for (int j = 0; j < taps; ++j)
            sums.Add(line[j].v, zero, _mm256_set1_epi32(m_taps[std::size_t(j)] & 0xFFFF));
        const auto next = [&sums](__m256i change) {
            const __m256i words = sums.Words(), sign = _mm256_srai_epi16(change, 15);
            sums.low = _mm256_add_epi32(sums.low, _mm256_unpacklo_epi16(change, sign));
            sums.high = _mm256_add_epi32(sums.high, _mm256_unpackhi_epi16(change, sign));
            return words;
        };
        for (int i = 0; i < quarter; i += group) {
            __m256i changes[group];
            std::fill(std::begin(changes), std::end(changes), zero);
            for (const int m : m_added)
                for (int g = 0; g < group; ++g)
                    changes[g] = _mm256_add_epi16(changes[g], line[i + m + g].v);
            for (const int m : m_taken)
                for (int g = 0; g < group; ++g)
                    changes[g] = _mm256_sub_epi16(changes[g], line[i + m + g].v);
            for (int g = 0; g < group; g += 2) {
                const __m256i first = next(changes[g]), second = next(changes[g + 1]);
                quarters::store(to, i + g, quarters::interleaved(_mm256_packus_epi16(first, second)));
            }
        }
        return true;
    }

private:
    /// Places, each as many times as the taps change by 1 there.
    struct Steps {
        /// Steps up, and steps down: with that many a change is at most 128 * 255 = 32640, which fits 16 bits.
        static constexpr int maximum = 128;

        bool Insert(int place, int times)
        {
            if (times > maximum - count)
                return false;
            std::fill_n(places + count, times, place);
            count += times;
            return true;
        }
        const int *begin() const { return places; }
        const int *end() const { return places + count; }

        int places[maximum], count = 0;
    };

    const std::vector<short> &m_taps;
    bool m_isFlat;
    Steps m_added, m_taken;
};
