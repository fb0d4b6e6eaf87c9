#pragma once

#include "support/Arithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>

/// The arithmetic of selective colours in single precision, as templates over the number: one float here, eight in the
/// kernel module. Channels are fractions. The order of the operations is part of the results, and so is that min and
/// max give their first argument where one of the two is NaN.
namespace color::selective {

using std::abs;
using std::max;
using std::min;

constexpr float leastWeight = 1e-5f; // a range acts where its weight is above this

/// 0 for NaN, too.
template <class V>
V positive(V x)
{
    return max(V(0), x);
}

template <class V>
V whites(V least)
{
    const V t = positive(V(2) * (least - V(0.5f))); // 0 unless all channels are above 0.5
    return t * t * V(1.1f);
}

template <class V>
V neutrals(V least, V most)
{
    return positive(V(1) - (abs(least - V(0.5f)) + abs(most - V(0.5f))));
}

/// The factor of the largest channel is intended: black itself is not in the blacks.
template <class V>
V blacks(V most)
{
    return positive(V(2) * (V(0.5f) - most) * most) * V(1.1f); // 0 unless all channels are below 0.5
}

/// The weights of a colour in all ranges, in the order of SelectiveParamsList::Range.
template <class V>
std::array<V, 9> weights(V r, V g, V b)
{
    const V least = min(min(r, g), b), most = max(max(r, g), b);
    return {
        positive(r - max(g, b)), // reds
        positive(min(r, g) - b), // yellows
        positive(g - max(r, b)), // greens
        positive(min(g, b) - r), // cyans
        positive(b - max(r, g)), // blues
        positive(min(r, b) - g), // magentas
        whites(least),
        neutrals(least, most),
        blacks(most),
    };
}

/// What the inks of a range ask of a channel: -1 takes all of it away.
template <class V>
V change(V colour, V black)
{
    return -colour - (colour + V(1)) * black;
}

/// What a range of this weight adds to a channel of @p value. @p scale is 1, or 1 minus the value in the relative mode.
template <class V>
V added(V value, V change, V scale, V weight)
{
    return max(min(change * scale, V(1) - value), -value) * weight;
}

/// A channel as a number from 0 to 256 that truncates to its byte: limited, with NaN as 0, and halves rounded up.
///
/// What is added is the largest float below 0.5. Let x be from 0 to 255 and n a whole number. If x is at least n - 0.5,
/// the exact sum is at least n - 2^-25, and the nearest float to that is n or more. If x is less than n - 0.5, it is at
/// least one place of x below: the exact sum is at most n - 2^-25 minus that place, and n is not the nearest float.
template <class V>
V level(V value)
{
    return min(positive(value), V(1)) * V(255) + V(0.49999997f);
}

} // namespace color::selective
