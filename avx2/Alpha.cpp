#include "Kernel.h"
#include "Lanes.h"
#include "color/Blocks.h"

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
/// That is c * 255 / a rounded to the nearest integer, halves upwards, which exist for even a only. What is not a half is at
/// least 1 / 2a away from one, that is 1 / 130050 of any value. So in single precision, with the quotient 255 / a enlarged by
/// a 2^19th, all stay on their side and halves come to lie above: the roundings of 255 enlarged, the quotient and the product
/// move a product by less than a 2^22nd. Adding 1.5 * 2^23, where floats are whole numbers, rounds and leaves the result in
/// the low bits. Where a is 0 the product is infinite or no number, and so is the sum: its low bits are 0.
KXCORE_KERNEL void ReturnAlphaAVX2(unsigned char *pixels, bool)
{
    if (isOpaque(pixels))
        return;
    const __m256i lowBytes = _mm256_set1_epi16(0xFF), lowWords = _mm256_set1_epi32(0xFFFF);
    const __m256 numerator = _mm256_set1_ps(255.0f + 255.0f / (1 << 19)), whole = _mm256_set1_ps(1.5f * (1 << 23));
    for (int i = 0; i < vectors; ++i) {
        const __m256i v = lanes::load(pixels + 32 * i);
        const __m256i blueRed = _mm256_and_si256(v, lowBytes), greenAlpha = _mm256_srli_epi16(v, 8);
        const __m256 factor = _mm256_div_ps(numerator, _mm256_cvtepi32_ps(_mm256_srli_epi32(v, 24)));
        const auto straight = [&](__m256i colour) {
            return _mm256_castps_si256(_mm256_add_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(colour), factor), whole));
        };
        const __m256i b = straight(_mm256_and_si256(blueRed, lowWords)), r = straight(_mm256_srli_epi32(blueRed, 16)),
                      g = straight(_mm256_and_si256(greenAlpha, lowWords));
        const __m256i br = _mm256_blend_epi16(b, _mm256_slli_epi32(r, 16), 0xAA);
        const __m256i ga = _mm256_blend_epi16(g, greenAlpha, 0xAA);
        lanes::store(pixels + 32 * i, _mm256_or_si256(_mm256_and_si256(br, lowBytes), _mm256_slli_epi16(ga, 8)));
    }
}
