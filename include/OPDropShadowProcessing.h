#pragma once

/// @file
/// Drop shadow of a layer. See KXShadow.h for what both shadows have in common.

#include "KXGlobal.h"
#include "KXShadow.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>

/// Makes the shadow that a layer drops on what lies below: one colour, under the layer's alpha, blurred.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// OPDropShadowProcessing::DropShadowData data;
/// data.image = layer; // is only read
/// data.maskInverted = true; // the layer has no mask: all of it is seen
/// data.params.blurRadius = 12;
/// const RGBA32iImage shadow = OPDropShadowProcessing(cancel).run(data).image; // 12 larger all around
/// const QPoint away(18, 18), corner = layerCorner + away - QPoint(12, 12);
/// constexpr auto over = KXCompositionMode::SourceOver;
/// Compose(shadow, shadow.Rect(), over, canvas, shadow.Rect().translated(corner), 0.75, false);
/// const double full = 255.0 / 256; // 1.0 makes what is black white in this mode, see KXComposer.h
/// Compose(layer, layer.Rect(), over, canvas, layer.Rect().translated(layerCorner), full, false);
/// @endcode
class KX_EXPORT OPDropShadowProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params : KXShadowParams {
        /// Streamed as "KXDropShadow 1.00000", then the fields in their order; see "Parameter streams" in
        /// OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct DropShadowData : KXFilterParams<Params>, KXFilterData { };

    using DropShadowResult = KXFilterResult;

    explicit OPDropShadowProcessing(const std::atomic<bool> &cancel);
    ~OPDropShadowProcessing() override;

    /// Makes the shadow of the image.
    ///
    /// Shape      The image's alpha through the mask: its pixel (0, 0) lies on the image's pixel @c maskOffset, and
    ///            @c maskInverted says whether the image is seen beyond the mask. **Without a mask that is to be set:**
    ///            otherwise nothing is seen, and the shadow is empty. No selection is looked at.
    /// Result     A new flat image, larger than the layer by the blur radius on each side, but its origin is (0, 0) all
    ///            the same: the layer's top left pixel belongs on (blurRadius, blurRadius). Every pixel has the colour,
    ///            transparent ones too. A layer of no area stays one.
    /// Storage    The image and the mask may be flat or tiled, and are only read.
    /// Progress   A step per row and column of the result, with a blur radius of 0 one per row.
    /// Threads    With a blur radius of 0 as the image walks: **on a single processor the shape keeps its colours**,
    ///            and no row is reported.
    /// Errors     Needs the composition slots: @c loadAVX2Functions(true) must have been called, std::bad_function_call
    ///            otherwise. std::bad_alloc, also where the result would be too large.
    /// Cost       The same for any blur radius, but for the margin.
    DropShadowResult run(DropShadowData data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPDropShadowProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPDropShadowProcessing::Params &params);
