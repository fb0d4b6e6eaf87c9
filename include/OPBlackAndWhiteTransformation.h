#pragma once

/// @file
/// Black and white.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <functional>
#include <optional>

/// A grey picture in which red, green and blue count by weights, as through a coloured filter on black and white film:
/// a large weight of red makes lips light and the sky dark. Alpha stays.
///
/// Each channel gives a share: its value, or the lightness of that value, times its weight, truncated and cut at 0 and
/// 255. The grey is the sum of the three shares, cut at 255.
///
/// The lightness is the CIE L* of a grey of that value, as if the value were linear light, from 0 to 255 instead of
/// 100. It makes the picture lighter: of 64, for example, it is 145.
///
/// - **Weights are not normalised.** A dialog that keeps white white divides them by their sum.
/// - In single precision the lightness of white is 254.99998, so that a single channel with a weight of 1 gives 254.
/// - As shares are truncated one by one, a grey may lose up to 3 even where the sum of the weights is 1.
/// - A negative weight gives no share, and does not take from the others; so does NaN, and a weight so large that a
///   product is no 32-bit integer.
///
/// Cost     Three loads and two additions a pixel. Objects are of 800 bytes and copied as such.
class KX_EXPORT OPBlackAndWhiteTransformation : public BaseTransformation {
public:
    /// @p lightnessCurve  whether the lightness of a value counts, and not the value
    /// The other three are the weights. A dialog offers fractions from 0 to 1 with a sum of about 1; 0.3, 0.59 and 0.11
    /// are those of OPThresholdRGB32.
    OPBlackAndWhiteTransformation(bool lightnessCurve, float red, float green, float blue);

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// The share of each value of a channel.
    const KXChannelTables &Shares() const { return m_Shares; }

    /// For red, green and blue: a number whose product with any value, divided by 65536, truncated and cut at 255, is
    /// the share of that value. Most weights from 0 to below 16 have one, without the lightness.
    struct Factors {
        int r, g, b;
    };
    /// Nothing, unless all three weights have one.
    const std::optional<Factors> &ShareFactors() const { return m_ShareFactors; }

    /// "BlackAndWhiteTransformationAVX2"
    static std::function<void(const OPBlackAndWhiteTransformation &, unsigned char *, bool)> m_BlackAndWhiteAVX2;

private:
    KXChannelTables m_Shares;
    std::optional<Factors> m_ShareFactors;
};

using OPIterativeBlackAndWhiteTransformation = KXIterative<OPBlackAndWhiteTransformation>;
