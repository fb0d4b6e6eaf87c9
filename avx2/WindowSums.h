#pragma once

#include <immintrin.h>

// The sums of a window that slides over samples of 16 bits, and their means. Samples are added until the window holds
// all but one of its size; each step then takes one in and one out.

/// Divides the sums of a window by its size, 2 * radius + 1.
///
/// Narrow: sums fit 16 bits, which is so up to a size of 257. A 16-bit number n is divided by d, which is not a power
/// of two, with s = floor(log2 d):
///
///     n * ceil(2^(16+s) / d) >> (16+s)            where 2^(16+s) lies at most 2^s below a multiple of d
///     (n + 1) * floor(2^(16+s) / d) >> (16+s)     everywhere else
///
/// Division by 1 is the second form with s = 0 and the factor 65535. n + 1 cannot wrap: the largest sum,
/// 255 * 257 = 65535, belongs to a size of the first form.
class NarrowWindow {
public:
    static constexpr int maximumSize = 257;

    explicit NarrowWindow(int size)
    {
        int shift = 0;
        while (size >> (shift + 1))
            ++shift;
        const unsigned power = 1u << (16 + shift), d = unsigned(size);
        const bool up = size > 1 && (d - power % d) <= 1u << shift;
        m_factor = _mm256_set1_epi16(short(size == 1 ? 65535 : power / d + up));
        m_increment = _mm256_set1_epi16(up ? 0 : 1);
        m_shift = _mm_cvtsi32_si128(shift);
    }

    void Add(__m256i sample) { m_sum = _mm256_add_epi16(m_sum, sample); }
    void AddRepeated(__m256i sample, int times) { Add(_mm256_mullo_epi16(sample, _mm256_set1_epi16(short(times)))); }
    void Slide(__m256i in, __m256i out) { m_sum = _mm256_add_epi16(m_sum, _mm256_sub_epi16(in, out)); }
    __m256i Means() const
    {
        const __m256i n = _mm256_add_epi16(m_sum, m_increment);
        return _mm256_srl_epi16(_mm256_mulhi_epu16(n, m_factor), m_shift);
    }

private:
    __m256i m_sum = _mm256_setzero_si256();
    __m256i m_factor, m_increment;
    __m128i m_shift;
};

/// Wide: sums n have 32 bits, n <= 255 * size. The quotient is trunc((n + 0.5) * (1 / size)), in a precision in which
/// that is exact: see the two forms of @p Mean below.
template <class Mean>
class WideWindow {
public:
    static constexpr int maximumSize = Mean::maximumSize;

    explicit WideWindow(int size)
        : m_mean(size)
    {
    }

    void Add(__m256i sample)
    {
        m_low = _mm256_add_epi32(m_low, _mm256_unpacklo_epi16(sample, _mm256_setzero_si256()));
        m_high = _mm256_add_epi32(m_high, _mm256_unpackhi_epi16(sample, _mm256_setzero_si256()));
    }
    void AddRepeated(__m256i sample, int times)
    {
        const __m256i zero = _mm256_setzero_si256(), factor = _mm256_set1_epi32(times);
        m_low = _mm256_add_epi32(m_low, _mm256_mullo_epi32(_mm256_unpacklo_epi16(sample, zero), factor));
        m_high = _mm256_add_epi32(m_high, _mm256_mullo_epi32(_mm256_unpackhi_epi16(sample, zero), factor));
    }
    void Slide(__m256i in, __m256i out)
    {
        const __m256i change = _mm256_sub_epi16(in, out), sign = _mm256_srai_epi16(change, 15);
        m_low = _mm256_add_epi32(m_low, _mm256_unpacklo_epi16(change, sign));
        m_high = _mm256_add_epi32(m_high, _mm256_unpackhi_epi16(change, sign));
    }
    __m256i Means() const { return _mm256_packus_epi32(m_mean(m_low), m_mean(m_high)); }

private:
    __m256i m_low = _mm256_setzero_si256(), m_high = _mm256_setzero_si256();
    Mean m_mean;
};

/// In single precision, exact below a size of 16384. There n < 2^22, so n + 0.5 has no rounding; those of the
/// reciprocal and of the product are off by less than 256 * 2^-23 = 0.5 / 16384; and (n + 0.5) / size is at least
/// 0.5 / size away from any integer, which is more.
class SinglePrecisionMean {
public:
    static constexpr int maximumSize = 16383;

    explicit SinglePrecisionMean(int size)
        : m_reciprocal(_mm256_set1_ps(1.0f / float(size)))
    {
    }
    __m256i operator()(__m256i sum) const
    {
        const __m256 n = _mm256_add_ps(_mm256_cvtepi32_ps(sum), _mm256_set1_ps(0.5f));
        return _mm256_cvttps_epi32(_mm256_mul_ps(n, m_reciprocal));
    }

private:
    __m256 m_reciprocal;
};

/// In double precision, exact for every size below 2^23: n < 2^31, and the roundings are off by less than 256 * 2^-52,
/// which is less than 0.5 / size.
class DoublePrecisionMean {
public:
    static constexpr int maximumSize = (1 << 23) - 1;

    explicit DoublePrecisionMean(int size)
        : m_reciprocal(_mm256_set1_pd(1.0 / size))
    {
    }
    __m256i operator()(__m256i sum) const
    {
        return _mm256_setr_m128i(Half(_mm256_castsi256_si128(sum)), Half(_mm256_extracti128_si256(sum, 1)));
    }

private:
    __m128i Half(__m128i sum) const
    {
        const __m256d n = _mm256_add_pd(_mm256_cvtepi32_pd(sum), _mm256_set1_pd(0.5));
        return _mm256_cvttpd_epi32(_mm256_mul_pd(n, m_reciprocal));
    }

    __m256d m_reciprocal;
};
