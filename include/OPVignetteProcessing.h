#pragma once

/// @file
/// Vignette of a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "KXVignette.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>
#include <QtGui/QColor>

#include <vector>

/// Darkens or tints a layer beyond the ellipse that its edges touch, the more the further away.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// OPVignetteProcessing::VignetteData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the filter writes into what it is given
/// data.params.falloff = layer.Width() / 8;
/// data.params.amount = 70;
/// layer = OPVignetteProcessing(cancel).run(data);
/// @endcode
class KX_EXPORT OPVignetteProcessing : public OPAdjustmentProcessing {
public:
    using Linear = KXLinearVignette;
    using Parabolic = KXParabolicVignette;

    struct KX_EXPORT Params {
        /// The distance from the ellipse, in pixels, at which the tint has reached @c amount. It goes on growing
        /// beyond. With 0 every pixel beyond the ellipse takes the colour; negative ones: see @c KXVignette.
        int falloff = 1;
        int amount = 100; ///< in per cent; 0 changes nothing unless the falloff is 0; negative ones: see @c KXVignette
        QColor color = Qt::black; ///< its @c rgba() counts, but for the alpha
        int shape = 1; ///< 0: @c Linear, 1: @c Parabolic. Anything else: the filter does nothing

        /// Streamed as "KXVignette 1.00001", then falloff, amount, shape and, last, the colour; see "Parameter streams"
        /// in OPAdjustmentProcessing.h. @c Read takes "KXVignette 1.00000" too, which has no colour: it becomes black.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct VignetteData : KXFilterParams<Params>, KXFilterData { };

    explicit OPVignetteProcessing(const std::atomic<bool> &cancel);
    ~OPVignetteProcessing() override;

    /// Tints the image, or what is selected of it, and returns it.
    ///
    /// Storage    Flat or tiled. **A flat buffer, which the caller's image shares, receives the result.** Null tiles
    ///            stay null; the other ones become private, empty ones too, and their transparent pixels take colour as
    ///            those of a flat image do.
    /// Selection  The ellipse stays that of the whole layer. Each pixel moves from the old value to the tinted one by
    ///            the alpha of the selection.
    /// Memory     No copy without a selection; with it one of what is selected.
    /// Progress   A step per row of the image, or per row of what is selected and per merged row. With an unknown shape
    ///            there is no signal at all.
    /// Threads    As the image walks: **on a single processor the image stays as it is**, and merged rows alone are
    ///            reported.
    RGBA32iImage run(VignetteData data);

    /// How far (@p x, @p y) lies beyond the ellipse around the origin with the semi-axes @p a and @p b: along the ray
    /// from the origin through the point, which is not the shortest way. Negative inside.
    static double Distance(double a, double b, double x, double y);

    /// The shortest way from (@p x, @p y) to the ellipse around the origin with the semi-axes @p a and @p b.
    ///
    /// Result   Three numbers: the distance, then x and y of the closest point. Where two points are equally close it
    ///          is the one on the side of the positive axis. A distance beyond the range of a double is the largest.
    /// Range    Every finite input gives finite numbers. An axis may be 0, and its sign has no meaning.
    /// Cost     Some sixty steps of bisection, up to two thousand for extreme proportions.
    static std::vector<double> DistancePointEllipse(double a, double b, double x, double y);
    /// The same, in one step less, for @p a >= @p b >= 0 and a point in the first quadrant. Anything else gives what
    /// @c DistancePointEllipse gives.
    static std::vector<double> DistancePointEllipseSpecial(double a, double b, double x, double y);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPVignetteProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPVignetteProcessing::Params &params);
