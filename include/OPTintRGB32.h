#pragma once

/// @file
/// Tint.

#include "OPLevelsTransformation.h"

#include <functional>

/// Gives a picture two colours: black becomes the dark one, white the light one, and each channel moves evenly in
/// between. It is a levels adjustment with these colours as the ends of its output. Alpha stays.
///
/// **An amount of 0 is not the identity**, but what OPLevelsTransformation does with whole ranges: 24 values lose 1.
///
/// Cost     Three loads a pixel. Objects are of 800 bytes and copied as such.
class KX_EXPORT OPTintRGB32 : public BaseTransformation {
public:
    /// @p amount in per cent of the way from black to the dark colour and from white to the light one; a dialog offers
    /// 0 to 100, and nothing is limited beyond: what leaves 0..255 takes the low byte.
    OPTintRGB32(const OPRGBA32i &darkColor, const OPRGBA32i &lightColor, int amount);

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// "TintAVX2", which gets the levels.
    static std::function<void(const OPLevelsTransformation &, unsigned char *, bool)> m_TintAVX2;

private:
    OPLevelsTransformation m_Levels;
};
