#pragma once

#include "KXPixels.h"

/// The number type of the blend arithmetic. A formula is written once, as a template over V: one channel of one pixel
/// here (quint32), one channel of eight pixels in the kernel module. Everything is unsigned and wraps at 32 bits.
///
/// The vector form is exact only within the ranges given at each function; formulas stay inside them for opacities of
/// up to 256, and larger opacities never reach it.
namespace compose {

using Lane1 = quint32;

/// A pixel, or several, by channels.
template <class V>
struct Pixel {
    V b, g, r, a;
};

constexpr Lane1 min(Lane1 x, Lane1 y) { return x < y ? x : y; }
constexpr Lane1 max(Lane1 x, Lane1 y) { return x > y ? x : y; }
constexpr Lane1 select(bool condition, Lane1 yes, Lane1 no) { return condition ? yes : no; }

/// Product of two factors below 32768, one of which may also be -1.
constexpr Lane1 mul(Lane1 x, Lane1 y) { return x * y; }

/// Product below 2^32.
constexpr Lane1 mulWide(Lane1 x, Lane1 y) { return x * y; }

/// n / 255 for n below 65536.
constexpr Lane1 div255(Lane1 n) { return n / 255; }

/// n / d for n below 2^24 and d from 1 to 2^24 - 1.
constexpr Lane1 divide(Lane1 n, Lane1 d) { return n / d; }

/// min(n / d, 255) for n below 2^24, and 255 for a d of 0.
constexpr Lane1 quotient255(Lane1 n, Lane1 d) { return d ? min(n / d, 255) : 255; }

/// min((b * wb + d * wd + s * ws) / W, 255), weights and W up to 65025, W not 0. Exact while the sum is below 2^24;
/// beyond that the quotient is over 255 anyway, as W is at most 65025. The vector form leaves the minimum to the store,
/// so the result may only be stored.
constexpr Lane1 weighted(Lane1 b, Lane1 wb, Lane1 d, Lane1 wd, Lane1 s, Lane1 ws, Lane1 W)
{
    return min((b * wb + d * wd + s * ws) / W, 255);
}

/// The same of two numbers, whose weights add up to 65025 at most.
constexpr Lane1 weighted(Lane1 s, Lane1 p, Lane1 d, Lane1 q, Lane1 W) { return min((s * p + d * q) / W, 255); }

/// min((s * p + d * q) / W, 255) for p up to 65280, q from -255 to 65025, W from 1 to 65025. A negative sum wraps to a
/// huge one, which gives 255.
constexpr Lane1 weightedWrapping(Lane1 s, Lane1 p, Lane1 d, Lane1 q, Lane1 W) { return min((s * p + d * q) / W, 255); }

/// Single precision, for the one mode that computes in it.
constexpr float toFloat(Lane1 v) { return float(v); }
constexpr Lane1 truncateToLane(float v) { return Lane1(int(v)); } // v in 0..255
constexpr float splat(float v, Lane1) { return v; }

template <class V>
Pixel<V> select(decltype(V() == V()) condition, const Pixel<V> &yes, const Pixel<V> &no)
{
    return { select(condition, yes.b, no.b), select(condition, yes.g, no.g), select(condition, yes.r, no.r),
        select(condition, yes.a, no.a) };
}

inline Pixel<Lane1> load(OPRGBA32i pixel) { return { pixel.b, pixel.g, pixel.r, pixel.a }; }

inline OPRGBA32i pack(const Pixel<Lane1> &p)
{
    using Byte = unsigned char;
    return OPRGBA32i(Byte(p.b), Byte(p.g), Byte(p.r), Byte(p.a));
}

} // namespace compose
