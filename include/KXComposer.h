#pragma once

/// @file
/// Composition of images.
///
/// **Call @c loadAVX2Functions(true) once before anything else here**, on every machine: it fills the slots behind
/// these functions with the kernel module's forms or, without a module, with the default ones. The bytes are the same.
///
/// Shapes    Source and destination rectangles are laid on one another by their top left corners; what hangs over an
///           image's edge, and any difference in size, is cut off. Nothing in common means that nothing happens.
/// Storage   Flat and tiled images in all pairings unless a function says otherwise. A QImage must be Format_ARGB32;
///           otherwise the call logs "Wrong input qimage format %1" and does nothing. Null and fake tiles of a tiled
///           source are skipped, so that the tiles under them stay shared. A flat window of the source stands for its
///           null and fake tiles; Compose and ComposeSource from such a source make every destination tile below the
///           rectangle private.
/// Opacity   0..1, multiplied by 256 and truncated; a result of 0 changes nothing. **At 1.0 mode SourceOver turns a
///           colour of 0 in an opaque source into 255 over any other colour** (its arithmetic wraps); 255 / 256
///           composes as one expects. Between two flat images, and in everything with masks, the opacity is clamped to
///           0..1 first, and NaN counts as 0. A plain Compose in which a tiled image takes part does not clamp: with an
///           opacity outside 0..1, or NaN, the picture is defined but of no use.
/// lockAlpha Leaves the destination's alpha as it is (see KXCompositionMode for the exceptions).
/// Modes     One that is unknown, or Destination, changes nothing.
/// Masks     Their alpha is the coverage. **The mask rectangle is one of the mask**, as the source rectangle is one of
///           the source: its top left corner lies on that of the destination rectangle. For a mask whose own top left
///           corner belongs on @c corner of the destination it is `dstRect.translated(-corner)`. What lies outside of
///           the rectangle or of the mask image, or on a null or fake mask tile, counts as fully covered with
///           @c outsideVisible and is not composed without it. A rectangle of negative width or height holds nothing:
///           all lies outside of it. Masks never narrow the composed area.
/// Threads   May be called from any thread, also from a pool thread; the call returns when all is done. Flat
///           destinations are mostly written by as many pool workers as there are processors, tiled ones by the calling
///           thread. Two calls must not write one image at once. An image may be laid on itself or be its own mask. In
///           a tiled one its rows are then done in order. In a flat one, whose pixels its copies share, they are done
///           at the same time: the two rectangles may overlap only where their rows coincide.
/// Errors    std::bad_function_call before @c loadAVX2Functions(true). What is thrown inside (std::bad_alloc above all)
///           is logged as "[src/KXComposer:line] Unexpected exception ..." and thrown on; part of the rows may be
///           composed. From a pool worker only its text arrives, in a QUnhandledException; catch std::exception.

#include "KXBlend.h"
#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QRect>
#include <QtGui/QImage>

class BaseTransformation;

/// Fills the composition slots. With @p enable false it returns at once and leaves them as they are.
///
/// It looks 18 functions up in the kernel module (@c AVX2LIB). If one of them is missing, or there is no module, it
/// logs "AVX2 functions cannot be loaded, use default" and uses the default forms for all functions below but the four
/// ComposeWithTransformation ones, which have none: they keep what was found for them, or do nothing. Not thread-safe:
/// call it at start, before any composition.
KX_EXPORT void loadAVX2Functions(bool enable);

/// Composes @p srcRect of @p src onto @p dstRect of @p dst in @p mode.
/// Instances: RGBA32iImage and QImage on either side.
template <class Src, class Dst>
KX_EXPORT void Compose(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst, const QRect &dstRect,
    double opacity, bool lockAlpha);

/// Copies the pixels of @p srcRect to @p dstRect, alpha included. Fake and null source tiles are skipped: what lies
/// under them keeps its pixels. Instances: RGBA32iImage and QImage on either side.
template <class Src, class Dst>
KX_EXPORT void ComposeSource(const Src &src, const QRect &srcRect, Dst &dst, const QRect &dstRect);

/// Composes through @p mask. If source, destination and mask are all flat, @p maskRect is 0 by 0 and
/// @p outsideVisible is set, this is @c Compose. Otherwise an empty mask image composes nothing. Where clipping cuts
/// the start of the rectangles, the whole mask rectangle moves by as much, its right and bottom included. A flat window
/// of the mask stands for its null and fake tiles. Instances: source RGBA32iImage or QImage, destination RGBA32iImage.
template <class Src, class Dst>
KX_EXPORT void ComposeMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,
    const QRect &dstRect, double opacity, const RGBA32iImage &mask, const QRect &maskRect, bool outsideVisible,
    bool lockAlpha);

/// Composes a source that is clipped by the alpha of @p clip, which may have a mask of its own.
///
/// The area is what source, clip and destination have in common. An empty @p clipMaskRect, also one of negative size,
/// means that there is no clip mask. Where source, clip and clip mask are all tiled the clip mask is ignored. Fake
/// tiles of the clip are read, null ones hide the source. A flat window of the source counts only where there is a clip
/// mask, and those of clip and clip mask never do. A tiled destination is not served: the call logs "ClippingMask
/// composer is missing ..." and does nothing. Neither @p clip nor @p clipMask is changed. Instance: RGBA32iImage on
/// both sides.
template <class Src, class Dst>
KX_EXPORT void ComposeClippingMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,
    const QRect &dstRect, RGBA32iImage &clip, const QRect &clipRect, RGBA32iImage &clipMask, const QRect &clipMaskRect,
    bool outsideVisible, double opacity, bool lockAlpha);

/// Composes a source with a mask that is clipped by @p clip with a mask of its own. The source takes part with its
/// alpha times the opacity and all three coverages:
///
///     place        0        1        2        3        4
///     mask        255      255      255       0       255     covers the source
///     source      red      red      red      red      red     is laid onto the destination ...
///     clipMask    255      255      128      255       0      covers the clip
///     clip         0       255      255      255      255     ... where the layer that it is clipped to shows
///     dst        white    white    white    white    white
///     becomes    white     red      pink    white    white
///
/// @code
///     const QRect all(0, 0, 5, 1);
///     RGBA32iImage source(5, 1, false), mask(5, 1, false), clip(5, 1, false), clipMask(5, 1, false), dst(5, 1, false);
///     source.Fill(OPRGBA32i(0xFFFF0000u));
///     for (RGBA32iImage *each : { &mask, &clip, &clipMask, &dst })
///         each->Fill(OPRGBA32i(0xFFFFFFFFu));
///     mask.Bits()[3].a = 0;
///     clip.Bits()[0].a = 0;
///     clipMask.Bits()[2].a = 128;
///     clipMask.Bits()[4].a = 0;
///     ComposeClippingMaskAndMaskOn(source, all, KXCompositionMode::Multiply, dst, all, 1.0, // opacity
///         clip, all, clipMask, all, false, mask, all, false, false); // outside of the masks nothing shows; no lock
/// @endcode
///
/// Which of the two masks counts depends on how the images are stored; `docs/behaviour/masks.md` has the table. A tiled
/// destination, and source, mask and clip all tiled, are not served: the call logs "ClippingMask(Mask) composer is
/// missing ..." and does nothing. Two more combinations do nothing in silence. Instance: RGBA32iImage on both sides.
template <class Src, class Dst>
KX_EXPORT void ComposeClippingMaskAndMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,
    const QRect &dstRect, double opacity, RGBA32iImage &clip, const QRect &clipRect, RGBA32iImage &clipMask,
    const QRect &clipMaskRect, bool outsideVisible, const RGBA32iImage &mask, const QRect &maskRect,
    bool maskOutsideVisible, bool lockAlpha);

/// Compose, ComposeMaskOn and the two clipping forms with a source whose pixels go through @p transformation first; the
/// source itself is not changed. Instances: RGBA32iImage on both sides. Only the kernel module implements them:
/// **without it they do nothing, in silence.** The transformation is borrowed for the call and used by several threads
/// at once; a null one composes nothing.
template <class Src, class Dst>
KX_EXPORT void ComposeWithTransformation(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,
    const QRect &dstRect, BaseTransformation *transformation, double opacity, bool lockAlpha);

/// @copydoc ComposeWithTransformation
template <class Src, class Dst>
KX_EXPORT void ComposeWithTransformationMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,
    const QRect &dstRect, double opacity, const RGBA32iImage &mask, const QRect &maskRect, bool outsideVisible,
    BaseTransformation *transformation, bool lockAlpha);

/// @copydoc ComposeWithTransformation
template <class Src, class Dst>
KX_EXPORT void ComposeWithTransformationClippingMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode,
    Dst &dst, const QRect &dstRect, RGBA32iImage &clip, const QRect &clipRect, RGBA32iImage &clipMask,
    const QRect &clipMaskRect, bool outsideVisible, BaseTransformation *transformation, double opacity, bool lockAlpha);

/// @copydoc ComposeWithTransformation
template <class Src, class Dst>
KX_EXPORT void ComposeWithTransformationClippingMaskAndMaskOn(const Src &src, const QRect &srcRect,
    KXCompositionMode mode, Dst &dst, const QRect &dstRect, double opacity, RGBA32iImage &clip, const QRect &clipRect,
    RGBA32iImage &clipMask, const QRect &clipMaskRect, bool outsideVisible, const RGBA32iImage &mask,
    const QRect &maskRect, bool maskOutsideVisible, BaseTransformation *transformation, bool lockAlpha);

/// Lays a brush stamp onto a stroke so that overlapping stamps build up only to a limit.
///
/// Colours move towards the stamp's by its alpha times @p opacity; alpha grows towards @p opacity, or towards
/// @p averageOpacity if that is the larger one; @p flow scales that growth (1.0: all of it). All three are in 0..1.
/// A first stamp on transparent pixels copies the stamp's colour exactly. @p src is read as 32-bit pixels whatever its
/// format; one with fewer bits per pixel composes nothing. @p dst must be tiled; a flat one is left as it is, with
/// "Invalid tile index ..." in the log. Every tile below the stamp's rectangle becomes private, also under transparent
/// pixels. Runs in the calling thread.
KX_EXPORT void ComposeAlphaDarken(const QImage &src, const QRect &srcRect, RGBA32iImage &dst, const QRect &dstRect,
    double opacity, double averageOpacity, double flow);

/// Combines the alpha of two brush tips; colours stay. Modes: Multiply, Darken, Overlay, DualColorDodge, ColorBurn,
/// LinearBurnBrush, HardMix; any other changes nothing. Both images are read as 32-bit pixels whatever their format;
/// with fewer bits per pixel nothing happens.
/// Runs in the calling thread.
KX_EXPORT void ComposeDualBrush(
    const QImage &src, const QRect &srcRect, QImage &dst, const QRect &dstRect, KXCompositionMode mode);
