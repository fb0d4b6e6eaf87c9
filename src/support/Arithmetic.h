#pragma once

/// The arithmetic that everything shares: each conversion that can leave its range and each rounding rule stands here
/// once, for scalar code, for the kernel module and for tests.
namespace arithmetic {

/// 1 / 255 in double and in single precision. Formulas multiply by it and never divide by 255.
constexpr double perByte = 0.00392156862745098;
constexpr float perByteSingle = 0.003921569f;

/// min(v, 255) first, then max(that, 0).
constexpr int clamp8(int v)
{
    const int low = v < 255 ? v : 255;
    return low > 0 ? low : 0;
}

/// The processor's conversion (cvttsd2si): toward zero; NaN and what does not fit give -2147483648.
constexpr int truncate(double v)
{
    return v > -2147483649.0 && v < 2147483648.0 ? static_cast<int>(v) : -2147483647 - 1;
}

/// The same for single precision (cvttss2si).
constexpr int truncate(float v)
{
    return v >= -2147483648.0f && v < 2147483648.0f ? static_cast<int>(v) : -2147483647 - 1;
}

/// 32-bit integers added, subtracted, multiplied and divided with wrap-around. A divisor is not 0.
constexpr int wrappingAdd(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
constexpr int wrappingSubtract(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}
constexpr int wrappingMultiply(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}
constexpr int wrappingDivide(int a, int b) { return b == -1 ? wrappingSubtract(0, a) : a / b; }

/// Halves go up; below zero the value is moved into the positive range first. Infinities below zero and NaN give 0: the
/// two conversions are -2147483648 each and their sum wraps.
constexpr int roundHalfUp(double x)
{
    if (x >= 0)
        return truncate(x + 0.5);
    const int k = truncate(x - 1.0);
    return wrappingAdd(truncate(x - k + 0.5), k);
}

/// The opacity of the composers: 0..1 becomes 0..256, truncated. Values outside are not clamped here; as an unsigned
/// number they stay defined in all of the blend arithmetic.
constexpr int opacity256(double opacity) { return truncate(opacity * 256); }

/// Grey of a pixel, the weights of qGray: 11, 16 and 5 parts of 32.
template <class V>
constexpr V grey(V r, V g, V b)
{
    return (r * V(11) + g * V(16) + b * V(5)) >> 5;
}

} // namespace arithmetic
