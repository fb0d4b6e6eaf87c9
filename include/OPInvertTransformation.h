#pragma once

/// @file
/// The inverters: of colours, and of alpha. None of them has a parameter, and all cost next to nothing.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>

/// The negative of a picture: red, green and blue become 255 minus their value. Applied twice it leaves the picture as
/// it was.
class KX_EXPORT OPInvertTransformation : public BaseTransformation {
public:
    OPInvertTransformation();

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override { pixel.word ^= 0x00FFFFFFu; }

    /// "InvertTransformationAVX2"
    static std::function<void(unsigned char *, bool)> m_InvertAVX2;
};

/// Makes what is transparent opaque, and the other way round: alpha becomes 255 minus its value, and colours stay. Has
/// no kernel; OPInvertColorAlpha does the same and has one.
class KX_EXPORT OPInvertAlphaTransformation : public BaseTransformation {
public:
    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override { pixel.word ^= 0xFF000000u; }
};

/// The two of them as templates over the type of pixel, which exist for OPRGBA32i alone.
template <class Pixel>
class OPInvertColor;
template <class Pixel>
class OPInvertColorAlpha;

/// As OPInvertTransformation.
template <>
class KX_EXPORT OPInvertColor<OPRGBA32i> : public BaseTransformation {
public:
    OPInvertColor();

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override { pixel.word ^= 0x00FFFFFFu; }

    /// "InvertColorOPRGBA32iAVX2"
    static std::function<void(unsigned char *, bool)> m_InvertColorOPRGBA32iAVX2;
};

/// As OPInvertAlphaTransformation.
template <>
class KX_EXPORT OPInvertColorAlpha<OPRGBA32i> : public BaseTransformation {
public:
    OPInvertColorAlpha();

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override { pixel.word ^= 0xFF000000u; }

    /// "InvertColorAlphaOPRGBA32iAVX2"
    static std::function<void(unsigned char *, bool)> m_InvertColorAlphaOPRGBA32iAVX2;
};
