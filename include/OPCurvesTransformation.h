#pragma once

/// @file
/// Curves.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <QtCore/QPoint>
#include <QtCore/QVector>

#include <functional>

/// Remaps each channel along a curve that a user draws by a few points: first each channel along a curve of its own,
/// then all of them along the master.
///
/// A curve is the natural cubic spline through its points. The x of a point is a value before and its y the value
/// after, both from 0 to 255 in a dialog, and x increases from point to point. Four curves stand in an array: of the
/// master, of red, of green and of blue.
///
/// @code
/// const QVector<QPoint> straight { { 0, 0 }, { 255, 255 } };
/// const QVector<QPoint> bent { { 0, 0 }, { 64, 48 }, { 192, 210 }, { 255, 255 } };
/// QVector<QPoint> curves[4] = { bent, straight, straight, straight };
/// const OPCurvesTransformation contrast(curves, 100);
/// @endcode
/// A widget draws one curve by @c BuildSplineParts, once, and @c SplineValue at each x from 0 to 255, cut at 0 and 255.
/// What becomes of a channel along both of its curves, with the amount, is in @c Tables.
///
/// Surprising, and intended:
/// - **The constructor changes the vectors that it is given**: a curve of exactly two points gets a third one halfway
///   between them, rounded, as it would stay in a dialog. So a widget draws them after the adjustment was made. The
///   same vectors give the same adjustment again.
/// - **A curve goes on beyond its ends.** Left of its first point and right of its last one the outermost piece
///   continues, with its slope and its bend; the value of the end point is not held. A curve that is drawn from 64 to
///   192 alone mostly ends in black and white on both sides. Whoever wants the ends held adds points.
/// - **Points whose x does not increase make stairs** of the whole curve, all of it: from each point on to the next one
///   the value is the y of the point, and beyond the last but one it is the y of that one. Where two points have the
///   same x the later one counts from there on; but the first point counts up to its x whatever follows, and the last
///   one never counts.
/// - A curve may swing beyond 0 and 255 between its points. It is cut there, and so before the master acts on it.
class KX_EXPORT OPCurvesTransformation : public KXTableTransformation {
public:
    /// @p curves  four vectors, of at least two points each. One with fewer is a mistake of the caller: a debug build
    ///            asserts, and in a release build it leaves its values as they are. Points may lie anywhere
    /// @p amount  in per cent of the way from the unchanged channel; a dialog offers 0 to 100, and nothing is limited
    ///            beyond: a result outside of 0..255 takes its low byte
    ///
    /// As vectors change, no other thread may use them meanwhile.
    OPCurvesTransformation(QVector<QPoint> *const curves, int amount);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// Computes the curve through @p points, at least two, with x increasing. The three vectors are replaced; an entry
    /// of each belongs to the piece that begins at that point, and so the last entries stay 0. Where x does not
    /// increase all are 0.
    static void BuildSplineParts(
        const QVector<QPoint> &points, QVector<double> &cubic, QVector<double> &quadratic, QVector<double> &linear);

    /// The value at @p x of the curve that @c BuildSplineParts computed: with t the distance from the point at which
    /// the piece begins, ((cubic * t + quadratic) * t + linear) * t + y + 0.5, truncated. Above zero that rounds;
    /// below, the sum is truncated upwards, so that -3 gives -2. It is not cut at 0 and 255. Without parts it is 0;
    /// otherwise there must be as many of each as there are points.
    static int SplineValue(int x, const QVector<QPoint> &points, const QVector<double> &cubic,
        const QVector<double> &quadratic, const QVector<double> &linear);

    /// "CurvesTransformationAVX2"
    static std::function<void(const OPCurvesTransformation &, unsigned char *, bool)> m_CurvesAVX2;
};

using OPIterativeCurvesTransformation = KXIterative<OPCurvesTransformation>;
