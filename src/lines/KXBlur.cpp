#include "KXBlur.h"

#include "KXGaussianBase.h"

#include "support/Arithmetic.h"

#include "Gaussian.h"

namespace {

short entry(double value) { return short(arithmetic::truncate(value)); }

} // namespace

std::vector<short> KXBlur::CreateGaussianKernel(double sigma)
{
    const std::vector<double> weights = lines::gaussian(unsigned(KXGaussianBase::Reach(sigma)), sigma);
    const double sum = lines::sumFromMiddle(weights);
    std::vector<short> kernel;
    kernel.reserve(weights.size());
    for (const double weight : weights)
        kernel.push_back(entry(weight / sum * 16384.0 + 0.5));
    return kernel;
}

std::vector<short> KXBlur::CreateSimpleBoxKernel(int amount)
{
    // 16384 / 765 for each outer tap: at 255 all three are a third.
    const short outer = entry(amount * 21.416993464052286 + 0.5);
    return { outer, entry(16384.0 - amount * 42.83398692810457 + 0.5), outer };
}

std::vector<short> KXBlur::CreateSimpleSharpenKernel(int amount)
{
    // 16384 / 255. The outer taps are negative and truncate toward zero.
    const short outer = entry(0.5 - amount * 64.25098039215686);
    return { outer, entry(amount * 128.50196078431372 + 16384.5), outer };
}
