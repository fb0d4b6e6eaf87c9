#pragma once

#include "compose/ModeTable.h"
#include "pixels/Planes.h"

#include <climits>
#include <type_traits>

/// What lies on one another in a composition, from the call to the pixels. Its parts keep their names all the way, as
/// images (Layers), as planes (LayerPlanes), as rows (LayerRows), and as numbers (MaskedCoverage):
///
///     source       what is laid on
///     destination  on what
///     clip         an image to whose visible part the source is limited
///     mask         an image whose alpha covers the source
///     secondMask   one more mask, beside a clip; it is the clip's own mask or the source's
namespace compose {

using namespace pixels;

/// An image and which part of it takes part.
template <class Image>
struct Layer {
    Image &image;
    const QRect &rect;
};

struct MaskLayer : Layer<const RGBA32iImage> {
    bool outsideVisible; ///< whether the source is composed where the mask is not
};

/// What every composition has, and how it is blended.
template <class Src, class Dst>
struct Layers {
    Layer<const Src> source;
    Layer<Dst> destination;
    KXCompositionMode mode;
    double opacity;
    bool lockAlpha;
};

/// Stands for a clip or a mask that is not there.
struct NoPlane {
    int RowsAt(int) const { return INT_MAX; }
    Stretch At(int, int) const { return { nullptr, 0, INT_MAX }; }
};

/// Whether nothing of the source shows under @p stretch of a plane. A mask that holds nothing may yet be visible: then
/// it covers fully, which is the same as its absence.
inline bool hides(const NoPlane &, const Stretch &) { return false; }
inline bool hides(const SourcePlane &, const Stretch &stretch) { return !stretch.pixels; }
inline bool hides(const MaskPlane &mask, const Stretch &stretch) { return !stretch.pixels && !mask.OutsideVisible(); }

/// With a mask the modes work in their masked form.
template <class Clip = NoPlane, class Mask = NoPlane, class SecondMask = NoPlane>
struct LayerPlanes {
    const SourcePlane &source;
    const TargetPlane &destination;
    Clip clip {};
    Mask mask {};
    SecondMask secondMask {};

    static constexpr bool isMasked = !std::is_same_v<Mask, NoPlane>;
};

template <class... Over>
auto layerPlanes(const SourcePlane &source, const TargetPlane &destination, const Over &...clipAndMasks)
{
    return LayerPlanes<Over...> { source, destination, clipAndMasks... };
}

} // namespace compose
