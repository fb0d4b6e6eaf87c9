#pragma once

#include "compose/Lane1.h"

#include <algorithm>

/// A number type of the blend arithmetic for tests. It computes as Lane1 does, and knows whether its value can be
/// relied on in vectors: a function whose arguments leave the range that it states taints its result, and so does a
/// tainted argument. Only a selection leaves taint behind. What a formula returns must not be tainted.
namespace compose {

struct Ranged {
    quint32 v = 0;
    bool isExact = true;

    Ranged() = default;
    explicit Ranged(quint32 value, bool exact = true)
        : v(value)
        , isExact(exact)
    {
    }
};

struct RangedFlag {
    bool v, isExact;
};

struct RangedFloat {
    float v;
    bool isExact;
};

/// @p value, computed from @p from within the range of the function or not.
template <class... From>
Ranged ranged(quint32 value, bool inRange, From... from)
{
    return Ranged(value, inRange && (from.isExact && ...));
}

inline bool isByte(Ranged x) { return x.v <= 255; }
inline bool isWeight(Ranged x) { return x.v <= 65025; }
inline bool isBelowTwoTo24(Ranged x) { return x.v < 1u << 24; }
inline bool isFactor(Ranged x) { return x.v < 32768; }

inline Ranged operator+(Ranged x, Ranged y) { return ranged(x.v + y.v, true, x, y); }
inline Ranged operator-(Ranged x, Ranged y) { return ranged(x.v - y.v, true, x, y); }
inline Ranged operator<<(Ranged x, int n) { return ranged(x.v << n, true, x); }
inline Ranged operator>>(Ranged x, int n) { return ranged(x.v >> n, true, x); }
inline Ranged operator&(Ranged x, Ranged y) { return ranged(x.v & y.v, true, x, y); }
inline Ranged operator|(Ranged x, Ranged y) { return ranged(x.v | y.v, true, x, y); }
inline Ranged operator~(Ranged x) { return ranged(~x.v, true, x); }
inline RangedFlag operator==(Ranged x, Ranged y) { return { x.v == y.v, x.isExact && y.isExact }; }
inline RangedFlag operator<(Ranged x, Ranged y) // vectors compare with a sign
{
    return { x.v < y.v, x.isExact && y.isExact && std::max(x.v, y.v) < 1u << 31 };
}
inline Ranged min(Ranged x, Ranged y) { return ranged(min(x.v, y.v), true, x, y); }
inline Ranged max(Ranged x, Ranged y) { return ranged(max(x.v, y.v), true, x, y); }
inline Ranged select(bool which, Ranged yes, Ranged no) { return which ? yes : no; }
inline Ranged select(RangedFlag which, Ranged yes, Ranged no)
{
    return ranged((which.v ? yes : no).v, true, which, which.v ? yes : no);
}

inline Ranged mul(Ranged x, Ranged y)
{
    const auto mayBe = [](Ranged a, Ranged b) { return isFactor(a) && (isFactor(b) || b.v == quint32(-1)); };
    return ranged(mul(x.v, y.v), mayBe(x, y) || mayBe(y, x), x, y);
}
inline Ranged operator*(Ranged x, Ranged y) { return mul(x, y); }
inline Ranged mulWide(Ranged x, Ranged y) { return ranged(x.v * y.v, quint64(x.v) * y.v >> 32 == 0, x, y); }
inline Ranged div255(Ranged n) { return ranged(div255(n.v), n.v <= 65535, n); }
inline Ranged divide(Ranged n, Ranged d)
{
    return ranged(n.v / std::max(d.v, 1u), isBelowTwoTo24(n) && isBelowTwoTo24(d) && d.v != 0, n, d);
}
inline Ranged quotient255(Ranged n, Ranged d) { return ranged(quotient255(n.v, d.v), isBelowTwoTo24(n), n, d); }
inline Ranged weighted(Ranged b, Ranged wb, Ranged d, Ranged wd, Ranged s, Ranged ws, Ranged W)
{
    const bool fits =
        b.v <= 510 && isByte(d) && isByte(s) && isWeight(wb) && isWeight(wd) && isWeight(ws) && isWeight(W) && W.v != 0;
    return ranged(weighted(b.v, wb.v, d.v, wd.v, s.v, ws.v, std::max(W.v, 1u)), fits, b, wb, d, wd, s, ws, W);
}
inline Ranged weighted(Ranged s, Ranged p, Ranged d, Ranged q, Ranged W)
{
    const bool fits = isByte(s) && isByte(d) && p.v + quint64(q.v) <= 65025 && isWeight(W) && W.v != 0;
    return ranged(weighted(s.v, p.v, d.v, q.v, std::max(W.v, 1u)), fits, s, p, d, q, W);
}
inline Ranged weightedWrapping(Ranged s, Ranged p, Ranged d, Ranged q, Ranged W)
{
    const bool fits =
        isByte(s) && isByte(d) && p.v <= 65280 && (isWeight(q) || q.v >= quint32(-255)) && isWeight(W) && W.v != 0;
    return ranged(weightedWrapping(s.v, p.v, d.v, q.v, std::max(W.v, 1u)), fits, s, p, d, q, W);
}

inline RangedFloat operator*(RangedFloat x, RangedFloat y) { return { x.v * y.v, x.isExact && y.isExact }; }
inline RangedFloat operator-(RangedFloat x, RangedFloat y) { return { x.v - y.v, x.isExact && y.isExact }; }
inline RangedFloat toFloat(Ranged x) { return { float(x.v), x.isExact && isBelowTwoTo24(x) }; }
inline RangedFloat splat(float v, Ranged) { return { v, true }; }
inline Ranged truncateToLane(RangedFloat x)
{
    const bool fits = x.v >= 0 && x.v < 256;
    return Ranged(fits ? quint32(x.v) : 0, fits && x.isExact);
}

} // namespace compose
