#pragma once

/// @file
/// Replace colour.

#include "BaseTransformation.h"
#include "KXGlobal.h"
#include "KXIterative.h"

/// Gives every pixel that is close to one colour another one. A pixel is close when none of its four channels, alpha
/// among them, is further from that of the colour than the tolerance. **It gets the alpha of the new colour too.**
///
/// Cost     Four comparisons a pixel. There is no kernel.
class KX_EXPORT OPReplaceColorTransformation : public BaseTransformation {
public:
    /// @p tolerance  a dialog offers 0, for exactly this colour and alpha, to 255, for every pixel; below 0 no pixel is
    ///               close
    OPReplaceColorTransformation(const OPRGBA32i &from, const OPRGBA32i &to, int tolerance)
        : m_From(from)
        , m_To(to)
        , m_Tolerance(tolerance)
    {
    }

    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override;

private:
    OPRGBA32i m_From, m_To;
    int m_Tolerance;
};

using OPIterativeReplaceColorTransformation = KXIterative<OPReplaceColorTransformation>;
