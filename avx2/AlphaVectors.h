#pragma once

#include "Vectors.h"

/// Eight pixels premultiplied and unpremultiplied. Opaque pixels pass both unchanged.
namespace vectors {

inline bool areOpaque(__m256i pixels) { return _mm256_testc_si256(pixels, _mm256_set1_epi32(int(0xFF000000))); }

/// (c * a + 127) / 255 for each colour; alpha stays. For pixels in four 16-bit channels.
///
/// That is p / 255 rounded to the nearest integer, for p = c * a. With t = p + 128 it is t * 257 / 65536, truncated,
/// for each p up to 65025: a division by 255 in one multiplication.
inline __m256i premultipliedWords(__m256i words)
{
    const __m256i product = _mm256_mullo_epi16(words, alphaFactors(words));
    return _mm256_mulhi_epu16(_mm256_add_epi16(product, _mm256_set1_epi16(128)), _mm256_set1_epi16(257));
}

/// The same for pixels.
inline __m256i premultiplied(__m256i pixels)
{
    const __m256i zero = _mm256_setzero_si256();
    return _mm256_packus_epi16(
        premultipliedWords(_mm256_unpacklo_epi8(pixels, zero)), premultipliedWords(_mm256_unpackhi_epi8(pixels, zero)));
}

/// (c * 255 + (a >> 1)) / a for each colour, modulo 256; alpha stays, and where it is 0 the whole pixel becomes 0.
///
/// That is x = c * 255 / a rounded to the nearest integer, halves upwards. It is computed in single precision as c
/// times the quotient 255 * (1 + 2^-19) / a. This puts every x on the right side of every half:
/// - An x that is no half is at least 1 / 2a away from one, which is at least 1 / 130050 of x. It is moved by less: by
///   2^-19 of x, and by three roundings (of 255 * (1 + 2^-19), of the quotient and of the product), which together make
///   less than 2^-22 of x.
/// - A half, which exists for even a only, is moved upwards, by more than the roundings take back.
///
/// Adding 1.5 * 2^23, where floats are whole numbers, rounds to the nearest and leaves the result in the low bits.
/// Where a is 0 the product is infinite or no number, and so is the sum: its low bits are 0.
inline __m256i unpremultiplied(__m256i pixels)
{
    const __m256i lowBytes = _mm256_set1_epi16(0xFF), lowWords = _mm256_set1_epi32(0xFFFF);
    const __m256 numerator = _mm256_set1_ps(255.0f + 255.0f / (1 << 19)), whole = _mm256_set1_ps(1.5f * (1 << 23));
    const __m256i blueRed = _mm256_and_si256(pixels, lowBytes), greenAlpha = _mm256_srli_epi16(pixels, 8);
    const __m256 factor = _mm256_div_ps(numerator, _mm256_cvtepi32_ps(_mm256_srli_epi32(pixels, 24)));
    const auto quotient = [&](__m256i colour) {
        return _mm256_castps_si256(_mm256_add_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(colour), factor), whole));
    };
    const __m256i b = quotient(_mm256_and_si256(blueRed, lowWords)), r = quotient(_mm256_srli_epi32(blueRed, 16)),
                  g = quotient(_mm256_and_si256(greenAlpha, lowWords));
    const __m256i br = _mm256_blend_epi16(b, _mm256_slli_epi32(r, 16), 0xAA);
    const __m256i ga = _mm256_blend_epi16(g, greenAlpha, 0xAA);
    return _mm256_or_si256(_mm256_and_si256(br, lowBytes), _mm256_slli_epi16(ga, 8));
}

} // namespace vectors
