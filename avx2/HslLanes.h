#pragma once

#include "Lane8.h"
#include "color/Hsl.h"

/// Hue, saturation and lightness of eight pixels: what src/color/Hsl.h computes of one, in the same integers.
namespace hsl {

using compose::Float8, compose::Lane8, compose::Mask8;

struct Hsl8 {
    Lane8 h; ///< in 0..359, but anything for greys
    Lane8 s, l;
};

/// The same, as it was read.
struct Read : Hsl8 {
    Mask8 isGrey;
};

inline Lane8 with(Mask8 mask, Lane8 lanes) { return _mm256_and_si256(mask.v, lanes.v); }
inline Lane8 without(Mask8 mask, Lane8 lanes) { return _mm256_andnot_si256(mask.v, lanes.v); }

/// Signed lanes cut at 0 and 255.
inline Lane8 cut(Lane8 lanes)
{
    return _mm256_min_epi32(_mm256_max_epi32(lanes.v, _mm256_setzero_si256()), _mm256_set1_epi32(255));
}

/// Lanes below 720, in 0..359: those below 360 wrap to large numbers.
inline Lane8 wrapped(Lane8 degrees) { return min(degrees, degrees - Lane8(360)); }

/// The entry of each lane's low three bits.
inline Lane8 entry(__m256i table, Lane8 lanes) { return _mm256_permutevar8x32_epi32(table, lanes.v); }

/// Pixels to HSL; the form of color::hslOf.
class Reader {
public:
    Read operator()(Lane8 words) const
    {
        const Lane8 byte(255), b = words & byte, g = (words >> 8) & byte, r = (words >> 16) & byte;
        const Lane8 most = max(max(b, g), r), least = min(min(b, g), r), d = most - least, sum = most + least;
        const Mask8 isGrey = most == least;

        // Blue as the largest channel is entry 0. Green alone adds -1 to that, and red adds -2.
        const Lane8 red = (r == most).v, green = (g == most).v, largest = red + red + green;
        const __m256i differences // the factors of blue, green and red, bytes with signs
            = _mm256_setr_epi32(0x0001FF00, 0, 0, 0, 0, 0x000001FF, 0x000001FF, 0x00FF0001);
        const __m256i bases = _mm256_setr_epi32(180, 0, 0, 0, 0, 300, 300, 60); // less 60, which the quotient has more
        const __m256i parts = _mm256_maddubs_epi16(words.v, entry(differences, largest).v);
        const Lane8 difference12000 = _mm256_madd_epi16(parts, _mm256_set1_epi16(12000));
        const Lane8 h = wrapped(divide(difference12000 + d * Lane8(12001), d * Lane8(200)) + entry(bases, largest));

        const Lane8 range = min(sum, Lane8(510) - sum), isDown = halfIsDown(most, least);
        const Lane8 s = divide(d * Lane8(510) + range - isDown, range + range);
        return { { h, without(isGrey, s), (sum + Lane8(1) - isDown) >> 1 }, isGrey };
    }

private:
    Lane8 halfIsDown(Lane8 most, Lane8 least) const
    {
        const Lane8 pair = (most << 8) | least;
        const Lane8 words = _mm256_i32gather_epi32(m_halvesDown, (pair >> 5).v, 4);
        return Lane8(_mm256_srlv_epi32(words.v, (pair & Lane8(31)).v)) & Lane8(1);
    }

    const int *m_halvesDown = reinterpret_cast<const int *>(color::halvesDown().data());
};

/// @p middle with the channels in between of the lanes @p ties, one bit for each, as QColor's doubles round them.
inline Lane8 withTies(int ties, const Hsl8 &color, Lane8 sextant, Lane8 middle)
{
    alignas(32) int h[8], s[8], l[8], sextants[8], middles[8];
    const auto store = [](int *to, Lane8 lanes) { _mm256_store_si256(reinterpret_cast<__m256i *>(to), lanes.v); };
    store(h, color.h), store(s, color.s), store(l, color.l), store(sextants, sextant), store(middles, middle);
    for (; ties; ties &= ties - 1) {
        const int i = __builtin_ctz(unsigned(ties));
        middles[i] = color::middleOfHsl({ h[i], s[i], l[i] }, sextants[i]);
    }
    return _mm256_load_si256(reinterpret_cast<const __m256i *>(middles));
}

/// Pixels of HSL, with the alpha of @p words; the form of color::pixelOf.
inline Lane8 pixelsOf(const Hsl8 &color, Lane8 words)
{
    const Lane8 reach = min(color.l, Lane8(255) - color.l) * color.s, distance = div255(reach + Lane8(127));
    const Lane8 most = color.l + distance, least = color.l - distance;

    // 1093 / 65536 is just above 1 / 60, and small numbers do not show it.
    const Lane8 sextant = _mm256_mulhi_epu16(color.h.v, _mm256_set1_epi32(1093));
    const Lane8 inPair = color.h - (sextant >> 1) * Lane8(120);
    const Lane8 fromMiddle = Lane8(30) - Lane8(_mm256_abs_epi32((inPair - Lane8(60)).v)); // the way, less 30
    const Lane8 numerator = color.l * Lane8(7650) + reach * fromMiddle + Lane8(3825);
    // Divided by 7650 and truncated. In single precision 1 / 7650 is a little too large, so that multiples of 7650 lose
    // nothing, and all other numbers are at least a 1.9 millionth part below the next one: too far to be rounded to it.
    Lane8 middle = truncateToLane(toFloat(numerator) * splat(1 / 7650.0f, numerator));
    const Mask8 isTie = middle * Lane8(7650) == numerator;
    if (const int ties = _mm256_movemask_ps(_mm256_castsi256_ps(isTie.v)))
        middle = withTies(ties, color, sextant, middle);

    // Where the smallest (0), the middle (1) and the largest (2) channel go, by sextants; alpha (3) stays. Greys, whose
    // sextant may be anything, keep theirs too.
    const __m256i places = _mm256_setr_epi32(
        0x03020100, 0x03010200, 0x03000201, 0x03000102, 0x03010002, 0x03020001, 0x03020100, 0x03020100);
    const __m256i lanes =
        _mm256_setr_epi32(0, 0x04040404, 0x08080808, 0x0C0C0C0C, 0, 0x04040404, 0x08080808, 0x0C0C0C0C);
    const Lane8 sorted = least | (middle << 8) | (most << 16) | (words & Lane8(0xFF000000u));
    return _mm256_shuffle_epi8(sorted.v, (entry(places, sextant) | Lane8(lanes)).v);
}

} // namespace hsl
