#pragma once

/// @file
/// Colour balance.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <functional>

/// Shifts the colour of shadows, middle tones and highlights, each by itself: against the cast of a lamp, or to give
/// shadows another colour than lights. Black and white stay black and white.
///
/// A channel has a value for each of the three ranges. What it adds to the channel's value i, in single precision, is a
/// bell that is highest in the middle of the range, and the sum is truncated and cut at 0 and 255:
/// - shadows: 0.43 * value at i = 80, and less by exp(-0.00055 * (i - 80)^2) elsewhere
/// - middle tones: 0.74 * value at i = 127.5, by exp(-0.0004 * (i - 127.5)^2)
/// - highlights: 0.43 * value at i = 176, by exp(-0.00055 * (i - 176)^2)
///
/// @code
/// const int red[] = { 0, 10, 25 }, green[] = { 0, 0, 5 }, blue[] = { 15, 0, -20 }; // warm lights, cool shadows
/// const OPColorBalanceTransformation balance(red, green, blue);
/// @endcode
///
/// Values of 0 leave every pixel as it is. **The values 0 and 255 never change, whatever is asked for**, so that large
/// values make a step at the ends. The ranges overlap, and lightness is not kept.
class KX_EXPORT OPColorBalanceTransformation : public KXTableTransformation {
public:
    /// Each points to three values, of shadows, middle tones and highlights. A dialog offers -100 to 100: cyan to red,
    /// magenta to green and yellow to blue. Nothing is limited.
    OPColorBalanceTransformation(const int *red, const int *green, const int *blue);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "ColorBalanceTransformationAVX2"
    static std::function<void(const OPColorBalanceTransformation &, unsigned char *, bool)> m_ColorBalanceAVX2;
};

using OPIterativeColorBalanceTransformation = KXIterative<OPColorBalanceTransformation>;
