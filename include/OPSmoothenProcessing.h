#pragma once

/// @file
/// Smoothens a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>

/// Smoothens a layer with three taps along rows, then along columns; colour counts by its alpha.
///
/// Even an amount of 0 premultiplies and unpremultiplies the pixels, which shifts semi-transparent colours a little.
/// The last row of the filtered rectangle is an exception; see @c KXIterativeConvolutionFast2D.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// OPSmoothenProcessing::SmoothenData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the filter writes into what it is given
/// data.params.amount = 255;
/// layer = OPSmoothenProcessing(cancel).run(data);
/// @endcode
class KX_EXPORT OPSmoothenProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params {
        /// 0, which keeps what is opaque, to 255, the mean of three pixels each way. What others do stands at
        /// @c KXBlur::CreateSimpleBoxKernel.
        int amount = 10;

        /// Streamed as "KXSmoothen 1.00000", then the amount; see "Parameter streams" in OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct SmoothenData : KXFilterData, KXFilterParams<Params> { };

    explicit OPSmoothenProcessing(const std::atomic<bool> &cancel);
    ~OPSmoothenProcessing() override;

    /// Smoothens the image, or what is selected of it, and returns it.
    ///
    /// Storage    As for @c OPGaussianBlurProcessing::run: the image must be flat, and **its buffer, which the caller's
    ///            image shares, receives the result**.
    /// Selection  Each pixel moves from the old value to the smooth one by the alpha of the selection. Pixels around
    ///            the selection count as neighbours.
    /// Memory     No copy without a selection; with it one of the selection and the pixels around it.
    /// Progress   A step per row and column of the smoothened rectangle, and one per merged row.
    RGBA32iImage run(SmoothenData data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPSmoothenProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPSmoothenProcessing::Params &params);
