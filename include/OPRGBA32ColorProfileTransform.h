#pragma once

/// @file
/// The conversion of images between two ICC profiles, in both directions.

#include "KXCMSTransform.h"
#include "KXGlobal.h"
#include "OPColorTransformBase.h"

/// Converts pixels and images from a first profile to a second, and back with @c Invert.
///
/// Images   Go through the plain walk of OPTransformImageColors with a copy of the transform, over the whole image, and
///          with all that holds there. In particular **a flat KXImage keeps its last row as it is**, and **a tile
///          that is shared is changed for all who share it, once for every table entry that shows it**: detach such
///          tiles first. A QImage is changed in all rows, and detached like on any write. The profile that a KXImage
///          holds is not looked at and stays.
/// Raw      The raw-memory forms do nothing. A stack of transformations applies them to a KXImage, so that this class
///          has no effect there; in a stack that is applied to a QImage or to a pixel it has.
/// Back     There and back again comes close to the first value and need not meet it.
/// Empty    Where the transform was made without anything to convert (see KXCMSTransform) images and pixels stay, and
///          nothing is detached.
/// Values   A copy makes its transforms anew from the profiles as they are at that moment, see KXCMSTransform.
/// Threads  One object serves many threads, each on images of its own.
class KX_EXPORT OPRGBA32ColorProfileTransform : public OPColorTransformBase {
public:
    /// Changes nothing.
    OPRGBA32ColorProfileTransform() = default;
    OPRGBA32ColorProfileTransform(const KXCMSProfile &first, const KXCMSProfile &second);
    OPRGBA32ColorProfileTransform(const OPRGBA32ColorProfileTransform &other) = default;
    OPRGBA32ColorProfileTransform &operator=(const OPRGBA32ColorProfileTransform &other);

    using OPColorTransformBase::operator();
    void operator()(void *data, unsigned int byteCount) const override;
    void operator()(RGBA32iImage &image) const override;
    void operator()(QImage &image) const override;
    void operator()(OPRGBA32i &pixel) const override;

    using OPColorTransformBase::Invert;
    void Invert(void *data, unsigned int byteCount) const override;
    void Invert(RGBA32iImage &image) const override;
    void Invert(QImage &image) const override;
    void Invert(OPRGBA32i &pixel) const override;

private:
    KXCMSTransform m_Forward;
    KXCMSTransform m_Backward;
};
