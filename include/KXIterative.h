#pragma once

/// @file
/// Adjustments that are called with the index of a pixel.

#include "KXGlobal.h"
#include "KXPixels.h"

/// @p Transformation for code that owns a flat array of pixels: it sets the array once, and then calls the object with
/// nothing but an index.
///
/// @code
/// OPIterativeExposureTransformation brighten(10, 0); // the constructors are those of OPExposureTransformation
/// brighten.SetProcessingBuffer(image.Bits());
/// brighten(y * image.Width() + x);
/// @endcode
///
/// Everything else is as in @p Transformation. The array is borrowed, and copies of the object share it. An object that
/// has none must not be called with an index; a debug build asserts that. The library itself uses none of these
/// classes.
template <class Transformation>
class KXIterative : public Transformation {
public:
    using Transformation::Transformation;

    void SetProcessingBuffer(OPRGBA32i *buffer) { m_Buffer = buffer; }

    using Transformation::operator();
    void operator()(int index) const override
    {
        Q_ASSERT(m_Buffer);
        Transformation::operator()(m_Buffer[index]);
    }

private:
    OPRGBA32i *m_Buffer = nullptr;
};
