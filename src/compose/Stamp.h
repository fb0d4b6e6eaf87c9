#pragma once

#include "compose/Lane1.h"
#include "support/Arithmetic.h"

#include <cmath>

namespace compose {

/// What a stamp computes in, for one pixel at a time. The module has the same functions for four.
constexpr double toDouble(Lane1 v) { return v; }
constexpr double select(bool condition, double yes, double no) { return condition ? yes : no; }
constexpr double inSingle(double v) { return static_cast<float>(v); }

/// A byte from a value: halves go away from zero, and of what is out of range the low byte counts.
inline Lane1 roundedToByte(double v) { return static_cast<unsigned char>(arithmetic::truncate(std::round(v))); }

/// A brush stamp that darkens: the strengths with which its pixels are laid on a stroke.
struct Stamp {
    double opacity;
    double averageOpacity;
    double flow;

    static constexpr double epsilon = 2.220446049250313e-16;

    /// What becomes of @p d, by channels. The order of the operations is part of the result.
    template <class V>
    Pixel<V> Apply(const Pixel<V> &s, const Pixel<V> &d) const
    {
        using Number = decltype(toDouble(V()));
        const Number m = toDouble(s.a) * Number(arithmetic::perByte), applied = m * Number(opacity),
                     a = toDouble(d.a) * Number(arithmetic::perByte);
        const auto moved = [&, isFresh = d.a == V(0)](V from, V to) {
            const Number old = toDouble(to);
            return select(isFresh, from, roundedToByte((toDouble(from) - old) * applied + old));
        };
        const Pixel<V> result { moved(s.b, d.b), moved(s.g, d.g), moved(s.r, d.r),
            roundedToByte(NewAlpha(m, applied, a) * Number(255.0)) };
        return select(s.a == V(0), d, result);
    }

private:
    template <class Number>
    Number NewAlpha(Number m, Number applied, Number a) const
    {
        Number x = a;
        if (averageOpacity + epsilon > opacity) {
            const Number average(averageOpacity);
            x = select(Number(averageOpacity + epsilon) > a, (average - applied) * (a / average) + applied, a);
        } else {
            x = select(Number(opacity + epsilon) > a, (Number(opacity) - a) * m + a, a);
        }
        if (flow != 1.0) {
            const Number single = inSingle(a); // the one rounding to single precision is part of the result
            x = (x - single) * Number(flow) + single;
        }
        return x;
    }
};

} // namespace compose
