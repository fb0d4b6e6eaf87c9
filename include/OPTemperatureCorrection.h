#pragma once

/// @file
/// Colour temperature.

#include "KXTableTransformation.h"

#include <functional>

/// Makes a picture warmer or colder: each pixel moves toward the colour of a black body of some temperature, green is
/// shifted, and then the pixel gets its lightness back, the middle between its largest and its smallest channel,
/// rounded up. So **hue and saturation change and the lightness never does**; white and black stay. Alpha stays.
///
/// A low temperature gives orange, a high one blue, and 6500 white; that is the colour of the light that is put over
/// the picture, not of the light that is taken off.
///
/// Surprising, and intended:
/// - **200 per cent is the whole way** to the colour, and 100 half of it. 6500 kelvin is no identity: colours lose
///   saturation, as a mixture with white does.
/// - An amount of 0 is none either: most colours change by a step, and some by up to five, on their way to HSL and
///   back.
///
/// Cost     Three loads from tables, three divisions and a look-up in a table of 8 kB a pixel. Objects are of 800 bytes
///          and copied as such.
class KX_EXPORT OPTemperatureCorrection : public BaseTransformation {
public:
    /// 50 parts of 255000 toward white, which changes no pixel more than an amount of 0 does.
    OPTemperatureCorrection();

    /// As @c SetData.
    OPTemperatureCorrection(int kelvin, int amount, int greenShift);

    /// @p kelvin      a dialog offers 1000 to 40000; what lies beyond counts as the nearer end
    /// @p amount      in half per cent of the way to the colour; a dialog offers 0 to 200
    /// @p greenShift  in per cent of the way of green to 255, or to 0 where it is negative; a dialog offers -100 to 100
    ///
    /// No amount and no shift is limited: what leaves 0..255 takes the low byte, and products wrap.
    void SetData(int kelvin, int amount, int greenShift);

    /// The colour of a temperature, opaque. A temperature counts as one of 1000 to 40000.
    static OPRGBA32i GetTemperatureColor(int kelvin);

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// What becomes of each channel before the pixel gets its lightness back.
    const KXChannelTables &Tables() const { return m_Tables; }

    /// "TemperatureCorrectionAVX2"
    static std::function<void(const OPTemperatureCorrection &, unsigned char *, bool)> m_TemperatureCorrectionAVX2;

private:
    KXChannelTables m_Tables;
};
