#pragma once

/// @file
/// The stages of OPVignetteProcessing: a tint that grows with the distance from an ellipse.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>

/// Base of the two stages: the ellipse around a centre whose semi-axes are that centre's coordinates, and the colour
/// that pixels beyond it are moved to. With the centre of an image it is the ellipse that the image's edges touch.
///
/// A pixel at distance d beyond the ellipse, as @c OPVignetteProcessing::Distance has it, keeps a share t of itself, at
/// least 0, and takes the rest of each channel c from that of the colour k: c * t + k * (1 - t), halves up. Others stay
/// as they are, and so does alpha.
///
/// Range    Any values. Where t is not a number, as with a falloff of 0 and an end of 1, it is 0. A share above 1,
///          which needs an end above 1 or a negative falloff, moves away from the colour: what is then above 255 or not
///          a number becomes 255, and what is below 0 is truncated to an integer and wraps around in its lowest byte.
/// Cost     Three divisions and two square roots for a pixel beyond the ellipse, or near it.
class KX_EXPORT KXVignette : public BaseTransformation {
public:
    double GetCentreX() const { return m_centreX; }
    double GetCentreY() const { return m_centreY; }
    double GetSlope() const { return m_slope; }
    OPRGBA32i GetColor() const { return m_color; }

protected:
    KXVignette(double centreX, double centreY, double slope, const OPRGBA32i &color)
        : m_centreX(centreX)
        , m_centreY(centreY)
        , m_slope(slope)
        , m_color(color)
    {
    }

private:
    double m_centreX, m_centreY;
    double m_slope;
    OPRGBA32i m_color;
};

/// t falls along a straight line, from 1 on the ellipse to @p end at distance @p falloff, and on to 0.
class KX_EXPORT KXLinearVignette : public KXVignette {
public:
    KXLinearVignette(double centreX, double centreY, double end, double falloff, const OPRGBA32i &color);

    using BaseTransformation::operator();
    void operator()(int x, int y, unsigned char *pixels, bool flag) const override;
    void operator()(int x, int y, OPRGBA32i &pixel) const override;

    /// "LinearAVX2"
    static std::function<void(const KXLinearVignette &, int, int, unsigned char *, bool)> m_LinearAVX2;
};

/// t falls along a parabola, from 1 on the ellipse to @p end at distance @p falloff, and on to 0.
class KX_EXPORT KXParabolicVignette : public KXVignette {
public:
    KXParabolicVignette(double centreX, double centreY, double end, double falloff, const OPRGBA32i &color);

    using BaseTransformation::operator();
    void operator()(int x, int y, unsigned char *pixels, bool flag) const override;
    void operator()(int x, int y, OPRGBA32i &pixel) const override;

    /// "ParabolicAVX2"
    static std::function<void(const KXParabolicVignette &, int, int, unsigned char *, bool)> m_ParabolicAVX2;
};
