#pragma once

#include "kit/Picture.h"

#include <array>

/// What passes along lines must make of a picture, pixel by pixel from the formulas, without any regard for speed.
namespace kit {

/// Gives each pixel of @p rect the value @p formula(at), where at(k) was the pixel k steps further on its line; beyond
/// @p edge the last pixel before it counts.
template <class Formula>
void alongLines(Picture &picture, const QRect &rect, const QRect &edge, Qt::Orientation lines, Formula formula)
{
    const Picture from = picture;
    const int dx = lines == Qt::Horizontal, dy = 1 - dx;
    picture.fill(rect, [&](int x, int y) {
        return formula([&](int k) {
            return from.at(
                qBound(edge.left(), x + k * dx, edge.right()), qBound(edge.top(), y + k * dy, edge.bottom()));
        });
    });
}

/// Gives the alphas of @p rect the value @p formula(at) along rows, and of what that made along columns.
template <class Formula>
void alphaBothWays(Picture &picture, const QRect &rect, Formula formula)
{
    for (const auto lines : { Qt::Horizontal, Qt::Vertical })
        alongLines(picture, rect, picture.rect(), lines, [&](auto at) {
            OPRGBA32i pixel = at(0);
            pixel.a = static_cast<unsigned char>(formula(at));
            return pixel;
        });
}

/// Sums of 32 bits that start at 8192 and wrap, shifted by 14 and clamped; @p at(j) is the pixel under tap j.
template <class At>
OPRGBA32i convolved(const std::vector<short> &taps, At at)
{
    std::array<qint64, 4> sums { 8192, 8192, 8192, 8192 };
    for (int j = 0; j < int(taps.size()); ++j) {
        const OPRGBA32i pixel = at(j);
        for (int c = 0; c < 4; ++c)
            sums[size_t(c)] += channel(pixel, c) * taps[size_t(j)];
    }
    return pixelOf([&](int c) { return qBound(0, int(quint32(sums[size_t(c)])) >> 14, 255); });
}

/// Convolves the lines of @p rect, whose edge is replicated.
inline void convolve(Picture &picture, const QRect &rect, Qt::Orientation lines, const std::vector<short> &taps)
{
    alongLines(picture, rect, rect, lines,
        [&](auto at) { return convolved(taps, [&](int j) { return at(j - int(taps.size() / 2)); }); });
}

/// Sharpens the lines of @p rect, around which the pixels of the picture count as neighbours.
inline void sharpen(Picture &picture, const QRect &rect, Qt::Orientation lines, int amount)
{
    alongLines(picture, rect, picture.rect(), lines, [amount](auto at) {
        return pixelOf([&](int c) {
            const int sides = channel(at(-1), c) + channel(at(1), c);
            return qBound(0, (channel(at(0), c) * (2 * amount + 1785) - sides * amount + 765) / 1785, 255);
        });
    });
}

/// The means of the channels of 2 * radius + 1 pixels around at(0), truncated; colour may count by its alpha.
template <class At>
std::array<int, 4> means(At at, int radius, bool premultiplied)
{
    std::array<int, 4> sums {};
    for (int k = -radius; k <= radius; ++k) {
        const OPRGBA32i pixel = at(k);
        for (int c = 0; c < 4; ++c)
            sums[size_t(c)] += premultiplied && c < 3 ? channel(pixel, c) * pixel.a / 255 : channel(pixel, c);
    }
    for (int &sum : sums)
        sum /= 2 * radius + 1;
    return sums;
}

/// The mean along lines of straight pixels whose colour counts by its alpha; outside the edge of the picture counts.
inline void premultipliedMean(Picture &picture, const QRect &rect, Qt::Orientation lines, int radius)
{
    alongLines(picture, rect, picture.rect(), lines, [&](auto at) {
        const auto mean = means(at, radius, true);
        return mean[3] == 0 ? OPRGBA32i()
                            : pixelOf([&](int c) { return c == 3 ? mean[3] : mean[size_t(c)] * 255 / mean[3]; });
    });
}

/// Gives the colours of @p rect, but not of its last row, the value @p formula(colour, alpha).
template <class Formula>
void allButTheLastRow(Picture &picture, const QRect &rect, Formula formula)
{
    picture.fill(rect.adjusted(0, 0, 0, -1), [&](int x, int y) {
        const OPRGBA32i p = picture.at(x, y);
        return pixelOf([&](int c) { return c == 3 ? p.a : formula(int(channel(p, c)), int(p.a)); });
    });
}

inline void premultiply(Picture &picture, const QRect &rect)
{
    allButTheLastRow(picture, rect, [](int c, int a) { return (c * a + 127) / 255; });
}

inline void unpremultiply(Picture &picture, const QRect &rect)
{
    allButTheLastRow(picture, rect, [](int c, int a) { return a == 0 ? 0 : (c * 255 + a / 2) / a; });
}

/// @p upper laid over @p lower with an opacity in percent: the mean of the colours by their alphas, all 0 where nothing
/// covers.
inline OPRGBA32i laidOver(OPRGBA32i upper, OPRGBA32i lower, int percent, bool keepAlpha)
{
    const unsigned covered = upper.a * unsigned(percent * 256 / 100) / 256, rest = (255 - covered) * lower.a;
    const unsigned alpha = (covered * 255 + rest) / 255;
    return pixelOf([&](int c) {
        const unsigned mean =
            (channel(upper, c) * covered * 255 + channel(lower, c) * rest) / std::max(alpha * 255, 1u);
        return c < 3 ? std::min(mean, 255u) : keepAlpha ? lower.a : alpha;
    });
}

/// @p from moved towards @p to by a selection's alpha.
inline OPRGBA32i moved(OPRGBA32i from, OPRGBA32i to, int alpha)
{
    return pixelOf([&](int c) { return (channel(to, c) * alpha + channel(from, c) * (255 - alpha)) / 255; });
}

} // namespace kit
