#include "OPTemperatureCorrection.h"

#include "Hsl.h"
#include "Tables.h"
#include "support/Kernels.h"

#include <cmath>

namespace {

using arithmetic::wrappingMultiply;

constexpr int fadeOfHalfPercent = color::wholeFade / 200;

KXChannelTables temperatureTables(OPRGBA32i color, int strength, int greenShift)
{
    const auto faded = [strength](int from, int to) {
        return static_cast<unsigned char>(color::faded(from, to, strength, color::wholeFade));
    };
    return { color::tableOf([&](int i) { return faded(i, color.r); }), //
        color::tableOf([&](int i) {
            const int green = faded(i, color.g);
            return green + wrappingMultiply(greenShift > 0 ? 255 - green : green, greenShift) / 100;
        }),
        color::tableOf([&](int i) { return faded(i, color.b); }) };
}

unsigned char limited(float value) { return static_cast<unsigned char>(std::fmin(std::fmax(value, 0.0f), 255.0f)); }

} // namespace

std::function<void(const OPTemperatureCorrection &, unsigned char *, bool)>
    OPTemperatureCorrection::m_TemperatureCorrectionAVX2;

OPTemperatureCorrection::OPTemperatureCorrection()
    : m_Tables(temperatureTables(GetTemperatureColor(6500), 50, 0))
{
    m_HasKernel = kernels::bind(m_TemperatureCorrectionAVX2, KX_SYMBOL(TemperatureCorrectionAVX2));
}

OPTemperatureCorrection::OPTemperatureCorrection(int kelvin, int amount, int greenShift)
{
    SetData(kelvin, amount, greenShift);
    m_HasKernel = kernels::bind(m_TemperatureCorrectionAVX2, KX_SYMBOL(TemperatureCorrectionAVX2));
}

void OPTemperatureCorrection::SetData(int kelvin, int amount, int greenShift)
{
    m_Tables = temperatureTables(GetTemperatureColor(kelvin), wrappingMultiply(amount, fadeOfHalfPercent), greenShift);
}

OPRGBA32i OPTemperatureCorrection::GetTemperatureColor(int kelvin)
{
    if (kelvin == 6500)
        return OPRGBA32i(0xFFFFFFFFu);
    const float t = float(std::max(std::min(kelvin, 40000), 1000)) * 0.01f;
    if (t > 66.0f) {
        const float u = t - 60.0f;
        return OPRGBA32i(255, limited(288.12216f * std::pow(u, -0.075514846f)),
            limited(329.69873f * std::pow(u, -0.13320476f)), 255);
    }
    const unsigned char blue = t >= 66.0f ? 255
        : t <= 19.0f                      ? 0
                                          : limited(138.51773f * std::log(t - 10.0f) - 305.0448f);
    return OPRGBA32i(blue, limited(99.4708f * std::log(t) - 161.11957f), 255, 255);
}

void OPTemperatureCorrection::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_TemperatureCorrectionAVX2, *this, pixels, flag);
}

void OPTemperatureCorrection::operator()(OPRGBA32i &pixel) const
{
    color::Hsl hsl = color::hslOf(m_Tables(pixel));
    hsl.l = (color::mostOf(pixel) + color::leastOf(pixel) + 1) >> 1;
    pixel = color::pixelOf(hsl, pixel.a);
}
