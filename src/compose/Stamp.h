#pragma once

#include "KXPixels.h"
#include "support/Arithmetic.h"

#include <cmath>

namespace compose {

/// A brush stamp that darkens: the strengths with which its pixels are laid on a stroke.
struct Stamp {
    double opacity;
    double averageOpacity;
    double flow;

    static constexpr double unit = 0.00392156862745098; ///< 1 / 255
    static constexpr double epsilon = 2.220446049250313e-16;

    /// A byte from a value: halves go away from zero.
    static unsigned char rounded(double v) { return static_cast<unsigned char>(arithmetic::truncate(std::round(v))); }

    void Apply(OPRGBA32i src, OPRGBA32i &dst) const
    {
        if (src.a == 0)
            return;
        const double m = src.a * unit, applied = m * opacity;
        double a = 0;
        if (dst.a) {
            const auto moved = [applied](int s, int d) { return rounded((s - d) * applied + d); };
            dst.r = moved(src.r, dst.r);
            dst.g = moved(src.g, dst.g);
            dst.b = moved(src.b, dst.b);
            a = dst.a * unit;
        } else {
            dst = OPRGBA32i(src.b, src.g, src.r, 0);
        }
        dst.a = rounded(NewAlpha(m, applied, a) * 255.0);
    }

    double NewAlpha(double m, double applied, double a) const
    {
        double x = a;
        if (averageOpacity + epsilon > opacity) {
            if (averageOpacity + epsilon > a)
                x = (averageOpacity - applied) * (a / averageOpacity) + applied;
        } else if (opacity + epsilon > a) {
            x = (opacity - a) * m + a;
        }
        if (flow != 1.0) {
            const float af = static_cast<float>(a); // the one rounding to single precision is part of the result
            x = (x - af) * flow + af;
        }
        return x;
    }
};

} // namespace compose
