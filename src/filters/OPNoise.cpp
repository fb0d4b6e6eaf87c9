#include "OPNoise.h"

#include "support/Arithmetic.h"
#include "support/Kernels.h"

#include "MersenneTwister.h"

#include <cmath>
#include <ctime>

namespace {

kernels::Slot refillKernel { KX_SYMBOL(MersenneTwisterAVX2) };

/// A number from 0 to 1 with 53 random bits, of two words.
double canonical(KXMersenneTwister &engine)
{
    const double low = engine(), high = engine();
    return (low + high * 4294967296.0) / 18446744073709551616.0;
}

} // namespace

KXMersenneTwister::KXMersenneTwister(quint32 seed)
{
    refillKernel.Bind();
    for (quint32 i = 0; i < Size; ++i) {
        m_state[i] = seed;
        seed = 1812433253u * (seed ^ seed >> 30) + i + 1;
    }
}

void KXMersenneTwister::Refill()
{
    if (refillKernel)
        refillKernel(m_state, m_words);
    else
        noise::refill(m_state, m_words);
    m_next = 0;
}

quint32 KXNoise::ClockSeed() { return quint32(std::time(nullptr)); }

std::function<void(const OPUniformNoise &, unsigned char *, bool)> OPUniformNoise::m_UniformNoiseAVX2;
std::function<void(const OPGaussianNoise &, unsigned char *, bool)> OPGaussianNoise::m_GaussianNoiseAVX2;

OPUniformNoise::OPUniformNoise(quint32 seed)
    : KXNoise(seed)
{
    m_HasKernel = kernels::bind(m_UniformNoiseAVX2, KX_SYMBOL(UniformNoiseAVX2));
}

void OPUniformNoise::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_UniformNoiseAVX2, *this, pixels, flag);
}

void OPUniformNoise::operator()(OPRGBA32i &pixel) const
{
    const auto draw = [this] { return static_cast<unsigned char>(m_engine() >> 24); };
    pixel.r = draw();
    pixel.g = draw();
    pixel.b = draw();
    pixel.a = draw();
}

OPGaussianNoise::OPGaussianNoise(quint32 seed)
    : KXNoise(seed)
{
    m_HasKernel = kernels::bind(m_GaussianNoiseAVX2, KX_SYMBOL(GaussianNoiseAVX2));
}

void OPGaussianNoise::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_GaussianNoiseAVX2, *this, pixels, flag);
}

void OPGaussianNoise::operator()(OPRGBA32i &pixel) const
{
    const auto draw = [this](Normal &normal) {
        const double value = normal.Draw(m_engine) * 255.0 + 255.0;
        return static_cast<unsigned char>(arithmetic::clamp8(arithmetic::truncate(value)));
    };
    pixel.r = draw(m_red);
    pixel.g = draw(m_green);
    pixel.b = draw(m_blue);
    pixel.a = draw(m_alpha);
}

/// The polar method of Marsaglia: a point in the unit circle gives two independent values.
double OPGaussianNoise::Normal::Draw(KXMersenneTwister &engine)
{
    if (hasSaved) {
        hasSaved = false;
        return saved;
    }
    double u, v, s;
    do {
        u = 2.0 * canonical(engine) - 1.0;
        v = 2.0 * canonical(engine) - 1.0;
        s = u * u + v * v;
    } while (s >= 1.0 || u == 0.0 || v == 0.0);
    double logarithm;
    if (s > 0.0001) {
        logarithm = std::log(s);
    } else { // too close to the middle for s to be exact: scaled by a power of two, whose logarithm is added
        const int exponent = std::ilogb(std::max(std::abs(u), std::abs(v)));
        u = std::scalbn(u, -exponent);
        v = std::scalbn(v, -exponent);
        s = u * u + v * v;
        logarithm = std::log(s) + exponent * 1.3862943611198906; // 2 ln 2
    }
    const double factor = std::sqrt(-2.0 * logarithm / s);
    saved = factor * v;
    hasSaved = true;
    return factor * u;
}
