#pragma once

/// @file
/// Sharpens a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>

/// Sharpens a layer with three taps along rows, then along columns; see @c OPSimpleSharpenKernel1D.
///
/// **Pixels are taken straight**: alpha is sharpened like the colours, and the colour of a transparent pixel counts as
/// much as that of an opaque one.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// OPSharpenProcessing::SharpenData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the filter writes into what it is given
/// data.params.amount = 40;
/// layer = OPSharpenProcessing(cancel).run(data);
/// @endcode
class KX_EXPORT OPSharpenProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params {
        /// In each direction a pixel moves away from the sum of its two neighbours by that many 1785ths. Sensible from
        /// 0, which changes nothing, to some hundreds: 100 is seen, 300 is strong. Negative amounts smooth; those
        /// beyond four million wrap.
        int amount = 10;

        /// Streamed as "KXSharpen 1.00000", then the amount; see "Parameter streams" in OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct SharpenData : KXFilterData, KXFilterParams<Params> { };

    explicit OPSharpenProcessing(const std::atomic<bool> &cancel);
    ~OPSharpenProcessing() override;

    /// Sharpens the image, or what is selected of it, and returns it.
    ///
    /// Storage    As for @c OPGaussianBlurProcessing::run: the image must be flat, and **its buffer, which the caller's
    ///            image shares, receives the result**.
    /// Selection  Each pixel moves from the old value to the sharpened one by the alpha of the selection. Pixels around
    ///            the selection count as neighbours.
    /// Memory     No copy without a selection; with it one of the selection and two pixels around it.
    /// Progress   A step per row and column of the sharpened rectangle, and one per merged row.
    RGBA32iImage run(SharpenData data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPSharpenProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPSharpenProcessing::Params &params);
