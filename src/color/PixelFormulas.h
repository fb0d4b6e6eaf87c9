#pragma once

#include "KXPixels.h"
#include "support/Arithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

/// One pixel in another pixel type: each formula once. The order of the floating-point operations is part of the
/// results.
namespace color {

using arithmetic::perByte;

/// Wide pixels are put together as words: to store single channels and read them back as a word would stall the
/// processor.
template <class Pixel>
Pixel fromWord(quint64 word)
{
    Pixel pixel;
    pixel.word = word;
    return pixel;
}

/// Four 16-bit channels as a word.
constexpr quint64 fourShorts(quint64 b, quint64 g, quint64 r, quint64 a) { return b | g << 16 | r << 32 | a << 48; }

constexpr unsigned char roundedByte(double value)
{
    return static_cast<unsigned char>(arithmetic::clamp8(arithmetic::roundHalfUp(value)));
}

/// Cyan, magenta or yellow, from red, green or blue. @p black is 0 or 1. With 0 the division gives infinity, and what
/// is rounded is minus infinity or NaN, so that the ink is 0. The second 0.5, on top of that of the rounding, is
/// intended.
inline unsigned char inkOfChannel(int channel, int black)
{
    const double k = black, inverse = 1.0 / k;
    return roundedByte((k - channel * perByte) * 255.0 * inverse + 0.5);
}

/// Black is the largest channel as a fraction of 1, truncated: 1 exactly when some channel is 255. At 0 every ink is 0.
inline OPCMYKA toCmyk(OPRGBA32i pixel)
{
    static const auto inkAtFullBlack = [] {
        std::array<unsigned char, 256> table {};
        for (int channel = 0; channel < 256; ++channel)
            table[size_t(channel)] = inkOfChannel(channel, 1);
        return table;
    }();
    const quint64 alpha = quint64(pixel.a) << 32;
    if (pixel.r != 255 && pixel.g != 255 && pixel.b != 255)
        return fromWord<OPCMYKA>(alpha);
    return fromWord<OPCMYKA>(inkAtFullBlack[pixel.r] | quint64(inkAtFullBlack[pixel.g]) << 8
        | quint64(inkAtFullBlack[pixel.b]) << 16 | quint64(1) << 24 | alpha);
}

/// Red, green or blue, from cyan, magenta or yellow; the second 0.5 is intended here too.
constexpr unsigned char channelOfInk(int ink, double black) { return roundedByte(255.0 - (255.0 - ink) * black + 0.5); }

inline OPRGBA32i toRgb(OPCMYKA pixel)
{
    if ((pixel.c | pixel.m | pixel.y | pixel.k) == 0)
        return OPRGBA32i(0, 0, 0, pixel.a);
    const double black = pixel.k * perByte;
    return OPRGBA32i(channelOfInk(pixel.y, black), channelOfInk(pixel.m, black), channelOfInk(pixel.c, black), pixel.a);
}

inline OPHSLA toHsl(OPRGBA32i pixel)
{
    const int max = std::max({ pixel.r, pixel.g, pixel.b }), min = std::min({ pixel.r, pixel.g, pixel.b });
    const quint64 lightnessAndAlpha = quint64((max + min) >> 1) << 24 | quint64(pixel.a) << 32;
    if (max == min)
        return fromWord<OPHSLA>(lightnessAndAlpha);

    const double twiceLightness = (max + min) * perByte;
    const double range = twiceLightness * 0.5 > 0.5 ? 2.0 - twiceLightness : twiceLightness;
    const quint64 saturation = static_cast<unsigned char>(arithmetic::truncate((max - min) / range));

    const double perRange = 255.0 / (max - min), r = pixel.r * perByte, g = pixel.g * perByte, b = pixel.b * perByte;
    const double sextant = pixel.r == max ? (g - b) * perRange
        : pixel.g == max                  ? (b - r) * perRange + 2.0
                                          : (r - g) * perRange + 4.0;
    int degrees = arithmetic::truncate(sextant) * 60; // truncated first: hues are whole sextants
    if (degrees < 0)
        degrees += 360;
    if (degrees >= 360)
        degrees -= 360;
    return fromWord<OPHSLA>(quint64(degrees * 100) | saturation << 16 | lightnessAndAlpha);
}

/// One channel of a hue at @p position, which is meant as a fraction of a turn.
constexpr unsigned char channelOfHue(double position, double m1, double m2)
{
    const double t = position > 1.0 ? position - 1.0 : position;
    const double value = t < 0.16666666666666666 ? m1 + (m2 - m1) * 6.0 * t
        : t < 0.5                                ? m2
        : t < 0.6666666666666666                 ? m1 + (m2 - m1) * (0.6666666666666666 - t) * 6.0
                                                 : m1;
    return roundedByte(value * 255.0);
}

/// The hue is in degrees but is used as a fraction of a turn. That is intended: hue 0 keeps its red, and hues from
/// about two degrees up give the grey m1.
inline OPRGBA32i toRgb(OPHSLA pixel)
{
    const double h = (pixel.h % 36000) * 0.01, s = pixel.s * perByte, l = pixel.l * perByte;
    const double m2 = l >= 0.5 ? l + s - l * s : (s + 1.0) * pixel.l * perByte;
    const double m1 = l + l - m2;
    const double red = h < -0.3333333333333333 ? h + 1.3333333333333333 : h + 0.3333333333333333;
    const double green = h < 0 ? h + 1.0 : h;
    const double blue = h >= 0.3333333333333333 ? h - 0.3333333333333333 : h + 0.6666666666666667;
    return OPRGBA32i(channelOfHue(blue, m1, m2), channelOfHue(green, m1, m2), channelOfHue(red, m1, m2), pixel.a);
}

inline OPRGBA64i to16Bit(OPRGBA32i pixel)
{
    return fromWord<OPRGBA64i>(fourShorts(pixel.b, pixel.g, pixel.r, pixel.a) << 8);
}

inline OPRGBA32i toRgb(OPRGBA64i pixel)
{
    return OPRGBA32i(static_cast<unsigned char>(pixel.b >> 8), static_cast<unsigned char>(pixel.g >> 8),
        static_cast<unsigned char>(pixel.r >> 8), static_cast<unsigned char>(pixel.a >> 8));
}

/// The bits of the half of @p value, which is 0 or lies in the range of normal halves. Halves of the last place go up.
inline quint16 halfBits(float value)
{
    quint32 bits;
    static_assert(sizeof bits == sizeof value, "single precision");
    std::memcpy(&bits, &value, sizeof bits);
    constexpr quint32 biasDifference = 127 - 15;
    return bits == 0 ? quint16(0) : quint16((bits - (biasDifference << 23) + 4096) >> 13);
}

/// The value of a half, exact in single precision.
inline float halfValue(quint16 bits)
{
    const int exponent = bits >> 10 & 31, mantissa = bits & 1023;
    const float magnitude = exponent == 0 ? std::ldexp(float(mantissa), -24)
        : exponent < 31                   ? std::ldexp(float(1024 + mantissa), exponent - 25)
        : mantissa == 0                   ? HUGE_VALF
                                          : std::nanf("");
    return bits & 0x8000 ? -magnitude : magnitude;
}

inline OPRGBA64f toHalf(OPRGBA32i pixel)
{
    static const auto halves = [] {
        std::array<quint16, 256> table {};
        for (int channel = 0; channel < 256; ++channel)
            table[size_t(channel)] = halfBits(channel * 1.0073664f);
        return table;
    }();
    return fromWord<OPRGBA64f>(fourShorts(halves[pixel.b], halves[pixel.g], halves[pixel.r], halves[pixel.a]));
}

inline OPRGBA32i toRgb(OPRGBA64f pixel)
{
    // The low eight bits of the truncated product; nothing is clamped.
    static const auto bytes = [] {
        std::vector<unsigned char> table(65536);
        for (unsigned bits = 0; bits < 65536; ++bits)
            table[bits] = static_cast<unsigned char>(arithmetic::truncate(halfValue(quint16(bits)) * 0.9926875f));
        return table;
    }();
    return OPRGBA32i(bytes[pixel.b], bytes[pixel.g], bytes[pixel.r], bytes[pixel.a]);
}

/// A pixel, as a word, with blue, green and red replaced by the grey value.
constexpr unsigned greyWord(unsigned word)
{
    const unsigned grey = arithmetic::grey(word >> 16 & 255, word >> 8 & 255, word & 255);
    return (word & 0xFF000000u) | grey << 16 | grey << 8 | grey;
}

} // namespace color
