#pragma once

/// @file
/// Levels.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <functional>

/// Stretches a range of each channel to another range, with a gamma in between: first for each channel by itself, then
/// for all of them by the master. Four values stand in each array: of the master, of red, of green and of blue.
///
/// One step, for a channel c: p is c to the power of an exponent, as a fraction of 255. A p below inLow gives outLow,
/// one above inHigh outHigh, and in between (p - inLow) * (outHigh - outLow) / (inHigh - inLow) + outLow, truncated. If
/// both ends of the input are p, the result is the larger end of the output.
///
/// @code
/// int input[4][2] = { { 0, 255 }, { 20, 230 }, { 20, 230 }, { 20, 230 } }; // takes a veil off
/// int output[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
/// double gammas[4] = { 1.2, 1, 1, 1 };
/// const OPLevelsTransformation levels(input, output, gammas, 100);
/// @endcode
///
/// Surprising, and intended:
/// - **Only the master's gamma is one.** Its exponent is 1 / gamma, with the gamma cut at 0.01 and 9.99; above 1 it
///   makes middle tones lighter. A channel's gamma is truncated to a whole number before and after the division: from
///   1 to below 2 it does nothing, from 2 on every p is 255, and below 1 every p is 0 but that of 255. A dialog offers
///   one gamma, the master's, and passes 1 for the others.
/// - **Levels that seem to do nothing do something**: with the whole range everywhere, gammas of 1 and an amount of 100
///   the values 33, 37, 41, 45, 49, 53, 57, 61, 66, 74, 82, 90, 98, 106, 114, 122, 132, 148, 164, 180, 196, 212, 228
///   and 244 lose 1. Only the default constructor and an amount of 0 leave every pixel as it is.
/// - An output whose low end is the larger one inverts the channel.
/// - A result outside of 0..255, which only such output gives, takes its low byte.
class KX_EXPORT OPLevelsTransformation : public KXTableTransformation {
public:
    /// Leaves every pixel as it is.
    OPLevelsTransformation();

    /// @p inputLevels   {low, high} for the master, red, green and blue; a dialog offers 0 to 255, low below high
    /// @p outputLevels  the same, to what those are mapped
    /// @p gammas        as described above; a dialog offers 0.1 to 9.99 for the master
    /// @p amount        in per cent of the way from the unchanged channel; a dialog offers 0 to 100, and nothing is
    ///                  limited beyond
    OPLevelsTransformation(int (*const inputLevels)[2], int (*const outputLevels)[2], double *const gammas, int amount);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "LevelsTransformationAVX2"
    static std::function<void(const OPLevelsTransformation &, unsigned char *, bool)> m_LevelsAVX2;
};

using OPIterativeLevelsTransformation = KXIterative<OPLevelsTransformation>;
