#pragma once

/// @file
/// Desaturate.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <functional>

/// Takes the colour away and keeps the lightness: red, green and blue become the middle between the largest and the
/// smallest of them, truncated. That is the lightness of HSL; colours that the eye sees as differently light, such as
/// yellow and blue, become the same grey. OPBlackAndWhiteTransformation weights them. Alpha stays.
///
/// Cost     Next to nothing.
class KX_EXPORT OPDesaturateTransformation : public BaseTransformation {
public:
    OPDesaturateTransformation();

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// "DesaturateTransformationAVX2"
    static std::function<void(unsigned char *, bool)> m_DesaturateAVX2;
};
