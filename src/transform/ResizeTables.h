#pragma once

#include "support/Arithmetic.h"

#include "ResizeLines.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace transform {

/// What a sample weighs at a distance from the middle of its window, and from which distance on nothing. Distances are
/// samples, or results where these are fewer.
struct ResizeFilter {
    float (*weight)(float distance);
    float support;
};

inline float boxWeight(float x) { return x >= -0.5f && x <= 0.5f ? 1.0f : 0.0f; }

inline float lanczos3Weight(float x)
{
    constexpr float pi = 3.1415927410125732f, third = 0.3333333432674408f, nearZero = 1.1920928955078125e-07f;
    if (x <= -3.0f || x >= 3.0f)
        return 0.0f;
    if (x > -nearZero && x < nearZero)
        return 1.0f;
    const float a = x * pi, b = a * third;
    return (std::sin(b) / b) * (std::sin(a) / a);
}

/// What a pass along lines of one length computes for lines of another: the samples and coefficients of each result.
/// Single precision, one operation after the other, is part of the results.
class ResizeTable {
public:
    /// Both lengths are above 0.
    ResizeTable(int sourceLength, int destinationLength, const ResizeFilter &filter)
    {
        const float scale = float(destinationLength) / float(sourceLength);
        const float filterScale = scale < 1.0f ? scale : 1.0f; // a reduction widens the filter
        const float halfWidth = filter.support / filterScale;
        const qint64 lastSample = qint64(sourceLength) - 1;
        taps.reserve(size_t(destinationLength));
        std::vector<float> weights;
        for (int i = 0; i < destinationLength; ++i) {
            const float centre = (float(i) + 0.5f) * (1.0f / scale);
            const qint64 right = std::min(qint64(std::ceil(centre + halfWidth)), lastSample);
            // On lines of millions of samples a centre is rounded, and its window may begin behind the last one.
            const qint64 left = std::clamp(qint64(std::floor(centre - halfWidth)), qint64(0), right);
            weights.clear();
            for (qint64 j = left; j <= right; ++j)
                weights.push_back(filter.weight((float(j) + 0.5f - centre) * filterScale));
            Append(int(left), weights);
        }
        const auto reachesBeyond = [=](const ResizeTaps &each) {
            return paddedTaps(each.count) > sourceLength - each.firstSample;
        };
        paddedLength = int(std::find_if(taps.begin(), taps.end(), reachesBeyond) - taps.begin());
    }

    std::vector<ResizeTaps> taps;
    std::vector<short> coefficients; ///< those of each result are followed by zeros up to a multiple of four
    int paddedLength; ///< the results before this one have samples under those zeros too

private:
    /// Adds a result whose samples, from @p left on, have these weights.
    void Append(int left, const std::vector<float> &weights)
    {
        float sum = 0;
        for (const float weight : weights)
            sum += weight;
        const float normalised = 1.0f / sum;
        const size_t first = coefficients.size();
        unsigned total = 0;
        for (const float weight : weights) {
            // Where all weights are 0 this is not a number, and the coefficient 0.
            coefficients.push_back(short(arithmetic::truncate(weight * normalised * 16384.0f + 0.5f)));
            total += unsigned(int(coefficients.back()));
        }
        short &middle = coefficients[first + weights.size() / 2];
        middle = short(unsigned(int(middle)) + 16384u - total); // in 16 bits; now they add up to 1.0
        const auto begin = coefficients.begin() + qptrdiff(first);
        const auto isSet = [](short coefficient) { return coefficient != 0; };
        const auto firstSet = std::find_if(begin, coefficients.end(), isSet);
        const auto leadingZeros = firstSet - begin;
        coefficients.erase(begin, firstSet);
        while (coefficients.back() == 0)
            coefficients.pop_back();
        const int count = int(coefficients.size() - first);
        taps.push_back({ first, left + int(leadingZeros), count });
        coefficients.resize(first + size_t(paddedTaps(count)));
    }
};

} // namespace transform
