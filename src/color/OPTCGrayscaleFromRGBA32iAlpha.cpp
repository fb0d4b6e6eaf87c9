#include "OPTCGrayscaleFromRGBA32iAlpha.h"

#include "RawForms.h"

void OPTCGrayscaleFromRGBA32iAlpha::operator()(void *data, unsigned int byteCount) const
{
    if (!data)
        return;
    OPRGBA32i *const pixels = static_cast<OPRGBA32i *>(data);
    for (unsigned i = 0; i < byteCount >> 2; ++i)
        (*this)(pixels[i].word);
}

void OPTCGrayscaleFromRGBA32iAlpha::operator()(RGBA32iImage &image) const
{
    for (int tile = 0; image.HasTile(tile); ++tile)
        (*this)(image.TileData(tile, true), unsigned(RGBA32iImage::TileBytes));
}

void OPTCGrayscaleFromRGBA32iAlpha::operator()(QImage &image) const { color::applyToRows(*this, image); }

void OPTCGrayscaleFromRGBA32iAlpha::Invert(void *, unsigned int) const { }
