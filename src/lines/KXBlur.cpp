#include "KXBlur.h"

#include "KXGaussianBase.h"

#include "color/Blocks.h"
#include "support/Arithmetic.h"
#include "support/Kernels.h"

#include "Gaussian.h"

namespace {

short tap(double value) { return short(arithmetic::truncate(value)); }

/// @p transformation over a line, by its bound @p kernel where it has one.
template <class Transformation>
void apply(const Transformation &transformation, const std::function<void(unsigned char *, bool)> &kernel,
    OPRGBA32i *pixels, int count)
{
    if (transformation.HasKernel())
        blocks::forEach(pixels, count, [&kernel](unsigned char *block, int) { kernel(block, blocks::flag); });
    else
        for (int i = 0; i < count; ++i)
            transformation.Transformation::operator()(pixels[i]);
}

} // namespace

std::vector<short> KXBlur::CreateGaussianKernel(double sigma)
{
    const unsigned reach = unsigned(KXGaussianBase::Reach(sigma));
    if (reach > KXGaussianBase::MaximumRadius)
        return { 0, 0, 0 };
    // From a sigma of 13108 on even the middle weight is less than half of 1 / 16384, and so all taps are 0.
    if (reach >= 3 * 13108)
        return std::vector<short>(2 * size_t(reach) + 1);
    const std::vector<double> weights = lines::gaussian(reach, sigma);
    const double sum = lines::sumFromMiddle(weights);
    std::vector<short> taps;
    taps.reserve(weights.size());
    for (const double weight : weights)
        taps.push_back(tap(weight / sum * 16384.0 + 0.5));
    return taps;
}

std::vector<short> KXBlur::CreateSimpleBoxKernel(int amount)
{
    // 16384 / 765 for each outer tap: at 255 all three are a third.
    const short outer = tap(amount * 21.416993464052286 + 0.5);
    return { outer, tap(16384.0 - amount * 42.83398692810457 + 0.5), outer };
}

std::vector<short> KXBlur::CreateSimpleSharpenKernel(int amount)
{
    // 16384 / 255. The outer taps are negative and truncate toward zero.
    const short outer = tap(0.5 - amount * 64.25098039215686);
    return { outer, tap(amount * 128.50196078431372 + 16384.5), outer };
}

std::function<void(unsigned char *, bool)> KXBlur::PremultiplyAlpha::m_PremultiplyAlphaAVX2;
std::function<void(unsigned char *, bool)> KXBlur::ReturnAlpha::m_ReturnAlphaAVX2;

KXBlur::PremultiplyAlpha::PremultiplyAlpha()
{
    m_HasKernel = kernels::bind(m_PremultiplyAlphaAVX2, KX_SYMBOL(PremultiplyAlphaAVX2));
}

void KXBlur::PremultiplyAlpha::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_PremultiplyAlphaAVX2, pixels, flag);
}

void KXBlur::PremultiplyAlpha::operator()(OPRGBA32i &pixel) const
{
    const unsigned alpha = pixel.a;
    const auto premultiplied = [alpha](unsigned c) { return static_cast<unsigned char>((c * alpha + 127) / 255); };
    pixel = OPRGBA32i(premultiplied(pixel.b), premultiplied(pixel.g), premultiplied(pixel.r), pixel.a);
}

KXBlur::ReturnAlpha::ReturnAlpha() { m_HasKernel = kernels::bind(m_ReturnAlphaAVX2, KX_SYMBOL(ReturnAlphaAVX2)); }

void KXBlur::ReturnAlpha::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_ReturnAlphaAVX2, pixels, flag);
}

void KXBlur::ReturnAlpha::operator()(OPRGBA32i &pixel) const
{
    const unsigned alpha = pixel.a;
    if (alpha == 0) {
        pixel = OPRGBA32i();
        return;
    }
    const auto quotient = [alpha](unsigned c) { return static_cast<unsigned char>((c * 255 + (alpha >> 1)) / alpha); };
    pixel = OPRGBA32i(quotient(pixel.b), quotient(pixel.g), quotient(pixel.r), pixel.a);
}

void KXBlur::PremultiplyAlpha::Apply(OPRGBA32i *pixels, int count) const
{
    apply(*this, m_PremultiplyAlphaAVX2, pixels, count);
}

void KXBlur::ReturnAlpha::Apply(OPRGBA32i *pixels, int count) const { apply(*this, m_ReturnAlphaAVX2, pixels, count); }
