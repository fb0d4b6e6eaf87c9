#include "OPRGBChannelFilter.h"

#include "RawForms.h"

void OPRGBChannelFilter::operator()(void *data, unsigned int byteCount) const
{
    if (m_Filter == NoFilter || !data)
        return;
    OPRGBA32i *const pixels = static_cast<OPRGBA32i *>(data);
    for (unsigned i = 0; i < byteCount >> 2; ++i)
        (*this)(pixels[i]);
}

void OPRGBChannelFilter::operator()(RGBA32iImage &image) const
{
    if (m_Filter != NoFilter)
        (*this)(color::flatPixels(image), color::pixelCount(image));
}

void OPRGBChannelFilter::operator()(QImage &image) const
{
    if (m_Filter != NoFilter)
        color::applyToRows(*this, image);
}

void OPRGBChannelFilter::operator()(OPRGBA32i &pixel) const
{
    switch (m_Filter) {
    case NoFilter:
        break;
    case NoBlue:
        pixel.b = 0;
        break;
    case NoGreen:
        pixel.g = 0;
        break;
    case NoRed:
        pixel.r = 0;
        break;
    case RedAsGrey:
        pixel.b = pixel.g = pixel.r;
        break;
    case GreenAsGrey:
        pixel.b = pixel.r = pixel.g;
        break;
    case BlueAsGrey:
        pixel.g = pixel.r = pixel.b;
        break;
    }
}

void OPRGBChannelFilter::Invert(void *, unsigned int) const { }
