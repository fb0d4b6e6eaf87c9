#include "Blocks.h"
#include "Kernel.h"
#include "Lanes.h"

// Premultiplication of a block and its inverse. Opaque pixels pass both unchanged, so an opaque block, which is what most
// of a photo is made of, is not even written.

namespace {

constexpr int vectors = blocks::length / 8;
static_assert(blocks::length % 8 == 0, "a block is whole vectors of eight pixels");

bool isOpaque(const unsigned char *pixels)
{
    __m256i all = lanes::load(pixels);
    for (int i = 1; i < vectors; ++i)
        all = _mm256_and_si256(all, lanes::load(pixels + 32 * i));
    const __m256i alpha = _mm256_set1_epi32(int(0xFF000000));
    return _mm256_testc_si256(all, alpha);
}

/// (c * a + 127) / 255 for each colour of two times two pixels in 16-bit channels; alpha stays.
__m256i premultiplied(__m256i pixels)
{
    const __m256i product = _mm256_mullo_epi16(pixels, lanes::alphaFactors(pixels));
    return lanes::div255(_mm256_add_epi16(product, _mm256_set1_epi16(127)));
}

} // namespace

/// c = (c * a + 127) / 255 for the colours of a block.
KXCORE_KERNEL void PremultiplyAlphaAVX2(unsigned char *pixels, bool)
{
    if (isOpaque(pixels))
        return;
    const __m256i zero = _mm256_setzero_si256();
    for (int i = 0; i < vectors; ++i) {
        const __m256i v = lanes::load(pixels + 32 * i);
        lanes::store(pixels + 32 * i,
            _mm256_packus_epi16(
                premultiplied(_mm256_unpacklo_epi8(v, zero)), premultiplied(_mm256_unpackhi_epi8(v, zero))));
    }
}

/// c = (c * 255 + (a >> 1)) / a for the colours of a block, modulo 256; where a is 0 the whole pixel becomes 0.
///
/// With n = c * 255 + (a >> 1) <= 65152, the quotient is floor((2n + 1) * (0.5 / a)) in single precision: 2n + 1 is exact,
/// the two roundings are off by less than 2^-22 of the result, and that is less than the 0.5 / a which (n + 0.5) / a keeps
/// from the next integer on either side. 2n + 1 is c * 510 + (a | 1). Where a is 0 the product is infinite, its conversion
/// 0x80000000, and the low byte of that 0.
KXCORE_KERNEL void ReturnAlphaAVX2(unsigned char *pixels, bool)
{
    if (isOpaque(pixels))
        return;
    const __m256i byte = _mm256_set1_epi32(0xFF), factor = _mm256_set1_epi32(510), one = _mm256_set1_epi32(1);
    for (int i = 0; i < vectors; ++i) {
        const __m256i v = lanes::load(pixels + 32 * i);
        const __m256i a = _mm256_srli_epi32(v, 24);
        const __m256i odd = _mm256_or_si256(a, one);
        const __m256 halfReciprocal = _mm256_div_ps(_mm256_set1_ps(0.5f), _mm256_cvtepi32_ps(a));
        const auto straight = [&](__m256i c) {
            const __m256i n = _mm256_add_epi32(_mm256_madd_epi16(c, factor), odd);
            return _mm256_and_si256(_mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(n), halfReciprocal)), byte);
        };
        const __m256i b = straight(_mm256_and_si256(v, byte));
        const __m256i g = straight(_mm256_and_si256(_mm256_srli_epi32(v, 8), byte));
        const __m256i r = straight(_mm256_and_si256(_mm256_srli_epi32(v, 16), byte));
        const __m256i bg = _mm256_or_si256(b, _mm256_slli_epi32(g, 8));
        const __m256i ra = _mm256_or_si256(_mm256_slli_epi32(r, 16), _mm256_slli_epi32(a, 24));
        lanes::store(pixels + 32 * i, _mm256_or_si256(bg, ra));
    }
}
