#pragma once

#include "pixels/Rows.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

/// What both inpainting engines have in common: their marks, and what they take from the eight pixels around one.
namespace retouch {

constexpr OPRGBA32i toVisit { 0xFF000000u }; ///< in the frontier

inline bool isKnown(OPRGBA32i inMask) { return inMask.a < 255; }

/// How steep something is; y is upwards.
struct Slope {
    int x, y;
};

/// The differences of the columns and of the rows around a position: @p at(dx, dy) is the value beside it. The middle
/// row and column count @p middle times, 2 for Sobel's weights.
template <int middle, class At>
Slope slopeOf(At at)
{
    return { middle * (at(1, 0) - at(-1, 0)) - at(-1, -1) - at(-1, 1) + at(1, -1) + at(1, 1),
        middle * (at(0, -1) - at(0, 1)) - at(-1, 1) - at(1, 1) + at(1, -1) + at(-1, -1) };
}

/// The length of @p slope, toward zero, at most 255. Components are at most 2295 and so fit when squared.
inline unsigned char steepness(Slope slope)
{
    const int square = slope.y * slope.y + slope.x * slope.x;
    return static_cast<unsigned char>(square >= 255 * 255 ? 255 : int(std::sqrt(double(square))));
}

/// What stands beyond the edges of an area.
enum class Beyond { Edge, Zero };

/// Calls @p store(x, y, slope) for the slope of alpha at each of @p pixels.
template <int middle, class Store>
void forEachAlphaSlope(const pixels::Rows<const OPRGBA32i> &pixels, Beyond beyond, const Store &store)
{
    const int width = pixels.width, height = pixels.height;
    // Three rows of alpha, each with a column more on either side.
    std::vector<unsigned char> rows(3 * (size_t(width) + 2));
    unsigned char *above = rows.data() + 1, *here = above + width + 2, *below = here + width + 2;
    const auto load = [&](unsigned char *alpha, int y) {
        if (beyond == Beyond::Zero && (y < 0 || y >= height)) {
            std::fill_n(alpha, width, static_cast<unsigned char>(0));
            return;
        }
        const OPRGBA32i *const row = pixels.Row(std::clamp(y, 0, height - 1));
        for (int x = 0; x < width; ++x)
            alpha[x] = row[x].a;
        alpha[-1] = beyond == Beyond::Edge ? alpha[0] : 0;
        alpha[width] = beyond == Beyond::Edge ? alpha[width - 1] : 0;
    };
    load(above, -1);
    load(here, 0);
    for (int y = 0; y < height; ++y) {
        load(below, y + 1);
        const unsigned char *const around[] = { above, here, below };
        for (int x = 0; x < width; ++x)
            store(x, y, slopeOf<middle>([&](int dx, int dy) { return int(around[dy + 1][x + dx]); }));
        std::swap(above, here);
        std::swap(here, below);
    }
}

/// The sum of eight pixels, each channel by itself: 8 * 255 and what is added for rounding fit into 16 bits.
class SumOfEight {
public:
    void Add(OPRGBA32i pixel)
    {
        m_evenChannels += pixel.word & 0x00FF00FFu;
        m_oddChannels += pixel.word >> 8 & 0x00FF00FFu;
    }

    /// (sum + rounding) >> 3 of each channel. What one channel shifts into the next is above its byte.
    OPRGBA32i Mean(unsigned colorRounding, unsigned alphaRounding) const
    {
        const unsigned even = m_evenChannels + colorRounding * 0x00010001u; // blue and red
        const unsigned odd = m_oddChannels + colorRounding + (alphaRounding << 16); // green and alpha
        return OPRGBA32i((even >> 3 & 0x00FF00FFu) | (odd >> 3 & 0x00FF00FFu) << 8);
    }

private:
    unsigned m_evenChannels = 0, m_oddChannels = 0;
};

} // namespace retouch
