#pragma once

/// @file
/// Diffuse glow of a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"
#include "OPGlowThresholds.h"

#include <QtCore/QDataStream>
#include <QtGui/QColor>

/// Lays a soft halo, in one colour, around the bright parts of a layer.
///
/// The halo is a mask of what is bright; it is blurred, made hard again, and blurred once more.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// OPDiffuseGlowProcessing::DiffuseGlowData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the filter composes onto what it is given
/// data.params.threshold = 200;
/// data.params.amount = 60;
/// layer = OPDiffuseGlowProcessing(cancel).run(data);
/// @endcode
class KX_EXPORT OPDiffuseGlowProcessing : public OPAdjustmentProcessing {
public:
    using OPAlphaThreshold = ::OPAlphaThreshold;
    using OPColorizeThreshold = ::OPColorizeThreshold;

    struct KX_EXPORT Params {
        /// Opacity of the glow in per cent, from 0 to 100. What lies beyond is not clamped; the result is then defined
        /// but of no use.
        int amount = 100;
        /// Sigma of the Gaussian in pixels; each blur reaches three times as far, see @c OPGaussianAlpha1D. With 0
        /// nothing glows; a negative one reaches 1 pixel far. Time grows with the reach, also beyond the layer's size.
        int radius = 5;
        /// The luminance from which on a pixel glows, and the alpha that the first blur must leave of the mask. With 0
        /// and less everything glows, with 256 and more nothing.
        int threshold = 128;
        QColor color = Qt::white; ///< its @c rgba() counts, but for the alpha
        int mode = 0; ///< 0: the layer keeps its alpha. Anything else: the glow covers what is transparent

        bool operator==(const Params &other) const;
        bool operator!=(const Params &other) const { return !(*this == other); }

        /// Streamed as "KXDiffuseGlow 1.00000", then the fields in their order; see "Parameter streams" in
        /// OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct DiffuseGlowData : KXFilterParams<Params>, KXFilterData { };

    explicit OPDiffuseGlowProcessing(const std::atomic<bool> &cancel);
    ~OPDiffuseGlowProcessing() override;

    /// Lays the glow over the image, or over what is selected of it, and returns it.
    ///
    /// Blend      That of @c OPBlend::OPSourceOver with the opacity amount * 256 / 100, truncated; unlike the mode it
    ///            takes 256 without wrapping. Even where nothing glows it clears the colours of pixels without alpha,
    ///            and changes nothing else.
    /// Storage    Flat. **A flat buffer, which the caller's image shares, receives the result.** Of a tiled image the
    ///            mask is blurred along its rows alone.
    /// Selection  The mask is made of what is selected and of what the first blur reaches around that. **Beyond it the
    ///            blurs meet the layer's own alpha, as if it were mask**: around a selection in the middle of an opaque
    ///            layer a low threshold lets an edge glow that is not bright. Each pixel moves from the old value to
    ///            the blended one by the alpha of the selection.
    /// Memory     A copy of the image, or of what is selected and six times the radius around it.
    /// Progress   A step per row of the mask for each threshold, per row and column for each blur, and per row that is
    ///            composed.
    /// Threads    The thresholds as the image walks: **on a single processor there are none**, so that the layer itself
    ///            is laid over the layer, under its blurred alpha, and their rows are not reported.
    RGBA32iImage run(DiffuseGlowData data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPDiffuseGlowProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPDiffuseGlowProcessing::Params &params);
