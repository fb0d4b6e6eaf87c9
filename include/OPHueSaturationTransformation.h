#pragma once

/// @file
/// Hue and saturation.

#include "BaseTransformation.h"
#include "KXGlobal.h"
#include "KXIterative.h"

#include <functional>

/// Turns the hues of a picture, makes its colours stronger or weaker, and lighter or darker: hue, saturation and
/// lightness of each pixel are read as QColor::getHsl gives them (0 to 359 or -1 for grey, 0 to 255, 0 to 255), three
/// numbers are added, and QColor::setHsl makes a pixel of the sums. Saturation and lightness are cut at 0 and 255.
/// Alpha stays, but for refused hues.
///
/// With @c colorize the hue is not added but set, and every pixel gets it.
///
/// Surprising, and intended:
/// - **The sum of hues does not go round at its lower end.** From 360 on it does; a sum of -1 makes a grey of the
///   lightness; and where it is below -1 the pixel becomes **opaque black**, 0xFF000000, and its alpha is lost. QColor
///   would warn about each of these pixels, this class does not. So turn by 300 for -60.
/// - **Greys are pixels of hue -1.** They stay grey while nothing is added to the hue. Turned by n they become pixels
///   of hue n - 1, to which a positive saturation gives colour; turned by less than 0 they become opaque black.
/// - Where all three numbers are 0 greys stay, but most other colours change by a step, and some by up to five: there
///   are fewer of them in degrees and bytes.
/// - Sums that no integer holds wrap.
///
/// Cost     Three divisions and a look-up in a table of 8 kB a pixel, whatever the parameters.
class KX_EXPORT OPHueSaturationTransformation : public BaseTransformation {
public:
    /// Nothing is added.
    OPHueSaturationTransformation();

    /// @p hue         in degrees; a dialog offers 0 to 359. Nothing is limited: see above
    /// @p saturation  a dialog offers -255, which leaves greys, to 255
    /// @p lightness   a dialog offers -255, which is black, to 255, which is white
    /// @p colorize    whether @p hue is the hue of all pixels
    OPHueSaturationTransformation(int hue, int saturation, int lightness, bool colorize);

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    int Hue() const { return m_Hue; }
    int Saturation() const { return m_Saturation; }
    int Lightness() const { return m_Lightness; }
    bool IsColorizing() const { return m_Colorize; }

    /// "HueSaturationTransformationAVX2"
    static std::function<void(const OPHueSaturationTransformation &, unsigned char *, bool)> m_HueSaturationAVX2;

private:
    int m_Hue = 0, m_Saturation = 0, m_Lightness = 0;
    bool m_Colorize = false;
};

using OPIterativeHueSaturationTransformation = KXIterative<OPHueSaturationTransformation>;
