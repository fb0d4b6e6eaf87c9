#include "KXVignette.h"

#include "OPVignetteProcessing.h"

#include "support/Arithmetic.h"
#include "support/Kernels.h"

#include "VignetteFormulas.h"

namespace {

template <class Shape>
void tint(const KXVignette &self, int x, int y, OPRGBA32i &pixel)
{
    const double a = self.GetCentreX(), b = self.GetCentreY();
    const double distance = OPVignetteProcessing::Distance(a, b, x - a, y - b);
    if (!(distance > 0))
        return;
    const double kept = Shape::kept(distance, self.GetSlope());
    const auto mixed = [kept](unsigned char color, unsigned char channel) {
        return static_cast<unsigned char>(arithmetic::truncate(vignette::mixed<double>(color, channel, kept)));
    };
    const OPRGBA32i color = self.GetColor();
    pixel.r = mixed(color.r, pixel.r);
    pixel.g = mixed(color.g, pixel.g);
    pixel.b = mixed(color.b, pixel.b);
}

} // namespace

std::function<void(const KXLinearVignette &, int, int, unsigned char *, bool)> KXLinearVignette::m_LinearAVX2;
std::function<void(const KXParabolicVignette &, int, int, unsigned char *, bool)> KXParabolicVignette::m_ParabolicAVX2;

KXLinearVignette::KXLinearVignette(double centreX, double centreY, double end, double falloff, const OPRGBA32i &color)
    : KXVignette(centreX, centreY, (end - 1.0) / falloff, color)
{
    m_HasKernel = kernels::bind(m_LinearAVX2, KX_SYMBOL(LinearAVX2));
}

void KXLinearVignette::operator()(int x, int y, unsigned char *pixels, bool flag) const
{
    kernels::call(m_LinearAVX2, *this, x, y, pixels, flag);
}

void KXLinearVignette::operator()(int x, int y, OPRGBA32i &pixel) const { tint<vignette::Linear>(*this, x, y, pixel); }

KXParabolicVignette::KXParabolicVignette(
    double centreX, double centreY, double end, double falloff, const OPRGBA32i &color)
    : KXVignette(centreX, centreY, (end - 1.0) / (falloff * falloff), color)
{
    m_HasKernel = kernels::bind(m_ParabolicAVX2, KX_SYMBOL(ParabolicAVX2));
}

void KXParabolicVignette::operator()(int x, int y, unsigned char *pixels, bool flag) const
{
    kernels::call(m_ParabolicAVX2, *this, x, y, pixels, flag);
}

void KXParabolicVignette::operator()(int x, int y, OPRGBA32i &pixel) const
{
    tint<vignette::Parabolic>(*this, x, y, pixel);
}
