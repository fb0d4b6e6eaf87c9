#pragma once

/// @file
/// The image walks: a colour adjustment applied to every pixel of a rectangle, in place.
///
/// @code
/// OPIterativeTransformImageColors(adjustment, &image, selection, cancel, [&] { filter.IncrementProgress(); })();
/// @endcode
///
/// What holds for all three forms:
///
/// Shape    An invalid rectangle stands for the whole image; a valid one is clipped to it. Nothing happens when no
///          pixel remains.
/// Storage  Flat images: their buffer, which copies of the image share. Tiled images: the blocks in the tile table as
///          they are; null tiles stay null and are skipped. **A shared tile is written without being made private, once
///          for every table entry in the rectangle that shows it**, fake tiles among them, and by several workers at
///          once where the form has several. If tiles may be shared, make them private first (@c KXImage::TileData for
///          writing).
/// Kernels  A flat image goes to the kernel module where it offers the form ("VectorProcess",
///          "IterativeVectorProcess", "PixelTransformIterativeVectorProcess"); same pixels with and without it.
/// Threads  Rows are shared out to one worker fewer than there are processors, on the global pool. **With a single
///          processor nothing runs and the image stays as it is**, unless a form says otherwise. All workers share one
///          copy of the adjustment. The progress function is called from any of them.
/// Owner    The walk keeps its own copy of the adjustment, which copies of the walk share. It borrows the image and the
///          cancel flag.
/// Errors   What the adjustment or the progress function throws is logged as "[include/OPTransformImageColors:line]
///          ..." and thrown on, once all workers have ended; the other workers finish the rows that remain. A QImage
///          that shares its pixels stays as it is where there is no memory for pixels of its own, and std::bad_alloc is
///          thrown.
/// Cost     A virtual call per pixel, or, for a KXCMSTransform and for the library's cheapest adjustments, per row or
///          none; and a look at the tile table per tile and row. Nothing is allocated per row.

#include "BaseTransformation.h"
#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QRect>
#include <QtGui/QImage>

#include <atomic>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

/// What the walks below run, for a caller who holds the adjustment in a shared pointer anyway. The kernels get the
/// adjustment itself, everything else only reads it.
class KX_EXPORT OPImageWalk {
public:
    static void Plain(
        const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image, const QRect &rect);
    static void Plain(const std::shared_ptr<BaseTransformation> &transformation, QImage &image, const QRect &rect);
    static void Iterative(const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image,
        const QRect &rect, const std::atomic<bool> &cancel, const std::function<void()> &progress);
    static void PositionAware(const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image,
        const QRect &rect, const std::atomic<bool> &cancel, const std::function<void()> &progress);
};

/// The plain walk, over a KXImage or a QImage.
///
/// Rows     **On a flat KXImage the last row of the rectangle is left as it is**, so that an image of one row passes
///          unchanged; tiled images and QImages are changed in all rows. This is intended, and relied on.
/// Threads  Flat: as above. Tiled: the workers run one after the other, so that the first does all rows, in order; what
///          it throws leaves the walk, and the rows after it undone. QImage: the calling thread does all rows, also on
///          a single processor; where the kernel is used its workers do all but the last row.
/// QImage   32-bit pixels in the order of OPRGBA32i; the format is not looked at. An image of another depth is left as
///          it is. As with any write, an image that shares its pixels is detached first.
template <class Transformation, class Image = RGBA32iImage>
class OPTransformImageColors {
    static_assert(std::is_base_of<BaseTransformation, Transformation>::value, "walks apply a BaseTransformation");

public:
    OPTransformImageColors(const Transformation &transformation, Image *image, const QRect &rect = QRect())
        : m_transformation(std::make_shared<Transformation>(transformation))
        , m_image(image)
        , m_rect(rect)
    {
    }

    void operator()() const { OPImageWalk::Plain(m_transformation, *m_image, m_rect); }

private:
    std::shared_ptr<Transformation> m_transformation;
    Image *m_image;
    QRect m_rect;
};

/// The iterative walk: cancellable and with progress, for the stages of filters. It takes an RGBA32iImage alone; a
/// QImage goes through the plain walk, OPTransformImageColors.
///
/// Rows     All rows of the rectangle, whatever the storage.
/// Cancel   Read before each row; a set flag ends the worker that reads it. Rows that were begun are finished.
/// Progress Called after each row that was done. It may be empty ({}): then nothing is called.
/// Kernels  Taken only when the adjustment has its own kernel bound too (@c BaseTransformation::HasKernel).
template <class Transformation>
class OPIterativeTransformImageColors {
    static_assert(std::is_base_of<BaseTransformation, Transformation>::value, "walks apply a BaseTransformation");

public:
    OPIterativeTransformImageColors(const Transformation &transformation, RGBA32iImage *image, const QRect &rect,
        const std::atomic<bool> &cancel, std::function<void()> progress)
        : m_transformation(std::make_shared<Transformation>(transformation))
        , m_image(image)
        , m_rect(rect)
        , m_cancel(cancel)
        , m_progress(std::move(progress))
    {
    }

    void operator()() const { OPImageWalk::Iterative(m_transformation, *m_image, m_rect, m_cancel, m_progress); }

private:
    std::shared_ptr<Transformation> m_transformation;
    RGBA32iImage *m_image;
    QRect m_rect;
    const std::atomic<bool> &m_cancel;
    std::function<void()> m_progress;
};

/// The iterative walk for adjustments that depend on the position: calls them with the pixel's coordinates in the
/// image.
///
/// Rows, cancel, progress and kernels as in OPIterativeTransformImageColors.
///
/// Threads  **On a tiled image the workers are started and not waited for.** They keep the adjustment and the progress
///          function alive themselves; the image, the cancel flag and whatever the progress function refers to belong
///          to the caller, who keeps them alive until the workers have ended: one call of the progress function for
///          each row of the clipped rectangle tells, or QThreadPool::globalInstance()->waitForDone(). What is thrown
///          there is logged and goes no further. Where the system gives the pool no thread nobody does the rows.
template <class Transformation>
class OPPixelIterativeTransformImageColors {
    static_assert(std::is_base_of<BaseTransformation, Transformation>::value, "walks apply a BaseTransformation");

public:
    OPPixelIterativeTransformImageColors(const Transformation &transformation, RGBA32iImage *image, const QRect &rect,
        const std::atomic<bool> &cancel, std::function<void()> progress)
        : m_transformation(std::make_shared<Transformation>(transformation))
        , m_image(image)
        , m_rect(rect)
        , m_cancel(cancel)
        , m_progress(std::move(progress))
    {
    }

    void operator()() const { OPImageWalk::PositionAware(m_transformation, *m_image, m_rect, m_cancel, m_progress); }

private:
    std::shared_ptr<Transformation> m_transformation;
    RGBA32iImage *m_image;
    QRect m_rect;
    const std::atomic<bool> &m_cancel;
    std::function<void()> m_progress;
};
