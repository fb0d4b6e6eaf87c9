#pragma once

/// @file
/// The base of the colour transformations that take all pixel types, images and raw memory, and have an inverse.

#include "KXGlobal.h"
#include "KXImage.h"
#include "KXPixels.h"

class QImage;

/// A colour change and its inverse, on whatever holds pixels.
///
/// A class implements the forms that it serves. All the others but the two pure ones have empty bodies: a form that is
/// not served is ignored in silence and the pixels stay. There is no inverse for OPHSLA. The order of the virtual
/// operations is part of the interface. A class that overrides some of the overloads names the others with
/// @c using OPColorTransformBase::operator(); (and Invert).
///
/// Raw memory  The second argument counts **bytes**: @p byteCount >> 2 pixels of OPRGBA32i are changed, and nothing
///             when @p data is null or @p byteCount is below 4.
/// Values      Copying and assigning do nothing here; the base holds no data.
/// Threads     All operations are const; a class says whether they may run at once.
class KX_EXPORT OPColorTransformBase {
public:
    OPColorTransformBase(const OPColorTransformBase &) { }
    OPColorTransformBase &operator=(const OPColorTransformBase &) { return *this; }

    virtual void operator()(void *data, unsigned int byteCount) const = 0;
    virtual void operator()(RGBA32iImage & /*image*/) const { }
    virtual void operator()(QImage & /*image*/) const { }
    virtual void operator()(OPHSLA & /*pixel*/) const { }
    virtual void operator()(OPRGBA128f & /*pixel*/) const { }
    virtual void operator()(OPRGBA128i & /*pixel*/) const { }
    virtual void operator()(OPRGBA64f & /*pixel*/) const { }
    virtual void operator()(OPRGBA64i & /*pixel*/) const { }
    virtual void operator()(OPRGBA32i & /*pixel*/) const { }

    virtual void Invert(void *data, unsigned int byteCount) const = 0;
    virtual void Invert(RGBA32iImage & /*image*/) const { }
    virtual void Invert(QImage & /*image*/) const { }
    virtual void Invert(OPRGBA128f & /*pixel*/) const { }
    virtual void Invert(OPRGBA128i & /*pixel*/) const { }
    virtual void Invert(OPRGBA64f & /*pixel*/) const { }
    virtual void Invert(OPRGBA64i & /*pixel*/) const { }
    virtual void Invert(OPRGBA32i & /*pixel*/) const { }

    virtual ~OPColorTransformBase();

protected:
    OPColorTransformBase() { }
};
