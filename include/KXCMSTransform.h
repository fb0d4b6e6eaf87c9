#pragma once

/// @file
/// The conversion of single pixels from one ICC profile to another.

#include "BaseTransformation.h"
#include "KXCMSProfile.h"
#include "KXGlobal.h"
#include "KXPixels.h"

#include <memory>

class QColor;

/// Converts a pixel from the colours of one profile to those of another, perceptually; alpha stays.
///
/// Empty    There are transforms that leave every pixel as it is and say nothing about it: without profiles, with an
///          empty profile, between profiles that compare equal, from or to a profile that is not RGB, and where the
///          engine cannot make one. @c IsEmpty tells.
/// Profiles What a transform does is settled when it is made; a profile that is loaded anew later does not reach it.
///          But it keeps its two profiles, which share with those that it was given, and **a copy is made from the
///          profiles as they are at that moment**. So after a load through a shared profile the old object converts as
///          before, while its copies, and with them every walk over an image, convert by what was loaded. Whether a
///          walk happens at all is asked of the object itself, though: one that was made empty stays without effect on
///          images. Assigning makes a transform anew in the same way, also from itself.
/// Result   That of Little CMS for the pixel as TYPE_BGRA_8, with the intent perceptual and no flags, in place.
/// Kernels  None: @c HasKernel is false.
/// Threads  One object serves many threads, and many threads may use, make and copy objects of their own at once.
/// Cost     Converting takes no lock and allocates nothing, but for the first pixel of a thread: each thread keeps half
///          a megabyte in which it remembers colours. Making a transform takes milliseconds, tens of them between
///          profiles with tables; copies of one that lives are cheap. After a load through a shared profile every walk
///          makes one anew, until the object is assigned.
class KX_EXPORT KXCMSTransform : public BaseTransformation {
public:
    /// An empty transform.
    KXCMSTransform();
    KXCMSTransform(const KXCMSProfile &source, const KXCMSProfile &target);
    KXCMSTransform(const KXCMSTransform &other);
    ~KXCMSTransform() override;
    KXCMSTransform &operator=(const KXCMSTransform &other);

    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override;

    /// @p count pixels, as one by one, and faster: this is what the walks over images use.
    void operator()(OPRGBA32i *pixels, int count) const;

    /// The colour rounded to 8 bits per channel, as QColor::rgba() has it, and converted. Where the transform is empty
    /// it stays as it is, in its own precision and colour model.
    void operator()(QColor &color) const;

    /// Whether every pixel stays as it is.
    bool IsEmpty() const;

private:
    friend class OPRGBA32ColorProfileTransform;
    class Private;
    std::unique_ptr<Private> d;
};
