#pragma once

/// @file
/// Shows single channels of a picture.

#include "KXGlobal.h"
#include "OPColorTransformBase.h"

/// Leaves one channel out, or shows one as a grey picture. Alpha stays.
///
/// Pixels   The form for an OPRGBA32i and the one for raw memory.
/// QImage   Every pixel of an image of 32 bits a pixel, whose bytes are taken as blue, green, red and alpha: pass
///          Format_RGB32, Format_ARGB32 or its premultiplied form; other formats of that depth have their channels
///          elsewhere. Images of any other depth stay as they are. One that shares its pixels is detached first.
/// KXImage  **Of a flat image the first quarter of its pixels alone**, for the size in pixels is handed on as one in
///          bytes; and nothing of a tiled one. This is intended. Copies of a flat image share the pixels that are
///          written. For all pixels of a flat image call the raw-memory form: filter(image.Bits(), 4 * pixels).
/// Back     There is no way back: @c Invert does nothing.
/// Threads  One object serves many threads, each on pixels of its own, while its filter is not being set.
/// Errors   QImages without memory for pixels of their own throw std::bad_alloc.
class KX_EXPORT OPRGBChannelFilter : public OPColorTransformBase {
public:
    /// Any other value leaves pixels as they are.
    enum RGBFilter : int {
        NoFilter = 0, ///< changes nothing; an image is not even detached
        NoBlue = 1, ///< blue becomes 0
        NoGreen = 2,
        NoRed = 3,
        RedAsGrey = 4, ///< green and blue become what red is
        GreenAsGrey = 5,
        BlueAsGrey = 6
    };

    /// Changes nothing.
    OPRGBChannelFilter() = default;
    explicit OPRGBChannelFilter(RGBFilter filter)
        : m_Filter(filter)
    {
    }

    RGBFilter GetChannelFilter() const { return m_Filter; }
    void SetChannelFilter(RGBFilter filter) { m_Filter = filter; }

    using OPColorTransformBase::operator();
    void operator()(void *data, unsigned int byteCount) const override;
    void operator()(RGBA32iImage &image) const override;
    void operator()(QImage &image) const override;
    void operator()(OPRGBA32i &pixel) const override;

    using OPColorTransformBase::Invert;
    void Invert(void *data, unsigned int byteCount) const override;

private:
    RGBFilter m_Filter = NoFilter;
};
