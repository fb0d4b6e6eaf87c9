#pragma once

/// @file
/// Gaussian blur of a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>

/// Blurs a layer with a separable Gaussian in fixed point; colour counts by its alpha.
///
/// It reaches three times sigma to either side, and the cost grows with that. The last row of the filtered rectangle is
/// blurred without regard to alpha; see @c KXIterativeConvolutionFast2D. On a machine with a single processor all rows
/// are.
///
/// @code
/// std::atomic<bool> cancel { false }; // any thread may set it
/// OPGaussianBlurProcessing blur(cancel);
/// std::atomic<int> steps { 0 };
/// QObject::connect(&blur, &OPGaussianBlurProcessing::RangeChanged, [&](int, int maximum) { steps = maximum; });
/// QObject::connect(&blur, &OPGaussianBlurProcessing::ProgressChanged, [&](int step) { // from threads of the pool
///     if (isTooLong(step, steps))
///         cancel = true; // each worker finishes its line, then run returns
/// });
/// OPGaussianBlurProcessing::BlurData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the blur is written into what it is given
/// data.params.sigma = 2.5;
/// const RGBA32iImage blurred = blur.run(data);
/// if (!cancel)
///     layer = blurred;
/// @endcode
class KX_EXPORT OPGaussianBlurProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params {
        /// In pixels. Sensible from 0.2, which is close to no blur, to some hundreds. 0, NaN and values from 13108 on
        /// clear what they blur. What negative ones do, and those from 715827883 on, stands at
        /// @c KXBlur::CreateGaussianKernel.
        double sigma = 5.0;

        /// Streamed as "KXGaussianBlur 1.00000", then sigma; see "Parameter streams" in OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct BlurData : KXFilterData, KXFilterParams<Params> { };

    struct BlurDataEx : BlurData, KXFilterCanvas { };

    using ResultEx = KXFilterResult;

    explicit OPGaussianBlurProcessing(const std::atomic<bool> &cancel);
    ~OPGaussianBlurProcessing() override;

    /// Blurs the image, or what is selected of it, and returns it.
    ///
    /// Storage    The image must be flat: the vertical pass reaches nothing else, and a tiled image comes back blurred
    ///            along its rows only. **Without a selection the blur is written into the buffer of @c data.image,
    ///            which the caller's image shares**; with one, that buffer receives the merged result. Pass a copy made
    ///            with @c CopyTo to keep the original.
    /// Selection  Each pixel moves from the old value to the blurred one by the alpha of the selection. Pixels around
    ///            the selection count as neighbours.
    /// Memory     No copy without a selection; with it one of the selection and of what the blur reads around it.
    /// Progress   A step per row and column of the blurred rectangle, and one per merged row.
    RGBA32iImage run(BlurData data);

    /// Like @c run, but first grows the canvas, so that the blur can spill over the layer's edge.
    ///
    /// The canvas grows by the Gaussian's reach on each side, as far as @c region (cut to the selection, where there is
    /// one) allows; the layer never shrinks. A grown image is a new flat one, transparent where the layer was not, with
    /// a resolution and metadata of its own, and the result's origin moves with its top left corner. Growing needs the
    /// composition slots: @c loadAVX2Functions(true) must have been called, std::bad_function_call otherwise. Throws
    /// std::bad_alloc where the canvas would be too large; an image of no area grows too.
    ResultEx runEx(BlurDataEx data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPGaussianBlurProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPGaussianBlurProcessing::Params &params);
