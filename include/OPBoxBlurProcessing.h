#pragma once

/// @file
/// Box blur of a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>

/// Blurs a layer with the mean of a square, one direction after the other; colour counts by its alpha.
///
/// Costs the same for any radius up to the size of the image, and little more beyond. Means are truncated, so that
/// semi-transparent pixels lose a little colour even with a radius of 0; see @c OPRGBABlurAccumulatorPremul.
///
/// @code
/// std::atomic<bool> cancel { false }; // any thread may set it
/// OPBoxBlurProcessing blur(cancel);
/// std::atomic<int> steps { 0 };
/// QObject::connect(&blur, &OPBoxBlurProcessing::RangeChanged, [&](int, int maximum) { steps = maximum; });
/// QObject::connect(&blur, &OPBoxBlurProcessing::ProgressChanged, [&](int step) { // from threads of the pool
///     if (isTooLong(step, steps))
///         cancel = true; // each worker finishes its line, then run returns
/// });
/// OPBoxBlurProcessing::BlurData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the blur is written into what it is given
/// data.params.radius = 8;
/// const RGBA32iImage blurred = blur.run(data);
/// if (!cancel)
///     layer = blurred;
/// @endcode
class KX_EXPORT OPBoxBlurProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params {
        /// In pixels: the square has 2 * radius + 1 to a side. Sensible from 0 to the size of the image. Negative
        /// values count as 0, those above 4194303 as that.
        int radius = 5;

        /// Streamed as "KXBoxBlur 1.00000", then the radius; see "Parameter streams" in OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct BlurData : KXFilterData, KXFilterParams<Params> { };

    struct BlurDataEx : BlurData, KXFilterCanvas { };

    using ResultEx = KXFilterResult;

    explicit OPBoxBlurProcessing(const std::atomic<bool> &cancel);
    ~OPBoxBlurProcessing() override;

    /// Blurs the image, or what is selected of it, and returns it.
    ///
    /// Storage    As for @c OPGaussianBlurProcessing::run: the image must be flat, and **its buffer, which the caller's
    ///            image shares, receives the result**.
    /// Selection  Each pixel moves from the old value to the blurred one by the alpha of the selection. Pixels around
    ///            the selection count as neighbours; the rows above and below it, which the vertical pass reads, have
    ///            not been through the horizontal one.
    /// Memory     No copy without a selection; with it one of the selection and of what the blur reads around it.
    /// Progress   A step per row and column of the blurred rectangle, and one per merged row.
    RGBA32iImage run(BlurData data);

    /// Like @c run, but first grows the canvas by the radius; see @c OPGaussianBlurProcessing::runEx.
    ResultEx runEx(BlurDataEx data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPBoxBlurProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPBoxBlurProcessing::Params &params);
