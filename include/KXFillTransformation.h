#pragma once

/// @file
/// Adjustments that give every pixel the same colour: with its alpha, or without.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>

/// Every pixel becomes the colour, alpha included. Has no kernel.
///
/// Cost     Next to nothing.
class KX_EXPORT KXFillTransformation : public BaseTransformation {
public:
    /// With transparent black.
    KXFillTransformation() = default;
    explicit KXFillTransformation(const OPRGBA32i &color)
        : m_Color(color)
    {
    }

    void SetData(const OPRGBA32i &color) { m_Color = color; }

    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override { pixel = m_Color; }

private:
    OPRGBA32i m_Color;
};

template <class Pixel>
class OPColorize;

/// Red, green and blue become those of the colour; alpha stays, so that what was drawn keeps its shape.
///
/// Cost     Next to nothing.
template <>
class KX_EXPORT OPColorize<OPRGBA32i> : public BaseTransformation {
public:
    explicit OPColorize(const OPRGBA32i &color);

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override
    {
        pixel.word = (pixel.word & 0xFF000000u) | (m_Color.word & 0x00FFFFFFu);
    }

    /// "ColorizeOPRGBA32iAVX2", which gets the colour.
    static std::function<void(const OPRGBA32i &, unsigned char *, bool)> m_ColorizeOPRGBA32iAVX2;

private:
    OPRGBA32i m_Color;
};
