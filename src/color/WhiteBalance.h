#pragma once

#include "KXWBTransformation.h"
#include "pixels/BorrowedImage.h"

namespace color {

/// @p v cut to a range; NaN stays NaN.
constexpr double limited(double v, double low = 0, double high = 255) { return v < low ? low : v > high ? high : v; }

/// The pixels to measure; null with a side of 0, or without any.
struct MeasuredPixels {
    pixels::BorrowedImage<const OPRGBA32i> rows;
    int width, height;
};

/// What a white balance measures. Runs on the calling thread.
WBData measured(const MeasuredPixels &picture);

} // namespace color
