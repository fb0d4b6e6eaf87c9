#include "Avx2Rows.h"

namespace compose {

namespace {

/// Four pixels in double precision, operation by operation as Stamp::Apply.
struct Stamp4 {
    explicit Stamp4(const Stamp &s)
        : stamp(s)
        , opacity(_mm256_set1_pd(s.opacity))
        , averageOpacity(_mm256_set1_pd(s.averageOpacity))
        , flow(_mm256_set1_pd(s.flow))
    {
    }

    /// Halves away from zero, then the low byte of the conversion to integer.
    static __m128i rounded(__m256d v)
    {
        const __m256d sign = _mm256_set1_pd(-0.0), half = _mm256_set1_pd(0.5), one = _mm256_set1_pd(1.0);
        const __m256d whole = _mm256_round_pd(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
        const __m256d rest = _mm256_andnot_pd(sign, _mm256_sub_pd(v, whole)); // exact
        const __m256d step = _mm256_and_pd(_mm256_cmp_pd(rest, half, _CMP_GE_OQ), one);
        const __m256d away = _mm256_add_pd(whole, _mm256_or_pd(step, _mm256_and_pd(v, sign)));
        return _mm_and_si128(_mm256_cvttpd_epi32(away), _mm_set1_epi32(255));
    }

    static __m256d channel(__m128i words, int shift)
    {
        return _mm256_cvtepi32_pd(_mm_and_si128(_mm_srl_epi32(words, _mm_cvtsi32_si128(shift)), _mm_set1_epi32(255)));
    }

    __m256d newAlpha(__m256d m, __m256d applied, __m256d a) const
    {
        const __m256d epsilon = _mm256_set1_pd(Stamp::epsilon);
        __m256d x, below;
        if (stamp.averageOpacity + Stamp::epsilon > stamp.opacity) {
            below = _mm256_cmp_pd(_mm256_add_pd(averageOpacity, epsilon), a, _CMP_GT_OQ);
            x = _mm256_add_pd(
                _mm256_mul_pd(_mm256_sub_pd(averageOpacity, applied), _mm256_div_pd(a, averageOpacity)), applied);
        } else {
            below = _mm256_cmp_pd(_mm256_add_pd(opacity, epsilon), a, _CMP_GT_OQ);
            x = _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(opacity, a), m), a);
        }
        x = _mm256_blendv_pd(a, x, below);
        if (stamp.flow != 1.0) {
            const __m256d af = _mm256_cvtps_pd(_mm256_cvtpd_ps(a));
            x = _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(x, af), flow), af);
        }
        return x;
    }

    void apply(const OPRGBA32i *src, OPRGBA32i *dst) const
    {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src));
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i *>(dst));
        const __m128i sourceAlpha = _mm_srli_epi32(s, 24), zero = _mm_setzero_si128();
        const __m128i leave = _mm_cmpeq_epi32(sourceAlpha, zero);
        if (_mm_movemask_epi8(leave) == 0xFFFF)
            return;
        const __m128i fresh = _mm_cmpeq_epi32(_mm_srli_epi32(d, 24), zero);
        const __m256d unit = _mm256_set1_pd(Stamp::unit);
        const __m256d m = _mm256_mul_pd(_mm256_cvtepi32_pd(sourceAlpha), unit), applied = _mm256_mul_pd(m, opacity);
        const __m256d a = _mm256_mul_pd(channel(d, 24), unit); // 0 where the destination is transparent

        __m128i colours = zero;
        for (int shift = 0; shift < 24; shift += 8) {
            const __m256d to = channel(d, shift);
            const __m256d moved = _mm256_add_pd(_mm256_mul_pd(_mm256_sub_pd(channel(s, shift), to), applied), to);
            colours = _mm_or_si128(colours, _mm_sll_epi32(rounded(moved), _mm_cvtsi32_si128(shift)));
        }
        colours = _mm_blendv_epi8(colours, _mm_and_si128(s, _mm_set1_epi32(0x00FFFFFF)), fresh);
        const __m128i alpha = rounded(_mm256_mul_pd(newAlpha(m, applied, a), _mm256_set1_pd(255.0)));
        const __m128i result = _mm_or_si128(colours, _mm_slli_epi32(alpha, 24));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst), _mm_blendv_epi8(result, d, leave));
    }

    const Stamp &stamp;
    __m256d opacity, averageOpacity, flow;
};

} // namespace

void Avx2Rows::stampRow(const OPRGBA32i *src, OPRGBA32i *dst, int count, const Stamp &stamp)
{
    int i = 0;
    if (!readsAhead(src, dst, count)) {
        const Stamp4 four(stamp);
        for (; i + 4 <= count; i += 4)
            four.apply(src + i, dst + i);
    }
    PlainRows::stampRow(src + i, dst + i, count - i, stamp);
}

} // namespace compose
