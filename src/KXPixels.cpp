#include "KXPixels.h"

#include <cmath>

float Clamp(float v, float lo, float hi)
{
    if (!(v >= lo))
        return lo;
    return v < hi ? v : hi;
}

unsigned char MakeGamma(float v)
{
    // The constants are the single-precision values of 1/2.4, 1.055 and 0.055, widened.
    if (!(v >= 0))
        v = 0;
    else if (v > 1)
        v = 1;
    else if (double(v) > 0.0031308)
        v = float(std::pow(double(v), 0.41666665010982157) * 1.0549999475479126 - 0.054999999701976776);
    else
        v = v * 12.92f;
    return static_cast<unsigned char>(static_cast<int>(v * 255.0f + 0.5f));
}

float VoltageToIntensitySrgb(float v)
{
    if (v > 0.04045f)
        return float(std::pow(double(v * 0.94786733f + 0.052132703f), 2.4000000953674316));
    return v * 0.07739938f;
}
