#pragma once

/// @file
/// Dodge: makes a range of tones lighter, as less light on the paper does in a darkroom.

#include "KXTableTransformation.h"

/// Makes shadows, middle tones or highlights lighter, and the other tones less so. Has no kernel.
///
/// With x = i / 255 the value i becomes, rounded and cut at 255:
/// - Shadows: 255 * (x * (1 - amount / 2) + amount / 2).
/// - Midtones: i + 255 * amount / 4 * sin(pi * x).
/// - Highlights: i + 255 * amount * (e^x - 1).
///
/// An amount of 0 leaves every pixel as it is. **What is below 0, as a negative amount gives it, takes the low byte.**
class KX_EXPORT KXDodgeCorrection : public KXTableTransformation {
public:
    enum RangeType { Shadows = 0, Midtones = 1, Highlights = 2 };

    /// Leaves every pixel as it is.
    KXDodgeCorrection() = default;
    /// As @c SetData on that.
    KXDodgeCorrection(double amount, RangeType range) { SetData(amount, range); }

    /// @p amount as a fraction; a dialog or a brush offers 0 to 1. A @p range that is none of the three changes
    /// nothing.
    void SetData(double amount, RangeType range);
};
