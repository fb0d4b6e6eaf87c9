#pragma once

/// @file
/// Exposure.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <functional>

/// Makes a picture lighter or darker as a longer or shorter exposure would: each colour c becomes k * c + 255 * offset,
/// truncated and cut at 0 and 255, with k = 1 + exposure / 20 (more exactly, 1 + exposure * 0.049999750001249996).
///
/// 0 and 0 leave every pixel as it is. **A negative k does not invert**: colours below 255 * offset / |k| become 0, and
/// all others 255, so that an exposure of -21 alone gives white. Where k is exactly 0 (at an exposure near -20.0001)
/// everything becomes 255 * offset but 255, which stays. NaN gives black.
class KX_EXPORT OPExposureTransformation : public KXTableTransformation {
public:
    /// @p exposure in twentieths of the light there is: 20 doubles it, -20 leaves nothing. A dialog offers -20 to 20.
    /// @p offset is added as a fraction of the whole range. A dialog offers -0.5 to 0.5.
    OPExposureTransformation(double exposure, double offset);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "ExposureTransformationAVX2"
    static std::function<void(const OPExposureTransformation &, unsigned char *, bool)> m_ExposureAVX2;
};

using OPIterativeExposureTransformation = KXIterative<OPExposureTransformation>;
