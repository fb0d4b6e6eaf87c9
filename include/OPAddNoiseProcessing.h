#pragma once

/// @file
/// Noise over a layer. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"
#include "OPNoise.h"

#include <QtCore/QDataStream>
#include <QtCore/QReadWriteLock>

#include <optional>

/// Lays a picture of random pixels over a layer, with an opacity.
///
/// The random picture is the expensive part. The caller keeps one for each distribution from one run to the next, so
/// that another amount costs one composition, and the noise stays the same while a slider moves.
///
/// @code
/// struct Noise { // beside the layer
///     QReadWriteLock lock;
///     RGBA32iImage uniform, gaussian;
/// };
///
/// const std::atomic<bool> cancel { false };
/// OPAddNoiseProcessing::AddNoiseData data;
/// layer.CopyTo(data.image, false); // a copy of the flat layer: the filter composes onto what it is given
/// data.params.amount = 20;
/// const RGBA32iImage noisy = OPAddNoiseProcessing(cancel, noise.lock, noise.uniform, noise.gaussian).run(data);
/// @endcode
///
/// A picture that is kept is used again if it has the size of the image or, with a selection, of the selection's
/// rectangle; **nothing else is compared**. To have other noise, set it to an empty image.
///
/// Threads  Any number of runs may share the pictures. A run holds the lock for reading while it compares and copies
///          the picture that is kept, **and also while it sets it**, so that it does not wait for the end of other
///          readers; runs that look or set at the same time exclude one another by a mutex of the library's, and each
///          picture is whole. Two that find none both make one, and the later one stays. An application that looks at
///          the pictures or sets them itself holds the lock **for writing**. Rows of the layer are read and written
///          under the lock as well, so nobody may hold it and call @c run.
/// Cancel   A cancel while the noise is made leaves the picture that is kept as it was, and the layer too.
class KX_EXPORT OPAddNoiseProcessing : public OPAdjustmentProcessing {
public:
    using OPUniformNoise = ::OPUniformNoise;
    using OPGaussianNoise = ::OPGaussianNoise;

    struct KX_EXPORT Params {
        /// Opacity of the noise in per cent, from 0 to 100. What lies beyond is not clamped; the result is then defined
        /// but of no use.
        int amount = 50;
        int distribution = 0; ///< 0: @c OPUniformNoise. Anything else: @c OPGaussianNoise
        bool keepAlpha = true; ///< whether the layer keeps its alpha; otherwise the noise covers what is transparent

        /// Streamed as "KXAddNoise 1.00000", then the fields in their order; see "Parameter streams" in
        /// OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    struct AddNoiseData : KXFilterParams<Params>, KXFilterData { };

    /// The caller's pictures and the lock that guards both. They must outlive the filter.
    OPAddNoiseProcessing(const std::atomic<bool> &cancel, QReadWriteLock &lock, RGBA32iImage &cachedUniformNoise,
        RGBA32iImage &cachedGaussianNoise);
    ~OPAddNoiseProcessing() override;

    /// Lays noise over the image, or over what is selected of it, and returns it.
    ///
    /// Blend      That of @c OPBlend::OPSourceOver with the opacity amount * 256 / 100, truncated; unlike the mode it
    ///            takes 256 without wrapping. Even an amount of 0 clears the colours of pixels without alpha, and
    ///            changes nothing else.
    /// Storage    Flat or tiled. **A flat buffer, which the caller's image shares, receives the result.**
    /// Selection  The noise has the size of the selection, and its top left corner lies on that of what is selected of
    ///            the layer. Each pixel moves from the old value to the blended one by the alpha of the selection.
    /// Memory     A picture of the image's or the selection's size, which the caller keeps; throws std::bad_alloc where
    ///            there is no such image, however little of the selection lies on the layer.
    /// Progress   A step per composed row, and before that one per row of the noise, if it has to be made.
    RGBA32iImage run(AddNoiseData data);

protected:
    /// From one seed comes the same noise each time. Otherwise the clock gives it: this is for tests.
    void SetSeed(quint32 seed) { m_seed = seed; }

private:
    const std::atomic<bool> &m_cancel;
    QReadWriteLock &m_lock;
    RGBA32iImage &m_cachedUniformNoise;
    RGBA32iImage &m_cachedGaussianNoise;
    std::optional<quint32> m_seed;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const OPAddNoiseProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, OPAddNoiseProcessing::Params &params);
