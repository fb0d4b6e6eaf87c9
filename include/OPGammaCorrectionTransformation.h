#pragma once

/// @file
/// Gamma correction.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <functional>

/// Makes middle tones lighter or darker and leaves black and white: each colour, as a fraction of 255, is raised to the
/// power of 1 / gamma and truncated.
///
/// **A gamma of 1 is not the identity**: the values 33, 37, 41, 45, 49, 53, 57, 61, 66, 74, 82, 90, 98, 106, 114, 122,
/// 132, 148, 164, 180, 196, 212, 228 and 244 lose 1. That is intended.
class KX_EXPORT OPGammaCorrectionTransformation : public KXTableTransformation {
public:
    /// @p gamma above 1 makes lighter, below 1 darker; a dialog offers 0.1 to 5. It is cut at 0.01 and 5, and NaN
    /// counts as 0.01.
    explicit OPGammaCorrectionTransformation(double gamma);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "GammaCorrectionTransformationAVX2"
    static std::function<void(const OPGammaCorrectionTransformation &, unsigned char *, bool)> m_GammaCorrectionAVX2;
};

using OPIterativeGammaCorrectionTransformation = KXIterative<OPGammaCorrectionTransformation>;
