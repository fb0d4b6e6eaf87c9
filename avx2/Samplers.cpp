#include "Double4.h"
#include "Kernel.h"

#include "transform/Samplers.h"

// The samplers that interpolate: the plain ones with the four channels of a pixel in one register.

namespace vectors {
namespace {

struct Channels : Double4 {
    using Double4::Double4;
    Channels(Double4 lanes)
        : Double4(lanes)
    {
    }
    explicit Channels(OPRGBA32i pixel)
        : Double4(_mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(int(pixel.word)))))
    {
    }
};

Channels operator+(const Channels &x, const Channels &y) { return _mm256_add_pd(x.v, y.v); }
Channels operator-(const Channels &x, const Channels &y) { return _mm256_sub_pd(x.v, y.v); }
Channels operator*(const Channels &x, const Channels &y) { return _mm256_mul_pd(x.v, y.v); }

Channels toBytes(const Channels &x)
{
    const __m256d inside = _mm256_max_pd(_mm256_min_pd(x.v, _mm256_set1_pd(255)), _mm256_setzero_pd());
    return Channels(_mm256_round_pd(inside, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC));
}

OPRGBA32i toPixel(const Channels &x)
{
    const __m128i whole = _mm256_cvttpd_epi32(x.v), words = _mm_packs_epi32(whole, whole);
    return OPRGBA32i(unsigned(_mm_cvtsi128_si32(_mm_packus_epi16(words, words))));
}

} // namespace
} // namespace vectors

/// The terms of four neighbouring pixels, which are small sums of bytes.
template <>
inline transform::CubicTerms<vectors::Channels>::CubicTerms(const OPRGBA32i *p)
{
    const __m256i pixels = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
    const __m256i bySamples = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, //
        0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    const __m256i samples = _mm256_shuffle_epi8(pixels, bySamples); // the four of blue, of green, of red, of alpha
    const auto weights = [](int p0, int p1, int p2, int p3) {
        return (p0 & 255) | (p1 & 255) << 8 | (p2 & 255) << 16 | int(unsigned(p3) << 24); // signed ones may not shift
    };
    const auto sums = [samples](int low, int high) {
        const __m256i both = _mm256_setr_epi32(low, low, low, low, high, high, high, high);
        return _mm256_madd_epi16(_mm256_maddubs_epi16(samples, both), _mm256_set1_epi16(1));
    };
    const __m256i ab = sums(weights(-1, 1, -1, 1), weights(2, -2, 1, -1));
    const __m256i cd = sums(weights(-1, 0, 1, 0), weights(0, 1, 0, 0));
    a = vectors::Double4(_mm256_cvtepi32_pd(_mm256_castsi256_si128(ab)));
    b = vectors::Double4(_mm256_cvtepi32_pd(_mm256_extracti128_si256(ab, 1)));
    c = vectors::Double4(_mm256_cvtepi32_pd(_mm256_castsi256_si128(cd)));
    d = vectors::Double4(_mm256_cvtepi32_pd(_mm256_extracti128_si256(cd, 1)));
}

KXCORE_KERNEL void SampleBilinearAVX2(const pixels::Rows<const OPRGBA32i> &source, const QTransform &inverse,
    const pixels::Rows<OPRGBA32i> &target, const QRect &area)
{
    transform::interpolate<transform::Linear, vectors::Channels>(source, inverse, target, area);
}

KXCORE_KERNEL void SampleBicubicAVX2(const pixels::Rows<const OPRGBA32i> &source, const QTransform &inverse,
    const pixels::Rows<OPRGBA32i> &target, const QRect &area)
{
    transform::interpolate<transform::Cubic, vectors::Channels>(source, inverse, target, area);
}
