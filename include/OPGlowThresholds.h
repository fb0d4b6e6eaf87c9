#pragma once

/// @file
/// The stages of OPDiffuseGlowProcessing that make its mask hard.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>

/// Makes alpha hard: it becomes 0 where it is below the threshold, otherwise 255. Colours stay.
class KX_EXPORT OPAlphaThreshold : public BaseTransformation {
public:
    /// 0 and less make every pixel opaque, 256 and more every pixel transparent.
    explicit OPAlphaThreshold(int threshold);

    int GetThreshold() const { return m_threshold; }

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// "AlphaThresholdAVX2"
    static std::function<void(const OPAlphaThreshold &, unsigned char *, bool)> m_AlphaThresholdAVX2;

private:
    int m_threshold;
};

/// Makes a mask, in one colour, of what is bright: each pixel becomes the colour, transparent where its luminance,
/// (30 * R + 59 * G + 11 * B) / 100, truncated, is below the threshold, otherwise opaque. What alpha a pixel had does
/// not matter, so that the colour of transparent ones counts.
class KX_EXPORT OPColorizeThreshold : public BaseTransformation {
public:
    /// 0 and less make every pixel opaque, 256 and more every pixel transparent. The alpha of @p color is not used.
    OPColorizeThreshold(int threshold, const OPRGBA32i &color);

    int GetThreshold() const { return m_threshold; }
    OPRGBA32i GetColor() const { return m_color; }

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// "ColorizeThresholdAVX2"
    static std::function<void(const OPColorizeThreshold &, unsigned char *, bool)> m_ColorizeThresholdAVX2;

private:
    int m_threshold;
    OPRGBA32i m_color;
};
