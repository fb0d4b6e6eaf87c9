#pragma once

/// @file
/// Burn: darkens a range of tones, as more light on the paper does in a darkroom.

#include "KXTableTransformation.h"

/// Makes shadows, middle tones or highlights darker, and the other tones less so. Has no kernel.
///
/// With x = i / 255 the value i becomes, rounded:
/// - Shadows: i + 255 * amount * (1 - e^(1 - x)). What is below 1 becomes 0.
/// - Midtones: 255 * (x - amount / 4 * sin(pi * x)).
/// - Highlights: i * (1 - 3 / 4 * amount).
///
/// An amount of 0 leaves every pixel as it is. **What is beyond 0..255 takes the low byte**, but that midtones and
/// highlights are cut at 255: in shadows a negative amount wraps round, in the other two ranges one well above 1.
class KX_EXPORT KXBurnCorrection : public KXTableTransformation {
public:
    enum RangeType { Shadows = 0, Midtones = 1, Highlights = 2 };

    /// Leaves every pixel as it is.
    KXBurnCorrection() = default;
    /// As @c SetData on that.
    KXBurnCorrection(double amount, RangeType range) { SetData(amount, range); }

    /// @p amount as a fraction; a dialog or a brush offers 0 to 1. A @p range that is none of the three changes
    /// nothing.
    void SetData(double amount, RangeType range);
};
