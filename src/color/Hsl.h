#pragma once

#include "KXPixels.h"

#include <algorithm>
#include <array>
#include <utility>

/// Hue, saturation and lightness as QColor has them, to the bit, without one: its conversions go over channels of 16
/// bits in double precision.
namespace color {

/// Hue in degrees, -1 for grey; saturation and lightness in 0..255.
struct Hsl {
    int h, s, l;
};

inline unsigned char mostOf(OPRGBA32i pixel) { return std::max({ pixel.r, pixel.g, pixel.b }); }
inline unsigned char leastOf(OPRGBA32i pixel) { return std::min({ pixel.r, pixel.g, pixel.b }); }

/// The grey in the middle between the largest and the smallest channel, truncated.
inline OPRGBA32i desaturated(OPRGBA32i pixel)
{
    const unsigned grey = unsigned(mostOf(pixel) + leastOf(pixel)) >> 1;
    return OPRGBA32i((pixel.word & 0xFF000000u) | grey << 16 | grey << 8 | grey);
}

/// The fraction @p v of 1 as 16 bits, and these as a byte, both to the nearest.
inline int byteOfFraction(double v) { return (int(v * 65535 + 0.5) + 128) / 257; }

/// Which halves of a byte QColor rounds down: one bit for each largest and smallest channel, in the order of
/// most * 256 + least.
///
/// With S = most + least and d = most - least, a lightness is S / 2 and a saturation 255 * d / range, where the range
/// is S or 510 - S, whichever is smaller; both are rounded to the nearest byte. Where the fraction is a half, the
/// rounding of QColor's doubles decides. That is so for a lightness where S is odd. For a saturation 510 * d is an odd
/// multiple of the range then, so that the range is even and S too. So one bit serves both.
inline const std::array<unsigned, 2048> &halvesDown()
{
    static const auto bits = [] {
        std::array<unsigned, 2048> bits {};
        for (int most = 0; most < 256; ++most)
            for (int least = 0; least < most; ++least) {
                const double high = most / 255.0, low = least / 255.0, lightness = 0.5 * (high + low);
                const double saturation = (high - low) / (lightness < 0.5 ? high + low : 2.0 - (high + low));
                const int sum = most + least, range = std::min(sum, 510 - sum);
                const bool isDown = sum % 2 == 1
                    ? byteOfFraction(lightness) * 2 < sum
                    : byteOfFraction(saturation) < (510 * (most - least) + range) / (2 * range);
                const unsigned pair = unsigned(most * 256 + least);
                bits[pair / 32] |= unsigned(isDown) << pair % 32;
            }
        return bits;
    }();
    return bits;
}

inline Hsl hslOf(OPRGBA32i pixel)
{
    const int r = pixel.r, g = pixel.g, b = pixel.b;
    const int most = mostOf(pixel), least = leastOf(pixel);
    if (most == least)
        return { -1, 0, most };

    // The hue is rounded to hundredths of a degree, and these are truncated to degrees: with x = 6000 * difference / d
    // hundredths from the base, it is floor(floor(x + 1 / 2) / 100) = floor((12000 * difference + d) / (200 * d)).
    const int d = most - least;
    const auto [difference, base] = r == most ? std::pair(g - b, g < b ? 360 : 0)
        : g == most                           ? std::pair(b - r, 120)
                                              : std::pair(r - g, 240);
    const unsigned pair = unsigned(most * 256 + least);
    const int sum = most + least, range = std::min(sum, 510 - sum), isDown = halvesDown()[pair / 32] >> pair % 32 & 1;
    return { (12000 * difference + d + base * 200 * d) / (200 * d), (510 * d + range - isDown) / (2 * range),
        (sum + 1 - isDown) / 2 };
}

/// The channel between the largest and the smallest one as QColor computes it, for a hue that is no multiple of 60. @p
/// sextant is the hue by 60, truncated.
inline int middleOfHsl(Hsl color, int sextant)
{
    const double h = color.h * 100 / 36000., s = color.s * 257 / 65535.0, l = color.l * 257 / 65535.0;
    const double upper = l < 0.5 ? l * (1.0 + s) : l + s - l * s, lower = 2.0 * l - upper;
    // QColor looks at the hue for green, a third of the circle further for red, and a third back for blue; these are
    // the channels in between by turns. In this form only the place of the red of blue hues lies beyond the circle.
    constexpr double thirds[] = { 0, 1.0 / 3.0, -(1.0 / 3.0), 0, 1.0 / 3.0, -(1.0 / 3.0) };
    const double position = h + thirds[sextant] - (sextant == 4);
    return byteOfFraction(sextant % 2 == 0 ? lower + (upper - lower) * (position * 6.0)
                                           : lower + (upper - lower) * (2.0 / 3.0 - position) * 6.0);
}

/// The pixel of a colour, for saturation and lightness in 0..255. A hue of -1 is a grey, one of 360 and more goes
/// round, and one below -1 is no colour: it gives **opaque** black, whatever @p alpha is.
inline OPRGBA32i pixelOf(Hsl color, unsigned char alpha)
{
    if (color.h < -1)
        return OPRGBA32i(0xFF000000u);
    const auto grey = static_cast<unsigned char>(color.l);
    if (color.h == -1)
        return OPRGBA32i(grey, grey, grey, alpha);

    // The largest and the smallest channel lie equally far from the lightness. The one in between moves from the
    // smallest (@c way 0) to the largest (60) and back again. All of them are rounded to the nearest byte; the distance
    // is never half of one, as 255 is odd, but the channel in between may be: then its rounding in doubles decides.
    color.h %= 360;
    const int reach = std::min(color.l, 255 - color.l) * color.s, sextant = color.h / 60;
    const int way = sextant % 2 == 0 ? color.h % 60 : 60 - color.h % 60;
    const int distance = (reach * 2 + 255) / 510;
    const auto most = static_cast<unsigned char>(color.l + distance);
    const auto least = static_cast<unsigned char>(color.l - distance);
    const int numerator = 7650 * color.l + reach * (way - 30) + 3825;
    auto middle = static_cast<unsigned char>(numerator / 7650);
    if (middle * 7650 == numerator)
        middle = static_cast<unsigned char>(middleOfHsl(color, sextant));
    switch (sextant) {
    case 0:
        return OPRGBA32i(least, middle, most, alpha);
    case 1:
        return OPRGBA32i(least, most, middle, alpha);
    case 2:
        return OPRGBA32i(middle, most, least, alpha);
    case 3:
        return OPRGBA32i(most, middle, least, alpha);
    case 4:
        return OPRGBA32i(most, least, middle, alpha);
    default:
        return OPRGBA32i(middle, least, most, alpha);
    }
}

} // namespace color
