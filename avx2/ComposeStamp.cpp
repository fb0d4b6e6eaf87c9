#include "Avx2Rows.h"
#include "Double4.h"

namespace vectors {

namespace {

/// A channel of four pixels as integers; in double precision that is Double4.
struct Lane4 {
    __m128i v;

    Lane4() = default;
    Lane4(__m128i lanes)
        : v(lanes)
    {
    }
    explicit Lane4(quint32 value)
        : v(_mm_set1_epi32(int(value)))
    {
    }
};

inline Lane4 operator==(Lane4 x, Lane4 y) { return _mm_cmpeq_epi32(x.v, y.v); }
inline Lane4 select(Lane4 mask, Lane4 yes, Lane4 no) { return _mm_blendv_epi8(no.v, yes.v, mask.v); }

inline Double4 toDouble(Lane4 x) { return _mm256_cvtepi32_pd(x.v); }

} // namespace

/// What compose::Stamp has for one pixel. It is found by its argument, and so not within an unnamed namespace.
static Lane4 roundedToByte(Double4 x)
{
    const __m256d sign = _mm256_set1_pd(-0.0), half = _mm256_set1_pd(0.5), one = _mm256_set1_pd(1.0);
    const __m256d whole = _mm256_round_pd(x.v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
    const __m256d rest = _mm256_andnot_pd(sign, _mm256_sub_pd(x.v, whole)); // exact
    const __m256d step = _mm256_and_pd(_mm256_cmp_pd(rest, half, _CMP_GE_OQ), one);
    const __m256d away = _mm256_add_pd(whole, _mm256_or_pd(step, _mm256_and_pd(x.v, sign)));
    return _mm_and_si128(_mm256_cvttpd_epi32(away), _mm_set1_epi32(255));
}

} // namespace vectors

namespace compose {

namespace {

using vectors::Lane4;

inline Pixel<Lane4> channels4(__m128i words)
{
    const __m128i byte = _mm_set1_epi32(255);
    return { _mm_and_si128(words, byte), _mm_and_si128(_mm_srli_epi32(words, 8), byte),
        _mm_and_si128(_mm_srli_epi32(words, 16), byte), _mm_srli_epi32(words, 24) };
}

inline __m128i words4(const Pixel<Lane4> &p)
{
    const __m128i bg = _mm_or_si128(p.b.v, _mm_slli_epi32(p.g.v, 8));
    const __m128i ra = _mm_or_si128(_mm_slli_epi32(p.r.v, 16), _mm_slli_epi32(p.a.v, 24));
    return _mm_or_si128(bg, ra);
}

} // namespace

void Avx2Rows::stampRow(const OPRGBA32i *src, OPRGBA32i *dst, int count, const Stamp &stamp)
{
    int i = 0;
    if (!readsAhead(src, dst, count))
        for (; i + 4 <= count; i += 4) {
            const __m128i source = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i));
            __m128i *const to = reinterpret_cast<__m128i *>(dst + i);
            if (_mm_testz_si128(source, _mm_set1_epi32(int(0xFF000000)))) // the corners of a round tip
                continue;
            _mm_storeu_si128(to, words4(stamp.Apply(channels4(source), channels4(_mm_loadu_si128(to)))));
        }
    PlainRows::stampRow(src + i, dst + i, count - i, stamp);
}

} // namespace compose
