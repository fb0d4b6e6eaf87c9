#pragma once

/// @file
/// Threshold.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>

/// Black and white and nothing in between: where (30 * R + 59 * G + 11 * B) / 100, truncated, is below the level the
/// pixel becomes black, otherwise white. Alpha stays.
///
/// Cost     Three multiplications and a division a pixel; the kernel does without the division.
class KX_EXPORT OPThresholdRGB32 : public BaseTransformation {
public:
    /// What the channels count in the luminance, in parts of the divisor.
    static constexpr int weightR = 30, weightG = 59, weightB = 11, divisor = 100;
    static constexpr int Luminance(OPRGBA32i pixel)
    {
        return (pixel.b * weightB + pixel.g * weightG + pixel.r * weightR) / divisor;
    }

    /// With a level of 0, which makes every pixel white, until @c SetLevel is called.
    OPThresholdRGB32();
    explicit OPThresholdRGB32(int level);

    /// @p level from 0 to 255 in a dialog. 0 and less make every pixel white, 256 and more black.
    void SetLevel(int level) { m_Level = level; }
    int GetLevel() const { return m_Level; }

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// "ThresholdAVX2"
    static std::function<void(const OPThresholdRGB32 &, unsigned char *, bool)> m_ThresholdAVX2;

private:
    int m_Level = 0;
};
