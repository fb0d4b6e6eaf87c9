#pragma once

#include "Vectors.h"
#include "lines/ConvolutionKernels.h"

#include "KXPixels.h"

/// Columns of a picture side by side, eight to a vector. What of the last vector lies beyond them is neither read nor
/// written.
class ColumnStrips {
public:
    static constexpr int columns = 8; ///< of a strip
    static constexpr int maximum = lines::columns::width / columns; ///< of a block
    /// Rows lie in different pages, which the processor does not foresee: they are prefetched so many rows ahead.
    static constexpr int prefetchRows = 16;

    explicit ColumnStrips(int count)
        : m_whole(count / columns)
        , m_isPart(_mm256_cmpgt_epi32(_mm256_set1_epi32(count % columns), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)))
        , m_hasPart(count % columns > 0)
    {
    }

    /// Calls step(strip, load, store) for each strip, with what loads and stores its pixels.
    template <class Step>
    void ForEach(Step step) const
    {
        for (int s = 0; s < m_whole; ++s)
            step(s, vectors::load, vectors::store);
        if (!m_hasPart)
            return;
        const auto load = [isPart = m_isPart](const OPRGBA32i *p) {
            return _mm256_maskload_epi32(reinterpret_cast<const int *>(p), isPart);
        };
        const auto store = [isPart = m_isPart](OPRGBA32i *p, __m256i v) {
            _mm256_maskstore_epi32(reinterpret_cast<int *>(p), isPart, v);
        };
        step(m_whole, load, store);
    }

private:
    int m_whole;
    __m256i m_isPart;
    bool m_hasPart;
};
