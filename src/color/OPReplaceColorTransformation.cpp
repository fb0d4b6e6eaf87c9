#include "OPReplaceColorTransformation.h"

#include <cstdlib>

void OPReplaceColorTransformation::operator()(OPRGBA32i &pixel) const
{
    const auto isClose = [this](int channel, int from) { return std::abs(channel - from) <= m_Tolerance; };
    if (isClose(pixel.r, m_From.r) && isClose(pixel.g, m_From.g) && isClose(pixel.b, m_From.b)
        && isClose(pixel.a, m_From.a))
        pixel = m_To;
}
