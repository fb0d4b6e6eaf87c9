#pragma once

#include "OPLevelsTransformation.h"

namespace color {

/// Levels that only map the whole range of each channel, to these two values.
inline OPLevelsTransformation levelsOfOutput(const int (&red)[2], const int (&green)[2], const int (&blue)[2])
{
    int input[4][2] = { { 0, 255 }, { 0, 255 }, { 0, 255 }, { 0, 255 } };
    int output[4][2] = { { 0, 255 }, { red[0], red[1] }, { green[0], green[1] }, { blue[0], blue[1] } };
    double gammas[4] = { 1.0, 1.0, 1.0, 1.0 };
    return { input, output, gammas, 100 };
}

} // namespace color
