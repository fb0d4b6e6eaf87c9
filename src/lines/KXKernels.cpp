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
    Init(std::min(unsigned(Reach(sigma)), MaximumRadius), sigma);
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
    const auto look = [this, &pixel](qint64 index) {
        const int alpha = Inside(index) ? (*m_source)[size_t(index)].a : 0; // 0 is no highest alpha
        pixel.a =
            static_cast<unsigned char>(m_shift < 0 ? std::min(int(pixel.a), alpha) : std::max(int(pixel.a), alpha));
    };
    // A step beyond both ends of the line meets the same as the one before.
    const qint64 farthest = std::min(qint64(Left()), std::max(position, m_lastIndex - position) + 1);
    for (qint64 k = 1; k <= farthest; ++k) {
        look(position + k);
        look(position - k);
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
