#pragma once

/// @file
/// Composition modes and per-pixel blend functors.
///
/// Pixels are straight colour. Divisions truncate; every formula is exact integer (or stated float) arithmetic, so the
/// same pixels give the same bytes everywhere. Everything here is pure and may be used from any thread.

#include "KXGlobal.h"
#include "KXPixels.h"

#include <QtCore/QVector>

/// How one picture is laid onto another. Values 0 to 37 are those of QPainter::CompositionMode. A value that is not
/// listed here may be given wherever a mode is asked for: it composes nothing.
///
/// With a mask (or a clipping mask with a mask of its own) a mode works in its *masked form*. Modes marked "plain only"
/// have none: through a mask they compose nothing. FillUnmasked has the masked form alone.
///
/// A clip without a mask of its own is a factor of the source's alpha in the plain form. So a clip of alpha 0 hides the
/// source only in modes that change nothing for a source alpha of 0: not in Clear, Source, DestinationIn, the three
/// bitwise modes, AlphaToGrey, SourceToGrey, Luminosity, SourceWhereOpaque, the four alpha modes and FillTransparent.
enum class KXCompositionMode : int {
    SourceOver = 0, ///< at opacity 256 an opaque colour of 0 becomes 255 over any other one; opacity 255 is exact
    Clear = 2, ///< alpha to 0 wherever the source is not transparent; plain only
    Source = 3, ///< replaces the pixel; alpha becomes the source's times the coverage, even where that is 0.
    ///< At full opacity and unlocked the plain form copies the source and ignores a clip
    Destination = 4, ///< changes nothing
    DestinationIn = 6, ///< plain only
    DestinationOut = 8,
    Plus = 12,
    Multiply = 13,
    Screen = 14,
    Overlay = 15,
    Darken = 16,
    Lighten = 17,
    ColorDodge = 18,
    ColorBurn = 19,
    HardLight = 20,
    SoftLight = 21,
    Difference = 22,
    Exclusion = 23,
    SourceOrDestination = 24, ///< plain only
    SourceAndDestination = 25, ///< plain only
    NotSourceAndDestination = 31, ///< plain only
    FillUnmasked = 38, ///< masked form only: the source pixel where mask or clip is transparent
    AlphaToGrey = 39, ///< replaces the pixel by a grey, the source's covered alpha, even where that is 0
    SourceToGrey = 40, ///< plain only; ignores opacity, and turns alpha to 255 even when it is locked
    Luminosity = 41, ///< changes semi-transparent pixels even where the source covers nothing
    SourceWhereOpaque = 42, ///< plain only
    AlphaIntersect = 43, ///< plain only
    AlphaAdd = 44, ///< plain only; unlocked it ignores opacity
    AlphaMin = 45, ///< plain only; unlocked it ignores opacity
    AlphaSubtract = 46, ///< plain only; unlocked it ignores opacity
    GreyToAlpha = 47,
    LinearBurn = 48, ///< plain only, like all modes up to HardMix
    LinearDodge = 49,
    LinearBurnBrush = 50,
    LinearLight = 51, ///< in 51 to 54 the destination channel selects the branch
    VividLight = 52,
    PinLight = 53,
    HardMix = 54,
    FillTransparent = 55, ///< plain: fills where the destination's alpha is 0, whatever opacity, clip and lock say
    DualColorDodge = 56, ///< only for ComposeDualBrush
    AlphaAccumulate = 57
};

/// Every mode that layers can be composed with, in ascending order.
KX_EXPORT QVector<KXCompositionMode> KXCompositionModes();

/// The name of @p mode as it stands in the enumeration; empty for one that layers cannot be composed with.
KX_EXPORT const char *KXCompositionModeName(KXCompositionMode mode);

/// Blending of single pixels by function objects. The template parameter is the lock: 1 leaves the destination's alpha
/// unchanged, 0 writes it.
namespace OPBlend {

/// Base of all functors.
class KX_EXPORT GenericRGBABlendFunction {
public:
    virtual ~GenericRGBABlendFunction();
};

/// A functor with an opacity of 0 to 256. Larger values are not clamped; the result is then defined but of no use.
class KX_EXPORT BlendWithOpacity : public GenericRGBABlendFunction {
public:
    explicit BlendWithOpacity(unsigned opacity256 = 256)
        : opacity(opacity256)
    {
    }
    void SetOpacity(unsigned opacity256) { opacity = opacity256; }

protected:
    quint32 opacity;
};

/// One colour of a source laid under a destination: ((s * (255 - da) + d * (255 - sa)) * 255 + d * da * sa) / 65025, at
/// most 255.
inline unsigned char ComposeColor(quint32 s, quint32 sa, quint32 d, quint32 da)
{
    const quint32 n = (s * (255 - da) + d * (255 - sa)) * 255 + d * da * sa;
    return static_cast<unsigned char>(n >= 0xFE0100 ? 255 : n / 65025);
}

/// The alpha of a source laid under a destination: ((255 - da) * sa + da * 255) * 255 / 65025, at most 255.
inline unsigned char ComposeAlpha(quint32 sa, quint32 da)
{
    const quint32 n = ((255 - da) * sa + da * 255) * 255;
    return static_cast<unsigned char>(n >= 0xFE0100 ? 255 : n / 65025);
}

/// The source over the destination.
template <int Lock>
class OPSourceOver : public BlendWithOpacity {
public:
    using BlendWithOpacity::BlendWithOpacity;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst) const
    {
        const quint32 sa = (src.a * opacity) >> 8, p = sa * 255, q = (255 - sa) * dst.a;
        quint32 ra = (p + q) / 255;
        if (ra > 255)
            ra = 255;
        const quint32 w = ra * 255;
        if (w == 0) {
            dst = OPRGBA32i();
            return;
        }
        const auto channel = [=](quint32 s, quint32 d) {
            const quint32 v = (s * p + d * q) / w;
            return static_cast<unsigned char>(v < 255 ? v : 255);
        };
        dst = OPRGBA32i(channel(src.b, dst.b), channel(src.g, dst.g), channel(src.r, dst.r),
            Lock ? dst.a : static_cast<unsigned char>(ra));
    }
};

/// The source under the destination.
template <int Lock>
class OPDestinationOver : public BlendWithOpacity {
public:
    using BlendWithOpacity::BlendWithOpacity;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst) const
    {
        const quint32 sa = (src.a * opacity) >> 8, da = dst.a;
        dst = OPRGBA32i(ComposeColor(src.b, sa, dst.b, da), ComposeColor(src.g, sa, dst.g, da),
            ComposeColor(src.r, sa, dst.r, da), Lock ? dst.a : ComposeAlpha(sa, da));
    }
};

/// The source pixel itself; locked, its colours. The opacity does not matter, here and in the functors below.
template <int Lock>
class OPSource : public BlendWithOpacity {
public:
    using BlendWithOpacity::BlendWithOpacity;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst) const
    {
        dst = OPRGBA32i(src.b, src.g, src.r, Lock ? dst.a : src.a);
    }
};

/// The source over the destination within the destination's coverage; alpha never changes. Unlocked (0) the colours are
/// weighted with the destination's alpha and so darken where it is below 255.
template <int Lock>
class OPSourceAtop : public BlendWithOpacity {
public:
    using BlendWithOpacity::BlendWithOpacity;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst) const
    {
        const int da = Lock ? 255 : dst.a, wb = da * src.a, wd = (255 - src.a) * da;
        const auto channel = [=](int s, int d) {
            const int v = (s * wb + d * wd) / 65025;
            return static_cast<unsigned char>(v < 255 ? v : 255);
        };
        dst = OPRGBA32i(channel(src.b, dst.b), channel(src.g, dst.g), channel(src.r, dst.r), dst.a);
    }
};

/// OPSourceAtop<1> with the source's alpha scaled by that of a mask.
class OPSourceAtopByMask : public BlendWithOpacity {
public:
    using BlendWithOpacity::BlendWithOpacity;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst, const OPRGBA32i &mask) const
    {
        OPSourceAtop<1>()(OPRGBA32i(src.b, src.g, src.r, static_cast<unsigned char>(src.a * mask.a / 255)), dst);
    }
};

/// From the destination to the source by the mask's alpha, all four channels: ((s - d) * m + d * 255) / 255.
class OPSourceByMask : public BlendWithOpacity {
public:
    using BlendWithOpacity::BlendWithOpacity;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst, const OPRGBA32i &mask) const
    {
        const auto channel = [m = int(mask.a)](
                                 int s, int d) { return static_cast<unsigned char>(((s - d) * m + d * 255) / 255); };
        dst = OPRGBA32i(channel(src.b, dst.b), channel(src.g, dst.g), channel(src.r, dst.r), channel(src.a, dst.a));
    }
};

/// The same, the mask being a selection.
class OPSourceBySelection : public OPSourceByMask {
public:
    using OPSourceByMask::OPSourceByMask;
};

/// Base of the two functors that subtract colours; alpha never changes.
class KX_EXPORT SubtractWithOffset : public GenericRGBABlendFunction {
public:
    explicit SubtractWithOffset(int offsetAdded = 0)
        : offset(offsetAdded)
    {
    }

protected:
    unsigned char Difference(int from, int subtrahend) const
    {
        const qint64 v = qint64(from) - subtrahend + offset;
        return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v);
    }

    int offset;
};

/// Each colour clamp(d - s + offset).
class OPSubtractRGBDstBySrc : public SubtractWithOffset {
public:
    using SubtractWithOffset::SubtractWithOffset;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst) const
    {
        dst = OPRGBA32i(Difference(dst.b, src.b), Difference(dst.g, src.g), Difference(dst.r, src.r), dst.a);
    }
};

/// Each colour clamp(s - d + offset).
class OPSubtractRGBSrcByDst : public SubtractWithOffset {
public:
    using SubtractWithOffset::SubtractWithOffset;

    void operator()(const OPRGBA32i &src, OPRGBA32i &dst) const
    {
        dst = OPRGBA32i(Difference(src.b, dst.b), Difference(src.g, dst.g), Difference(src.r, dst.r), dst.a);
    }
};

} // namespace OPBlend
