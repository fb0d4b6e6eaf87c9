#pragma once

/// @file
/// Brightness and contrast.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <functional>

/// Shifts all tones, and spreads them around the middle grey: each colour c becomes
/// (c + brightness - 128) * f + 128 + brightness, truncated and cut at 0 and 255, with
/// f = 259 * (contrast + 255) / (255 * (259 - contrast)).
///
/// **Brightness counts twice**, before and after the contrast: 10 makes a picture lighter by 20, as long as the
/// contrast is 0. 0 and 0 leave every pixel as it is.
class KX_EXPORT OPBrightnessContrastTransformation : public KXTableTransformation {
public:
    /// @p brightness in steps of a channel, made darker by negative ones; a dialog offers -128 to 128.
    /// @p contrast from -255, which gives a plain grey, to 258, which leaves little more than black and white; a dialog
    /// offers -128 to 128. What lies beyond inverts, and 259 gives black.
    OPBrightnessContrastTransformation(int brightness, int contrast);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "BrightnessContrastTransformationAVX2"
    static std::function<void(const OPBrightnessContrastTransformation &, unsigned char *, bool)>
        m_BrightnessContrastAVX2;
};

using OPIterativeBrightnessContrastTransformation = KXIterative<OPBrightnessContrastTransformation>;
