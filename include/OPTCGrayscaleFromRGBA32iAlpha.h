#pragma once

/// @file
/// Shows the alpha of a picture.

#include "KXGlobal.h"
#include "OPColorTransformBase.h"

/// Turns alpha into an opaque grey picture: red, green and blue become what alpha is, and alpha becomes 255. So a mask
/// is shown.
///
/// Pixels   The form for raw memory, and the one for a word 0xAARRGGBB. **That for an OPRGBA32i does nothing**: pass
///          its @c word.
/// QImage   Every pixel of an image of 32 bits a pixel, whose fourth byte is taken as alpha, as in Format_ARGB32.
///          Images of any other depth stay as they are. One that shares its pixels is detached first.
/// KXImage  **A tiled image alone**, every tile of it, also beyond the edges of the image; a flat one stays as it is.
///          Each tile that anything else shares is made private, and so are fake ones: as they become black, they are
///          content now, of 64 KiB each. A null tile stays null. A flat window is not looked at; where it stood for
///          fake tiles it does not show any more.
/// Back     There is no way back: @c Invert does nothing.
/// Threads  One object serves many threads, each on an image of its own.
/// Errors   Without memory for pixels of its own std::bad_alloc is thrown; the tiles before that one are done.
class KX_EXPORT OPTCGrayscaleFromRGBA32iAlpha : public OPColorTransformBase {
public:
    OPTCGrayscaleFromRGBA32iAlpha() = default;

    using OPColorTransformBase::operator();
    void operator()(unsigned int &pixel) const { pixel = 0xFF000000u | (pixel >> 24) * 0x010101u; }
    void operator()(void *data, unsigned int byteCount) const override;
    void operator()(RGBA32iImage &image) const override;
    void operator()(QImage &image) const override;

    using OPColorTransformBase::Invert;
    void Invert(void *data, unsigned int byteCount) const override;
};
