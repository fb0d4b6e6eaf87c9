#pragma once

#include "KXBlend.h"
#include "compose/Lane1.h"
#include "support/Arithmetic.h"

#include <type_traits>

/// The composition modes. A mode is a struct that says what becomes of a destination pixel:
///
///     template <class V, class Coverage>
///     static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const Coverage &c);
///
/// @c Coverage is what the composer knows beside the two pixels. In the plain form (PlainCoverage) that is an opacity
/// and perhaps the alpha of a clip, in the masked form (MaskedCoverage) also that of a mask, and beside a clip perhaps
/// that of a second mask. A mode that computes the same in both forms takes either; @c forms says which of them exist.
///
/// Layers are mostly opaque or mostly empty. What a mode does there more simply than in general it says beside its
/// formula: what it leaves of the destination where nothing is laid on it (@c uncovered), and, if that saves a
/// division, with which alpha it mixes colours into an opaque destination (@c alphaOnOpaque). Both are shortcuts to the
/// same bytes.
namespace compose {

enum class Forms { Plain, Masked, Both };

/// What a mode leaves of a destination pixel.
enum class Kept {
    Nothing, ///< any of it may change
    Visible, ///< the pixel, but one without alpha becomes 0
    All
};

/// What a mode leaves where nothing is laid on the destination.
struct Uncovered {
    Kept bySource; ///< where the alpha of the source is 0, whatever the masks are
    Kept byMask; ///< where that of the clip or of a mask is 0, whatever the source is
};
constexpr Uncovered leavesAll { Kept::All, Kept::All }, leavesVisible { Kept::Visible, Kept::Visible },
    leavesNothing { Kept::Nothing, Kept::Nothing };

template <class V>
struct PlainCoverage {
    quint32 opacity; ///< 256 is full
    bool lock; ///< alpha of the destination stays
    bool hasClip;
    V clip; ///< alpha of the clip, where there is one

    /// The clip applied to a source alpha of up to 256.
    V clipped(V sa) const { return hasClip ? div255(mul(clip, sa)) : sa; }

    /// The alpha with which a source takes part.
    V sourceAlpha(V a) const { return clipped(mul(a, V(opacity)) >> 8); }

    PlainCoverage withoutClip() const { return { opacity, lock, false, V(255) }; }
};

template <class V>
struct MaskedCoverage {
    quint32 opacity;
    bool lock;
    bool hasClip;
    bool hasSecondMask; ///< only looked at where there is a clip
    V mask; ///< alpha of the mask, and of the others where they are there
    V clip;
    V secondMask;

    V clipped(V sa) const
    {
        if (hasClip) {
            sa = div255(mul(clip, sa));
            if (hasSecondMask)
                sa = div255(mul(secondMask, sa));
        }
        return sa;
    }

    /// The alpha with which a source takes part. At most 255 * 255 * 256 / 65280 = 255.
    V sourceAlpha(V a) const { return scaledAlpha(a, 65280); }

    V scaledAlpha(V a, quint32 unit) const { return clipped(divide(mulWide(mul(a, mask), V(opacity)), V(unit))); }
};

/// Colours by a function of the channel, alpha as given.
template <class V, class Channel>
Pixel<V> perColour(const Pixel<V> &s, const Pixel<V> &d, V alpha, Channel channel)
{
    return { channel(s.b, d.b), channel(s.g, d.g), channel(s.r, d.r), alpha };
}

template <class V>
V greyOf(const Pixel<V> &p)
{
    return min(arithmetic::grey(p.r, p.g, p.b), V(255));
}

/// A pixel that nothing covers becomes 0. @p W is 255 times its alpha. For opacities up to 256, W is 0 only if both
/// alphas are 0; then the weights are 0 too, and so are the mixed colours, without any selection.
template <class V, class Coverage>
Pixel<V> zeroWhereUncovered(V W, const Pixel<V> &mixed, const Coverage &c)
{
    return c.opacity <= 256 ? mixed : select(W == V(0), Pixel<V> { V(0), V(0), V(0), V(0) }, mixed);
}

/// A colour of an opaque destination into which @p mixed goes with an alpha of @p sa. Where the destination's alpha is
/// 255 all weights of the general formulas are multiples of 255 that add up to 65025, so that they come down to
/// (mixed * sa + d * (255 - sa)) / 255, at most 255. An @p sa of 256 makes 255 - sa wrap: then a sum below zero is a
/// huge number, as there. 65279 / 255 is still 255. For opacities up to 256.
template <class V>
V mixedOnOpaque(V mixed, V d, V sa)
{
    return div255(min(mul(mixed, sa) + mul(V(255) - sa, d), V(65279)));
}

template <class Mode, class V, class Coverage>
Pixel<V> blendOnOpaque(const Pixel<V> &s, const Pixel<V> &d, const Coverage &c)
{
    return perColour(s, d, d.a, [sa = Mode::alphaOnOpaque(s.a, c)](V source, V dest) {
        return mixedOnOpaque(Mode::mix(source, dest), dest, sa);
    });
}

/// The frame of the separable modes: Mode::mix(s, d) where both pixels cover, a pixel's own colour where only that one
/// does.
template <class Mode, Forms available>
struct Separable {
    static constexpr Forms forms = available;
    static constexpr bool mixFits16Bits = false; ///< whether @c mix stays at or below 255, and 65535 on the way there
    static constexpr Uncovered uncovered(bool) { return leavesVisible; }

    template <class V, class Coverage>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const Coverage &c)
    {
        const V sa = c.sourceAlpha(s.a);
        const V wd = mul(V(255) - sa, d.a), wb = mul(d.a, sa), ws = mul(V(255) - d.a, sa);
        const V sum = div255(mul(sa, V(255)) + wd), ra = c.opacity <= 256 ? sum : min(sum, V(255));
        const V W = mul(ra, V(255)), divisor = max(W, V(1));
        const auto mixed = perColour(s, d, select(c.lock, d.a, ra),
            [&](V source, V dest) { return weighted(Mode::mix(source, dest), wb, dest, wd, source, ws, divisor); });
        return zeroWhereUncovered(W, mixed, c);
    }

    template <class V, class Coverage>
    static V alphaOnOpaque(V a, const Coverage &c)
    {
        return c.sourceAlpha(a);
    }
};

/// Colours by bits, alpha by the same operation on the source's alpha.
template <class Mode>
struct Bitwise {
    static constexpr Forms forms = Forms::Plain;
    static constexpr Uncovered uncovered(bool) { return leavesNothing; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        return perColour(s, d, c.lock ? d.a : Mode::mix(c.sourceAlpha(s.a), d.a),
            [](V source, V dest) { return Mode::mix(source, dest); });
    }
};

struct SourceOver {
    static constexpr auto id = KXCompositionMode::SourceOver;
    static constexpr char name[] = "SourceOver";
    static constexpr bool mixFits16Bits = true;
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesVisible; }

    /// With an opacity of 256 an opaque source has sa = 256, and 255 - sa wraps. The result is intended: alpha stays
    /// full, and a colour of 0 over one that is not, where the destination is not transparent, becomes 255.
    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        const V sa = shownAlpha(s.a, c);
        const Pixel<V> result = over(s, d, sa, c);
        // An exact 255 replaces the pixel. Up to an opacity of 256 this takes a source alpha of 255, for which the
        // formula gives the source pixel too.
        return !c.lock && c.opacity > 256 ? select(sa == V(255), s, result) : result;
    }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const MaskedCoverage<V> &c)
    {
        return over(s, d, shownAlpha(s.a, c), c);
    }

    template <class V, class Coverage>
    static V alphaOnOpaque(V a, const Coverage &c)
    {
        return shownAlpha(a, c);
    }
    template <class V>
    static V mix(V s, V)
    {
        return s;
    }

private:
    friend struct OpacityOver;

    template <class V>
    static V shownAlpha(V a, const PlainCoverage<V> &c)
    {
        return c.clipped(div255(mul(a, V(c.opacity))));
    }
    template <class V>
    static V shownAlpha(V a, const MaskedCoverage<V> &c)
    {
        return c.scaledAlpha(a, 65025);
    }

    template <class V, class Coverage>
    static Pixel<V> over(const Pixel<V> &s, const Pixel<V> &d, V sa, const Coverage &c)
    {
        const V p = mul(sa, V(255)), q = mul(V(255) - sa, d.a);
        const V ra = min(div255(p + q), V(255));
        const V W = mul(ra, V(255)), divisor = max(W, V(1));
        const auto mixed = [&](auto weigh) {
            const auto channel = [&](V source, V dest) { return weigh(source, p, dest, q, divisor); };
            return zeroWhereUncovered(W, perColour(s, d, select(c.lock, d.a, ra), channel), c);
        };
        // Below full opacity sa is 255 at most, so that no weight wraps.
        return c.opacity < 256 ? mixed([](auto... v) { return weighted(v...); })
                               : mixed([](auto... v) { return weightedWrapping(v...); });
    }
};

/// The blend of @c OPBlend::OPSourceOver, no mode of a layer: SourceOver, but the source's alpha is scaled as in the
/// other modes and so is 255 at most.
struct OpacityOver {
    static constexpr bool mixFits16Bits = true;
    static constexpr Uncovered uncovered(bool) { return leavesVisible; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        return SourceOver::over(s, d, c.sourceAlpha(s.a), c);
    }
    template <class V>
    static V alphaOnOpaque(V a, const PlainCoverage<V> &c)
    {
        return c.sourceAlpha(a);
    }
    template <class V>
    static V mix(V s, V)
    {
        return s;
    }
};

struct Clear {
    static constexpr auto id = KXCompositionMode::Clear;
    static constexpr char name[] = "Clear";
    static constexpr Forms forms = Forms::Plain;
    static constexpr Uncovered uncovered(bool lock) { return { Kept::All, lock ? Kept::All : Kept::Nothing }; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        if (c.lock)
            return d;
        return { d.b, d.g, d.r, select(mulWide(s.a, V(c.opacity)) == V(0), d.a, V(0)) };
    }
};

struct Source {
    static constexpr auto id = KXCompositionMode::Source;
    static constexpr char name[] = "Source";
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesNothing; }

    /// The plain form at full opacity, unlocked, is a copy and never comes here.
    template <class V, class Coverage>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const Coverage &c)
    {
        return { s.b, s.g, s.r, c.lock ? d.a : c.sourceAlpha(s.a) };
    }
};

struct DestinationIn {
    static constexpr auto id = KXCompositionMode::DestinationIn;
    static constexpr char name[] = "DestinationIn";
    static constexpr Forms forms = Forms::Plain;
    static constexpr Uncovered uncovered(bool lock) { return lock ? leavesAll : leavesNothing; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        return { d.b, d.g, d.r, c.lock ? d.a : div255(mul(d.a, c.sourceAlpha(s.a))) };
    }
};

struct DestinationOut {
    static constexpr auto id = KXCompositionMode::DestinationOut;
    static constexpr char name[] = "DestinationOut";
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesAll; }

    template <class V, class Coverage>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const Coverage &c)
    {
        return { d.b, d.g, d.r, c.lock ? d.a : div255(mul(V(255) - c.sourceAlpha(s.a), d.a)) };
    }
};

struct Plus : Separable<Plus, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Plus;
    static constexpr char name[] = "Plus";

    template <class V>
    static V mix(V s, V d)
    {
        return s + d; // up to 510: the frame clamps
    }
};

struct Multiply : Separable<Multiply, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Multiply;
    static constexpr char name[] = "Multiply";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return div255(mul(s, d));
    }
};

struct Screen : Separable<Screen, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Screen;
    static constexpr char name[] = "Screen";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return V(255) - (mul(V(255) - s, V(255) - d) >> 8); // a shift, not a division by 255
    }
};

struct HardLight : Separable<HardLight, Forms::Both> {
    static constexpr auto id = KXCompositionMode::HardLight;
    static constexpr char name[] = "HardLight";

    /// The upper branch, 255 + (s - 255) * (255 - d) * 2 / 255 truncated toward zero, without negative numbers.
    template <class V>
    static V mix(V s, V d)
    {
        const V low = div255(mul(s, d) << 1), high = V(255) - div255(mul(V(255) - s, V(255) - d) << 1);
        return select(s < V(128), low, high);
    }
};

struct Overlay : Separable<Overlay, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Overlay;
    static constexpr char name[] = "Overlay";

    template <class V>
    static V mix(V s, V d)
    {
        return HardLight::mix(d, s);
    }
};

struct Darken : Separable<Darken, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Darken;
    static constexpr char name[] = "Darken";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return min(s, d);
    }
};

struct Lighten : Separable<Lighten, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Lighten;
    static constexpr char name[] = "Lighten";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return max(s, d);
    }
};

struct ColorDodge : Separable<ColorDodge, Forms::Both> {
    static constexpr auto id = KXCompositionMode::ColorDodge;
    static constexpr char name[] = "ColorDodge";

    template <class V>
    static V mix(V s, V d)
    {
        return quotient255(mul(d, V(255)), V(255) - s);
    }
};

struct ColorBurn : Separable<ColorBurn, Forms::Both> {
    static constexpr auto id = KXCompositionMode::ColorBurn;
    static constexpr char name[] = "ColorBurn";

    /// max((d - 255) * 256 / s + 255, 0) without negative numbers, and 0 where s is 0; the factor is 256.
    template <class V>
    static V mix(V s, V d)
    {
        return V(255) - quotient255((V(255) - d) << 8, s);
    }
};

struct SoftLight : Separable<SoftLight, Forms::Both> {
    static constexpr auto id = KXCompositionMode::SoftLight;
    static constexpr char name[] = "SoftLight";

    template <class V>
    static V mix(V s, V d)
    {
        const auto unit = splat(arithmetic::perByteSingle, s);
        const V h = s >> 1;
        const auto low = toFloat((h << 1) + V(128)) * toFloat(d) * unit;
        const auto high = splat(255.0f, s) - toFloat((V(191) - h) << 1) * toFloat(V(255) - d) * unit;
        return select(d < V(128), truncateToLane(low), truncateToLane(high));
    }
};

struct Difference : Separable<Difference, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Difference;
    static constexpr char name[] = "Difference";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return max(s, d) - min(s, d);
    }
};

struct Exclusion : Separable<Exclusion, Forms::Both> {
    static constexpr auto id = KXCompositionMode::Exclusion;
    static constexpr char name[] = "Exclusion";

    template <class V>
    static V mix(V s, V d)
    {
        return s + d - divide(mul(s, d) << 1, V(255));
    }
};

struct SourceOrDestination : Bitwise<SourceOrDestination> {
    static constexpr auto id = KXCompositionMode::SourceOrDestination;
    static constexpr char name[] = "SourceOrDestination";

    template <class V>
    static V mix(V s, V d)
    {
        return d | s;
    }
};

struct SourceAndDestination : Bitwise<SourceAndDestination> {
    static constexpr auto id = KXCompositionMode::SourceAndDestination;
    static constexpr char name[] = "SourceAndDestination";

    template <class V>
    static V mix(V s, V d)
    {
        return d & s;
    }
};

struct NotSourceAndDestination : Bitwise<NotSourceAndDestination> {
    static constexpr auto id = KXCompositionMode::NotSourceAndDestination;
    static constexpr char name[] = "NotSourceAndDestination";

    template <class V>
    static V mix(V s, V d)
    {
        return d & ~s;
    }
};

struct FillUnmasked {
    static constexpr auto id = KXCompositionMode::FillUnmasked;
    static constexpr char name[] = "FillUnmasked";
    static constexpr Forms forms = Forms::Masked;
    static constexpr Uncovered uncovered(bool lock) { return lock ? leavesAll : leavesNothing; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const MaskedCoverage<V> &c)
    {
        if (c.lock)
            return d;
        const V covered = c.hasClip ? min(c.mask, c.clip) : c.mask;
        return select(covered == V(0), s, d);
    }
};

struct AlphaToGrey {
    static constexpr auto id = KXCompositionMode::AlphaToGrey;
    static constexpr char name[] = "AlphaToGrey";
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesNothing; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        const V sa = c.sourceAlpha(s.a);
        return { sa, sa, sa, c.lock ? d.a : V(255) };
    }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const MaskedCoverage<V> &c)
    {
        const V sa = c.sourceAlpha(s.a);
        return { sa, sa, sa, c.lock ? d.a : c.clipped(c.mask) };
    }
};

struct SourceToGrey {
    static constexpr auto id = KXCompositionMode::SourceToGrey;
    static constexpr char name[] = "SourceToGrey";
    static constexpr Forms forms = Forms::Plain;
    static constexpr Uncovered uncovered(bool) { return leavesNothing; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        const auto clear = s.a == V(0);
        const V grey = select(clear, V(255), arithmetic::grey(s.r, s.g, s.b));
        return { grey, grey, grey, c.lock ? select(clear, d.a, V(255)) : V(255) };
    }
};

struct Luminosity {
    static constexpr auto id = KXCompositionMode::Luminosity;
    static constexpr char name[] = "Luminosity";
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesNothing; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        return shifted(s, d, c.lock ? c.clipped(s.a) : c.sourceAlpha(s.a), c.lock, d.a);
    }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const MaskedCoverage<V> &c)
    {
        return shifted(s, d, c.sourceAlpha(s.a), c.lock, c.lock ? d.a : V(255));
    }

private:
    /// Each colour moved so that the pixel's grey becomes a mean of both greys: clamp(L + (d - gd) * da / 255, 0, 255),
    /// truncated toward zero, without negative numbers.
    template <class V>
    static Pixel<V> shifted(const Pixel<V> &s, const Pixel<V> &d, V sa, bool lock, V alpha)
    {
        const V gd = greyOf(d), gs = greyOf(s);
        const V L = min(div255(mul(gs, sa) + mul(V(255) - sa, gd)), V(255));
        const Pixel<V> result = perColour(s, d, alpha, [&](V, V dest) {
            const V distance = div255(mul(max(dest, gd) - min(dest, gd), d.a));
            return select(dest < gd, L - min(distance, L), min(L + distance, V(255)));
        });
        return lock ? select(s.a == V(0), Pixel<V> { V(255), V(255), V(255), d.a }, result) : result;
    }
};

struct SourceWhereOpaque {
    static constexpr auto id = KXCompositionMode::SourceWhereOpaque;
    static constexpr char name[] = "SourceWhereOpaque";
    static constexpr Forms forms = Forms::Plain;
    static constexpr Uncovered uncovered(bool) { return { Kept::All, Kept::Nothing }; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        return select(s.a == V(0), d, Pixel<V> { s.b, s.g, s.r, c.lock ? d.a : c.sourceAlpha(s.a) });
    }
};

/// Modes that act on alpha alone; with alpha locked they are SourceOver without the mask.
template <class Mode>
struct AlphaOnly {
    static constexpr Forms forms = Forms::Plain;
    static constexpr Uncovered uncovered(bool lock)
    {
        return { lock ? Kept::Visible : Mode::underTransparent, Kept::Nothing };
    }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        if (c.lock)
            return SourceOver::blend(s, d, c.withoutClip());
        return { d.b, d.g, d.r, Mode::alpha(s.a, d.a, c) };
    }
};

struct AlphaIntersect : AlphaOnly<AlphaIntersect> {
    static constexpr auto id = KXCompositionMode::AlphaIntersect;
    static constexpr char name[] = "AlphaIntersect";
    static constexpr Kept underTransparent = Kept::Nothing;

    template <class V>
    static V alpha(V s, V d, const PlainCoverage<V> &c)
    {
        return select(s == V(0), V(0), div255(mul(d, c.sourceAlpha(s))));
    }
};

struct AlphaAdd : AlphaOnly<AlphaAdd> {
    static constexpr auto id = KXCompositionMode::AlphaAdd;
    static constexpr char name[] = "AlphaAdd";
    static constexpr Kept underTransparent = Kept::All;

    template <class V>
    static V alpha(V s, V d, const PlainCoverage<V> &)
    {
        return min(d + s, V(255));
    }
};

struct AlphaMin : AlphaOnly<AlphaMin> {
    static constexpr auto id = KXCompositionMode::AlphaMin;
    static constexpr char name[] = "AlphaMin";
    static constexpr Kept underTransparent = Kept::Nothing;

    template <class V>
    static V alpha(V s, V d, const PlainCoverage<V> &)
    {
        return min(d, s);
    }
};

struct AlphaSubtract : AlphaOnly<AlphaSubtract> {
    static constexpr auto id = KXCompositionMode::AlphaSubtract;
    static constexpr char name[] = "AlphaSubtract";
    static constexpr Kept underTransparent = Kept::All;

    template <class V>
    static V alpha(V s, V d, const PlainCoverage<V> &)
    {
        return d - min(s, d);
    }
};

struct GreyToAlpha {
    static constexpr auto id = KXCompositionMode::GreyToAlpha;
    static constexpr char name[] = "GreyToAlpha";
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesAll; }

    template <class V, class Coverage>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const Coverage &c)
    {
        if (c.lock)
            return d;
        const V w = mul(c.sourceAlpha(s.a), V(255));
        const V sum = mulWide(greyOf(s), w) + mulWide(d.a, V(65025) - w);
        return { d.b, d.g, d.r, min(divide(sum, V(65025)), V(255)) };
    }
};

struct LinearBurn : Separable<LinearBurn, Forms::Plain> {
    static constexpr auto id = KXCompositionMode::LinearBurn;
    static constexpr char name[] = "LinearBurn";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return max(s + d, V(255)) - V(255);
    }
};

struct LinearDodge : Separable<LinearDodge, Forms::Plain> {
    static constexpr auto id = KXCompositionMode::LinearDodge;
    static constexpr char name[] = "LinearDodge";

    template <class V>
    static V mix(V s, V d)
    {
        return Plus::mix(s, d);
    }
};

struct LinearBurnBrush : Separable<LinearBurnBrush, Forms::Plain> {
    static constexpr auto id = KXCompositionMode::LinearBurnBrush;
    static constexpr char name[] = "LinearBurnBrush";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return LinearBurn::mix(s, d);
    }
};

struct LinearLight : Separable<LinearLight, Forms::Plain> {
    static constexpr auto id = KXCompositionMode::LinearLight;
    static constexpr char name[] = "LinearLight";

    /// The upper branch reaches 509: the frame clamps.
    template <class V>
    static V mix(V s, V d)
    {
        const V sum = s + (d << 1);
        return select(d < V(128), max(sum, V(255)) - V(255), sum - V(256));
    }
};

struct VividLight : Separable<VividLight, Forms::Plain> {
    static constexpr auto id = KXCompositionMode::VividLight;
    static constexpr char name[] = "VividLight";

    /// Only one of the two branches' quotients counts, so one division serves both: 255 - (65280 - 512 * d) / s, where
    /// an s of 0 gives 0, and (510 * d - 65280) / (255 - s), where an s of 255 gives 255.
    template <class V>
    static V mix(V s, V d)
    {
        const auto dark = d < V(128);
        const V n = select(dark, V(65280) - (d << 9), mul(d, V(510)) - V(65280));
        const V q = quotient255(n, select(dark, s, V(255) - s));
        return select(dark, V(255) - q, q);
    }
};

struct PinLight : Separable<PinLight, Forms::Plain> {
    static constexpr auto id = KXCompositionMode::PinLight;
    static constexpr char name[] = "PinLight";
    static constexpr bool mixFits16Bits = true;

    template <class V>
    static V mix(V s, V d)
    {
        return select(d < V(128), min(d << 1, s), max((max(d, V(128)) << 1) - V(256), s));
    }
};

struct HardMix : Separable<HardMix, Forms::Plain> {
    static constexpr auto id = KXCompositionMode::HardMix;
    static constexpr char name[] = "HardMix";

    /// 0 where VividLight gives less than 128. Its quotient n / w reaches 128 where n >= 128 * w, which needs no
    /// division: 65280 - 512 * d >= 128 * s gives s + 4 * d <= 510, and 510 * d - 65280 < 128 * (255 - s) gives
    /// 255 * d + 64 * s < 48960.
    template <class V>
    static V mix(V s, V d)
    {
        const V dark = select(s + (d << 2) < V(511), V(0), V(255));
        const V bright = select(mul(d, V(255)) + (s << 6) < V(48960), V(0), V(255));
        return select(d < V(128), dark, bright);
    }
};

struct FillTransparent {
    static constexpr auto id = KXCompositionMode::FillTransparent;
    static constexpr char name[] = "FillTransparent";
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesNothing; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &)
    {
        return select(d.a == V(0), s, d);
    }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const MaskedCoverage<V> &c)
    {
        return select(c.mask == V(0), s, Pixel<V> { d.b, d.g, d.r, c.mask });
    }
};

struct AlphaAccumulate {
    static constexpr auto id = KXCompositionMode::AlphaAccumulate;
    static constexpr char name[] = "AlphaAccumulate";
    static constexpr bool mixFits16Bits = true;
    static constexpr Forms forms = Forms::Both;
    static constexpr Uncovered uncovered(bool) { return leavesAll; }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const PlainCoverage<V> &c)
    {
        return accumulated(s, d, shownAlpha(s.a, c), c.lock);
    }

    template <class V>
    static Pixel<V> blend(const Pixel<V> &s, const Pixel<V> &d, const MaskedCoverage<V> &c)
    {
        return accumulated(s, d, shownAlpha(s.a, c), c.lock);
    }

    template <class V, class Coverage>
    static V alphaOnOpaque(V a, const Coverage &c)
    {
        return min(shownAlpha(a, c), V(255));
    }
    template <class V>
    static V mix(V s, V)
    {
        return s;
    }

private:
    template <class V>
    static V shownAlpha(V a, const PlainCoverage<V> &c)
    {
        const V sa = roughly255(mulWide(a, V(c.opacity)));
        return c.hasClip ? roughly255(mulWide(c.clip, sa)) : sa;
    }
    template <class V>
    static V shownAlpha(V a, const MaskedCoverage<V> &c)
    {
        return c.sourceAlpha(a);
    }

    /// About x / 255; 256 for 255 * 256.
    template <class V>
    static V roughly255(V x)
    {
        return (x + V(1) + (x >> 8)) >> 8;
    }

    template <class V>
    static Pixel<V> accumulated(const Pixel<V> &s, const Pixel<V> &d, V sa, bool lock)
    {
        const V a = lock ? d.a : min(d.a + sa, V(255));
        const auto grows = sa < a;
        const V rest = select(grows, a - sa, V(0)), divisor = max(a, V(1));
        Pixel<V> result = perColour(s, d, a, [&](V source, V dest) {
            return select(grows, divide(mulWide(dest, rest) + mulWide(source, sa), divisor), source);
        });
        result = select(a == V(0), Pixel<V> { V(0), V(0), V(0), V(0) }, result);
        if (!lock)
            result = select(sa == V(255), s, result);
        return select(sa == V(0), d, result);
    }
};

/// Whether the mode has an @c alphaOnOpaque.
template <class Mode, class = void>
constexpr bool isSimplerOnOpaque = false;
template <class Mode>
constexpr bool isSimplerOnOpaque<Mode, std::void_t<decltype(Mode::alphaOnOpaque(Lane1(), PlainCoverage<Lane1> {}))>> =
    true;

template <class... Mode>
struct ModeList {
};

/// The only list of modes: look-ups, menus and tests read tables made from it.
using AllModes = ModeList<SourceOver, Clear, Source, DestinationIn, DestinationOut, Plus, Multiply, Screen, Overlay,
    Darken, Lighten, ColorDodge, ColorBurn, HardLight, SoftLight, Difference, Exclusion, SourceOrDestination,
    SourceAndDestination, NotSourceAndDestination, FillUnmasked, AlphaToGrey, SourceToGrey, Luminosity,
    SourceWhereOpaque, AlphaIntersect, AlphaAdd, AlphaMin, AlphaSubtract, GreyToAlpha, LinearBurn, LinearDodge,
    LinearBurnBrush, LinearLight, VividLight, PinLight, HardMix, FillTransparent, AlphaAccumulate>;

/// The modes of dual brushes say what becomes of the destination's alpha.
template <class Mode, KXCompositionMode mode = Mode::id>
struct BrushFromMode {
    static constexpr auto id = mode;

    template <class V>
    static V alpha(V s, V d)
    {
        return Mode::mix(s, d);
    }
};

struct DualColorDodge {
    static constexpr auto id = KXCompositionMode::DualColorDodge;

    template <class V>
    static V alpha(V s, V d)
    {
        return select(d == V(0), V(0), quotient255(mul(d, V(255)), V(255) - s));
    }
};

struct DualLinearBurn {
    static constexpr auto id = KXCompositionMode::LinearBurnBrush;

    template <class V>
    static V alpha(V s, V d)
    {
        return select(d + s < V(255), V(0), (d + s + V(1)) & V(255));
    }
};

using DualBrushModes = ModeList<BrushFromMode<Multiply>, BrushFromMode<Darken>, BrushFromMode<Overlay>, DualColorDodge,
    BrushFromMode<ColorBurn>, DualLinearBurn, BrushFromMode<HardMix>>;

} // namespace compose
