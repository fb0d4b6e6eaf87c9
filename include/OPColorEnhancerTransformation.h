#pragma once

/// @file
/// Colour enhancer.

#include "OPLevelsTransformation.h"

#include <functional>

/// Levels that a dialog can fade without building them again: what "auto colour" with a slider does.
///
/// The levels are meant to come from the picture, with what @c OPHistogrammCalculator::Threshold gives for each channel
/// as their input. The class computes nothing from a picture itself.
///
/// @code
/// OPColorEnhancerTransformation enhancer;
/// enhancer.SetLevels(levels); // once
/// enhancer.SetAmountData(70); // each time that the slider moves
/// @endcode
class KX_EXPORT OPColorEnhancerTransformation : public KXTableTransformation {
public:
    /// With levels that leave every pixel as it is, and an amount of 0.
    OPColorEnhancerTransformation();

    /// Copies @p levels.
    void SetLevels(const OPLevelsTransformation &levels);

    /// @p amount in per cent of the way from the unchanged channel to the levels' value, truncated. A dialog offers 0,
    /// which leaves every pixel as it is, to 100. Nothing is limited: beyond, a result takes its low byte.
    void SetAmountData(int amount);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "ColorEnhancerTransformationAVX2", which gets the object, whose tables are faded, and its levels, which are not.
    static std::function<void(
        const OPColorEnhancerTransformation &, const OPLevelsTransformation &, unsigned char *, bool)>
        m_ColorEnhancerAVX2;

private:
    void BuildTables();

    OPLevelsTransformation m_Levels;
    int m_Amount = 0;
};
