#pragma once

/// @file
/// Inner shadow of a layer. See KXShadow.h for what both shadows have in common.

#include "KXGlobal.h"
#include "KXShadow.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>

/// Makes the shadow that the surroundings of a layer drop on it, as if it were a hole: the layer in one colour, and the
/// mask through which that is laid over the layer.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// OPInnerShadowProcessing::InnerShadowData data;
/// data.image = layer; // is only read
/// data.maskInverted = true; // the layer has no mask: all of it is seen
/// data.params.blurRadius = 12;
/// const auto shadow = OPInnerShadowProcessing(cancel).run(data);
/// const QRect all = layer.Rect();
/// const QPoint away(18, 18); // from the light; what lies beyond the mask is in the shadow
/// ComposeMaskOn(shadow.color, all, KXCompositionMode::SourceOver, layer, all, 0.75, shadow.shape,
///     all.translated(-away - shadow.origin), true, true); // the layer keeps its alpha
/// @endcode
class KX_EXPORT OPInnerShadowProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params : KXShadowParams {
        /// Streamed as "KXInnerShadow 1.00000", then the fields in their order; see "Parameter streams" in
        /// OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct InnerShadowData : KXFilterParams<Params>, KXFilterData { };

    struct InnerShadowResult {
        RGBA32iImage color; ///< the layer through its mask, in the colour
        RGBA32iImage shape; ///< how much of it is in the shadow: 255 minus the layer's blurred alpha
        QPoint origin; ///< where on the layer the top left pixel of @c shape lies
    };

    explicit OPInnerShadowProcessing(const std::atomic<bool> &cancel);
    ~OPInnerShadowProcessing() override;

    /// Makes the shadow of the image.
    ///
    /// Shape      As for @c OPDropShadowProcessing::run, and so are storage and errors.
    /// Result     Two new flat images. @c color has the size of the layer and its alpha; @c shape is larger by the blur
    ///            radius on each side, and its origin is (-blurRadius, -blurRadius). Its colours are 0, with a blur
    ///            radius of 0 those of the layer. A layer of no area stays one, and the origin (0, 0).
    /// Progress   A step per row and column of @c shape, or with a blur radius of 0 one per row, and one per row of
    ///            @c color.
    /// Threads    What is not blurred goes as the image walks: **on a single processor @c color keeps its colours**,
    ///            and with a blur radius of 0 @c shape its alpha; no row of these is reported.
    InnerShadowResult run(InnerShadowData data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPInnerShadowProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPInnerShadowProcessing::Params &params);
