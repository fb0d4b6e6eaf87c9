#include "KXKernels.h"

#include "support/Arithmetic.h"

OPKernelBase::~OPKernelBase() = default;
OPLineKernelBase::~OPLineKernelBase() = default;

void OPRGBABlurAccumulatorBase::Add(unsigned char *, bool) { }
void OPRGBABlurAccumulatorBase::Add(const OPRGBA32i &) { }
void OPRGBABlurAccumulatorBase::Subtract(unsigned char *, bool) { }
void OPRGBABlurAccumulatorBase::Subtract(const OPRGBA32i &) { }
void OPRGBABlurAccumulatorBase::Finalize(unsigned char *, bool) const { }
void OPRGBABlurAccumulatorBase::Finalize(OPRGBA32i &) const { }
void OPRGBABlurAccumulatorBase::Reset() { }
int OPRGBABlurAccumulatorBase::GetRadius() const { return 0; }
void OPRGBABlurAccumulatorBase::SubtractAddFinalize(unsigned char *, unsigned char *, void *, void *, void *, void *) {
}

int OPRGBABlurAccumulator::GetRadius() const { return m_radius; }
int OPRGBABlurAccumulatorPremul::GetRadius() const { return m_radius; }
int OPAlphaBlurAccumulator::GetRadius() const { return m_radius; }
int OPAlphaBlurAccumulatorWithInvert::GetRadius() const { return m_radius; }
int OPAlphaBlurAccumulatorWithRGBColorize::GetRadius() const { return m_radius; }

OPGaussianAlpha1D::OPGaussianAlpha1D(double sigma)
    : OPLineKernelBase(KernelAlpha)
{
    Init(unsigned(Reach(sigma)), sigma);
}

OPGaussianAlpha1D::~OPGaussianAlpha1D() = default;

void OPGaussianAlpha1D::operator()(int i)
{
    const int radius = Left();
    const qint64 position = qint64(i) + m_sourceOffset;
    const double *weight = Weights().data();
    double sum = 0.0;
    for (int j = -radius; j <= radius; ++j)
        sum += Clamped(position + j).a * *weight++;
    OPRGBA32i pixel = Clamped(position);
    pixel.a = static_cast<unsigned char>(arithmetic::clamp8(arithmetic::truncate(sum + 0.5)));
    Target(i) = pixel;
}

OPShiftEdge1D::OPShiftEdge1D(int shift)
    : OPLineKernelBase(KernelPremultiplied)
    , m_shift(std::clamp(shift, -MaximumShift, MaximumShift))
{
}

OPShiftEdge1D::~OPShiftEdge1D() = default;

void OPShiftEdge1D::operator()(int i)
{
    const qint64 position = qint64(i) + m_sourceOffset;
    OPRGBA32i pixel = Clamped(position);
    const int center = pixel.a;
    int left = m_shift > 0 ? 0 : center, right = left; // the alphas that have been met so far on either side

    const auto look = [this](qint64 index, int &tracked) {
        if (!Inside(index)) {
            if (m_shift < 0)
                tracked = 0;
            return;
        }
        const int alpha = (*m_source)[size_t(index)].a;
        tracked = m_shift < 0 ? std::min(tracked, alpha) : std::max(tracked, alpha);
    };
    for (int k = 1; k <= Left(); ++k) {
        look(position + k, right);
        look(position - k, left);
        if (position + k > m_lastIndex && position - k < 0)
            break; // both sides have left the line for good
    }

    // Left and right are not treated alike where the center equals or exceeds the left: that is intended.
    if (m_shift < 0) {
        if (center > left)
            pixel.a = static_cast<unsigned char>(right >= center ? left : std::min(left, right));
        else if (center == left)
            pixel.a = static_cast<unsigned char>(right > center ? center : right);
        else
            pixel.a = static_cast<unsigned char>(right > center ? std::min(left, right) : right);
    } else if (m_shift > 0) {
        if (center > left)
            pixel.a = static_cast<unsigned char>(right >= center ? right : center);
        else if (center == left)
            pixel.a = static_cast<unsigned char>(right > center ? right : center);
        else
            pixel.a = static_cast<unsigned char>(right > center ? std::max(left, right) : left);
    }
    Target(i) = pixel;
}

OPSimpleSharpenKernel1D::OPSimpleSharpenKernel1D(int amount)
    : OPLineKernelBase(KernelPremultiplied)
    , m_amount(amount)
    , m_doubleAmount(arithmetic::wrappingAdd(amount, amount))
{
}

OPSimpleSharpenKernel1D::~OPSimpleSharpenKernel1D() = default;

void OPSimpleSharpenKernel1D::operator()(int i)
{
    const qint64 position = qint64(i) + m_sourceOffset;
    const OPRGBA32i center = Clamped(position);
    if (m_amount == 0) {
        Target(i) = center;
        return;
    }
    const OPRGBA32i left = Clamped(position - 1), right = Clamped(position + 1);
    const auto sharpen = [this](unsigned l, unsigned c, unsigned r) {
        // Unsigned, so that absurd amounts wrap instead of being undefined.
        const unsigned sum = c * (unsigned(m_doubleAmount) + 1785u) - (l + r) * unsigned(m_amount) + 765u;
        return static_cast<unsigned char>(arithmetic::clamp8(int(sum) / 1785));
    };
    Target(i) = OPRGBA32i(sharpen(left.b, center.b, right.b), sharpen(left.g, center.g, right.g),
        sharpen(left.r, center.r, right.r), sharpen(left.a, center.a, right.a));
}
