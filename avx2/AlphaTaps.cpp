#include "Kernel.h"
#include "Vectors.h"

#include "filters/AlphaTaps.h"

// Sums of float taps over alpha: eight pixels in a vector, and as many vectors at a time as hide the latency of a sum.

namespace {

/// The pixels from @p first on, @p count vectors of them.
template <int count>
void sum(const float *samples, qptrdiff stride, const float *taps, int tapCount, OPRGBA32i *pixels)
{
    __m256 sums[count];
    for (__m256 &s : sums)
        s = _mm256_setzero_ps();
    for (int tap = 0; tap < tapCount; ++tap, samples += stride) {
        const __m256 factor = _mm256_broadcast_ss(taps + tap);
        for (int i = 0; i < count; ++i)
            sums[i] = _mm256_add_ps(sums[i], _mm256_mul_ps(_mm256_loadu_ps(samples + 8 * i), factor));
    }
    const __m256i colors = _mm256_set1_epi32(0x00FFFFFF), full = _mm256_set1_epi32(255);
    for (int i = 0; i < count; ++i) {
        const __m256i whole =
            _mm256_max_epi32(_mm256_min_epi32(_mm256_cvttps_epi32(sums[i]), full), _mm256_setzero_si256());
        const __m256i kept = _mm256_and_si256(vectors::load(pixels + 8 * i), colors);
        vectors::store(pixels + 8 * i, _mm256_or_si256(kept, _mm256_slli_epi32(whole, 24)));
    }
}

/// A row in stretches of that many vectors. The last one ends with the row and does some pixels again, with the same
/// result: samples are no pixels.
template <int count>
void sumRow(const float *samples, qptrdiff stride, const float *taps, int tapCount, OPRGBA32i *pixels, int length)
{
    constexpr int width = 8 * count;
    for (int i = 0; i < length; i += width) {
        const int first = std::min(i, length - width);
        sum<count>(samples + first, stride, taps, tapCount, pixels + first);
    }
}

} // namespace

KXCORE_KERNEL void SumAlphaTapsAVX2(
    const float *samples, qptrdiff stride, const float *taps, int tapCount, OPRGBA32i *pixels, int length)
{
    const auto row = length >= 64 ? sumRow<8> : length >= 8 ? sumRow<1> : filters::sumAlphaTaps;
    row(samples, stride, taps, tapCount, pixels, length);
}
