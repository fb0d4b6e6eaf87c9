#include "KXSelectiveColorsTransformation.h"

#include "SelectiveColors.h"
#include "support/Kernels.h"

using namespace color;

std::function<void(const KXSelectiveColorsTransformation &, unsigned char *, bool)>
    KXSelectiveColorsTransformation::m_SelectiveColorsAVX2;

KXSelectiveColorsTransformation::KXSelectiveColorsTransformation()
{
    m_HasKernel = kernels::bind(m_SelectiveColorsAVX2, KX_SYMBOL(SelectiveColorsAVX2));
}

KXSelectiveColorsTransformation::KXSelectiveColorsTransformation(const SelectiveParamsList &params)
    : KXSelectiveColorsTransformation()
{
    m_Params = params.m_Params.mid(0, RangeCount);
    m_Mode = params.m_Mode;
    Q_ASSERT_X(m_Params.size() == RangeCount, "KXSelectiveColorsTransformation", "fewer records than ranges");
    while (m_Params.size() < RangeCount)
        m_Params.append(SelectiveParams());
    for (int range = 0; range < RangeCount; ++range) {
        const SelectiveParams &percent = m_Params.at(range);
        const size_t i = size_t(range);
        m_Cyan[i] = percent.cyan * 0.01f;
        m_Magenta[i] = percent.magenta * 0.01f;
        m_Yellow[i] = percent.yellow * 0.01f;
        m_Black[i] = percent.black * 0.01f;
    }
}

float KXSelectiveColorsTransformation::weight(const int &range, const float &r, const float &g, const float &b) const
{
    return range >= 0 && range < RangeCount ? selective::weights(r, g, b)[size_t(range)] : 0;
}

float KXSelectiveColorsTransformation::phi(
    const float &value, const float &colour, const float &black, const float &weight) const
{
    return selective::added(value, selective::change(colour, black), m_Mode != 0 ? 1.0f : 1.0f - value, weight);
}

void KXSelectiveColorsTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_SelectiveColorsAVX2, *this, pixels, flag);
}

void KXSelectiveColorsTransformation::operator()(OPRGBA32i &pixel) const
{
    using arithmetic::perByteSingle;
    const float r = pixel.r * perByteSingle, g = pixel.g * perByteSingle, b = pixel.b * perByteSingle;
    float addedR = 0, addedG = 0, addedB = 0;
    const auto weights = selective::weights(r, g, b);
    for (size_t i = 0; i < weights.size(); ++i)
        if (const float w = weights[i]; w > selective::leastWeight) {
            addedR += phi(r, m_Cyan[i], m_Black[i], w);
            addedG += phi(g, m_Magenta[i], m_Black[i], w);
            addedB += phi(b, m_Yellow[i], m_Black[i], w);
        }
    const auto byte = [](float value) { return static_cast<unsigned char>(selective::level(value)); };
    pixel = OPRGBA32i(byte(b + addedB), byte(g + addedG), byte(r + addedR), pixel.a);
}
