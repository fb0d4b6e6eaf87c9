#pragma once

/// @file
/// High pass of a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXBlend.h"
#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>
#include <QtCore/QReadWriteLock>

/// Brings out the details of a layer: the layer minus its Gaussian blur, plus mid-grey, composed onto the layer.
///
/// The picture of details is the expensive part. The caller keeps it from one run to the next, so that another amount
/// or another mode costs one composition. For that there are three objects, which all runs on one layer and selection
/// are given: a lock, the radius of the picture that is kept, and the picture itself. The radius begins as a value that
/// no run uses.
///
/// @code
/// struct Details { // beside the layer
///     QReadWriteLock lock;
///     double radius = -1;
///     RGBA32iImage picture;
/// };
///
/// const std::atomic<bool> cancel { false };
/// OPHighPassProcessing::HighPassData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the filter composes onto what it is given
/// data.params.radius = 3.0;
/// const RGBA32iImage shown = OPHighPassProcessing(cancel, details.lock, details.radius, details.picture).run(data);
/// @endcode
///
/// The picture that is kept is used again if the radius that is kept is that of the run; **nothing else is compared.**
/// When the layer or the selection changes, set the kept radius back. A picture of another size is composed as far as
/// both reach.
///
/// Threads  Any number of runs may share a cache. The lock is held for reading while the kept radius is compared and
///          during the composition, for writing while the cache is set, and by turns during the making of a row of the
///          picture. Whoever looks at the cache or sets it takes the lock too; nobody may hold it while he calls
///          @c run.
/// Cancel   A cancelled run leaves the cache as it was and composes nothing: the image comes back as it came in.
class KX_EXPORT OPHighPassProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params {
        /// Sigma of the Gaussian, in pixels: details up to about that size stay. Sensible from 0.2 to some hundreds;
        /// what other values do stands at @c KXBlur::CreateGaussianKernel. Around a selection it is blurred that far,
        /// truncated; a negative radius leaves that much of the selection's edge unblurred.
        double radius = 10.0;
        /// How the details are composed: 1 Overlay, 2 SoftLight, 3 HardLight; anything else SourceOver.
        int blendIndex = 1;
        int amount = 100; ///< opacity of the composition in per cent, from 0 to 100; beyond as KXComposer.h has it

        /// Streamed as "KXHighPass 1.00000", then the fields in their order; see "Parameter streams" in
        /// OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct HighPassData : KXFilterParams<Params>, KXFilterData { };

    /// The caller's cache, which must outlive the filter: @p lock guards @p cachedRadius and @p cachedPicture.
    OPHighPassProcessing(
        const std::atomic<bool> &cancel, QReadWriteLock &lock, double &cachedRadius, RGBA32iImage &cachedPicture);
    ~OPHighPassProcessing() override;

    /// Composes the details of the image, or of what is selected of it, onto it, and returns it.
    ///
    /// Storage    The image must be flat: of a tiled one the blur reaches the rows only. **Its buffer, which the
    ///            caller's image shares, receives the result.**
    /// Selection  The picture of details has the size of the selection, and its alpha; pixels around the selection
    ///            count as neighbours. It is composed through the selection once more.
    /// Memory     Where the cache misses a picture of the image's or the selection's size, which the cache keeps; with
    ///            a selection also one of what of it lies on the layer and of what the blur reads around that.
    /// Progress   Where the cache hits two steps. Otherwise one per row and column of the blurred rectangle, one per
    ///            row of the picture, and a hundredth of these, at least one, for the composition. The last of them are
    ///            set with @c SetProgress: the value is then that of the range, whatever earlier runs of the object
    ///            reached.
    /// Errors     Needs the composition slots: @c loadAVX2Functions(true) must have been called, std::bad_function_call
    ///            otherwise. std::bad_alloc, also where there is no image of the selection's size, however little of
    ///            the selection lies on the layer.
    RGBA32iImage run(HighPassData data);

    /// The mode that a @c blendIndex stands for.
    KXCompositionMode IndexHPToCompositionMode(int index) const;

private:
    const std::atomic<bool> &m_cancel;
    QReadWriteLock &m_lock;
    double &m_cachedRadius;
    RGBA32iImage &m_cachedPicture;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPHighPassProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPHighPassProcessing::Params &params);
