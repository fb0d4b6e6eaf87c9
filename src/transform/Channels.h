#pragma once

#include "KXPixels.h"

namespace transform {

/// The four channels of a pixel in double precision, as compilers turn it into vectors. The kernel module has a type of
/// its own with the same functions.
struct Channels {
    double v[4];

    Channels() = default;
    explicit Channels(double value)
        : v { value, value, value, value }
    {
    }
    explicit Channels(OPRGBA32i pixel)
        : v { double(pixel.b), double(pixel.g), double(pixel.r), double(pixel.a) }
    {
    }
};

template <class Operation>
Channels forEachChannel(const Channels &x, const Channels &y, Operation operation)
{
    Channels result;
    for (int i = 0; i < 4; ++i)
        result.v[i] = operation(x.v[i], y.v[i]);
    return result;
}

inline Channels operator+(const Channels &x, const Channels &y)
{
    return forEachChannel(x, y, [](double a, double b) { return a + b; });
}
inline Channels operator-(const Channels &x, const Channels &y)
{
    return forEachChannel(x, y, [](double a, double b) { return a - b; });
}
inline Channels operator*(const Channels &x, const Channels &y)
{
    return forEachChannel(x, y, [](double a, double b) { return a * b; });
}

/// Truncated, then clamped to a byte; the other way around gives the same.
inline Channels toBytes(const Channels &x)
{
    return forEachChannel(x, x, [](double a, double) {
        const double low = a < 255 ? a : 255;
        return double(int(low > 0 ? low : 0));
    });
}

/// The pixel of these channels, which are truncated and clamped first.
inline OPRGBA32i toPixel(const Channels &x)
{
    const Channels bytes = toBytes(x);
    unsigned word = 0;
    for (int i = 0; i < 4; ++i)
        word |= unsigned(int(bytes.v[i])) << 8 * i;
    return OPRGBA32i(word);
}

} // namespace transform
