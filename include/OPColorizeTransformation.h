#pragma once

/// @file
/// Colorize.

#include "KXTableTransformation.h"
#include "OPHueSaturationTransformation.h"

#include <functional>

/// Gives a picture the hue of one colour, as a toned photograph has it: each pixel moves toward a colour that depends
/// on its lightness alone, the middle between its largest and its smallest channel. Alpha stays.
///
/// Surprising, and intended:
/// - **The saturation is that of the colour in per cent, used as a number of 0 to 255**: the strongest colour gives 100
///   of 255, so that the result is always mild.
/// - The lightness of the colour does not count. A grey takes all colour away.
///
/// Cost     Three loads and three divisions by a constant a pixel. Objects are of 800 bytes and copied as such.
class KX_EXPORT OPColorizeTransformation : public BaseTransformation {
public:
    /// @p color   whose hue and saturation pixels get
    /// @p amount  in per cent of the way from the unchanged pixel; a dialog offers 0, which leaves every pixel as it
    ///            is, to 100. Nothing is limited beyond: what leaves 0..255 takes the low byte, and products wrap
    OPColorizeTransformation(const OPRGBA32i &color, int amount);

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// What becomes of each grey at 100 per cent.
    const KXChannelTables &Tones() const { return m_Tones; }
    int Amount() const { return m_Amount; } ///< in parts of 255

    /// "ColorizeTransformationAVX2", which gets the hue and saturation too.
    static std::function<void(
        const OPColorizeTransformation &, const OPHueSaturationTransformation &, unsigned char *, bool)>
        m_ColorizeTransformationAVX2;

private:
    OPHueSaturationTransformation m_HueSaturation;
    int m_Amount;
    KXChannelTables m_Tones;
};

using OPIterativeColorizeTransformation = KXIterative<OPColorizeTransformation>;
