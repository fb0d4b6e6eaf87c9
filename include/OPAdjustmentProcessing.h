#pragma once

/// @file
/// The frame of all filters.
///
/// A filter is an object for one run: construct it with a cancel flag, connect its signals, call @c run once. @c run
/// may be called from any thread and blocks until the work is done; the work is spread over the global thread pool.
/// Input comes in one data value, which owns its images in the sense of @c KXImage: tiles are shared until written,
/// flat buffers are shared for good.
///
/// Signals: **they may be emitted from pool threads.** An ordinary connection to an object delivers such a signal when
/// the thread of that object is back in its event loop; if @c run blocks that very thread, this is after the run. To
/// see progress during the run, or to cancel from there, connect a function without a receiver, or use
/// Qt::DirectConnection; the function must then be fit for any thread. OPBoxBlurProcessing.h has an example.
///
/// Cancelling: the caller owns the flag, and it must outlive the filter. Workers read it between lines. A cancelled run
/// returns what it has, with no error; whoever set the flag knows to discard the result. That result need not equal the
/// input, even if the flag was set from the start: a Gaussian without a selection has premultiplied and unpremultiplied
/// the pixels by then, which loses some of their precision. Bad parameters and rectangles are no errors either:
/// rectangles shrink to what the images hold.
///
/// Selections: with one a filter works on a copy of what its passes read around the selection, so that memory and time
/// go with the size of the selection, not of the layer. The passes see what tiles hold, not a flat window of the layer;
/// but tiles that the result is written to take over what a window shows in their place.
///
/// Parameter streams: each filter has a struct @c Params, for which its header names a signature and fields. @c Write
/// puts the ASCII bytes of the signature into a QDataStream, with no length and no terminator, then the fields, a bool
/// as an int. @c Read takes them back. Version, byte order and floating-point precision are those that the stream is
/// set to, and none of them is stored. @c Write returns false when the stream fails. @c Read returns false when the
/// signature is another or is cut off, with nothing stored, and when the stream fails later; then the fields hold what
/// was read. The operators << and >> do the same; they report a failure to the debug log and leave the stream's status
/// alone, and after a failed >> the parameters are the defaults.
///
/// Sizes: an image has sides of up to 2^30 - 1 pixels, which is the caller's to keep; a debug build asserts it.

#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QObject>
#include <QtCore/QPoint>
#include <QtCore/QRect>

#include <atomic>

namespace filters {
class FilterRun;
}

/// Base of all filters: progress.
class KX_EXPORT OPAdjustmentProcessing : public QObject {
    Q_OBJECT

public:
    OPAdjustmentProcessing();
    ~OPAdjustmentProcessing() override;

    /// One step more: adds 1 and emits @c ProgressChanged with the new value. Safe from any number of threads at once;
    /// the order in which a directly connected slot sees the values is not defined, but it sees each of them once.
    void IncrementProgress();

    /// Sets the progress and emits it. For applications; of the library's filters the high pass alone calls it.
    void SetProgress(unsigned int value);

Q_SIGNALS:
    /// Emitted once per run, before the first step: progress will go up by @p maximum steps.
    void RangeChanged(int minimum, int maximum);

    /// Emitted for each finished line, and where a high pass sets the progress. A second run on one object counts on
    /// from the first run's last value.
    void ProgressChanged(int value);

protected:
    /// Sets the range and emits (0, @p value). The progress stays.
    void SetRange(unsigned int value);

private:
    friend class filters::FilterRun;

    std::atomic<quint32> m_range { 0 };
    std::atomic<quint32> m_progress { 0 };
};

/// What every filter takes, beside its parameters.
struct KXFilterData {
    RGBA32iImage image; ///< the layer; filtered and returned. Filters with vertical passes need it flat
    RGBA32iImage mask; ///< the layer's own mask; only the shadows look at it
    RGBA32iImage selection; ///< coverage of the selection in its alpha
    /// Bounds of the selection, in the coordinates of @c selection, which may be flat or tiled; nothing is merged where
    /// it does not cover them. Empty: there is no selection, the whole image is filtered.
    QRect selectionRect;
    QPoint selectionOffset; ///< added to selectionRect to get image coordinates
    QPoint maskOffset; ///< position of the mask against the image
    bool maskInverted = false; ///< whether what lies outside the mask counts as covered
};

/// The parameters as a part of a data value. A data value is made of its parts in the order of its fields: some filters
/// have this one before @c KXFilterData, others after it.
template <class Params>
struct KXFilterParams {
    Params params;
};

/// Where a layer lies, and how far it may grow.
///
/// @c origin is the position of the layer's top left pixel in the application's document, and is only added to.
/// @c region counts from that pixel: it is in the coordinates of the layer as it comes in, as selections are. For a
/// layer that may fill a document of 500 x 400 pixels:
///
/// @code
///     (0, 0) the document's corner           origin = QPoint(120, 80)
///        +-----------------------------+     region = QRect(0, 0, 500, 400).translated(-origin)
///        |      origin (120, 80)       |            = QRect(-120, -80, 500, 400)
///        |         +---------+         |
///        |         |  layer  |         |     If the layer grows by 15 on each side, the result's origin is
///        |         +---------+         |     (105, 65), and its image is 30 pixels wider and higher.
///        +-----------------------------+
/// @endcode
struct KXFilterCanvas {
    QRect region; ///< the area that the layer may grow into, in image coordinates
    QPoint origin; ///< position of the layer in the document
};

/// An image that may have grown, and where its top left corner now lies in the document.
struct KXFilterResult {
    RGBA32iImage image;
    QPoint origin;
};
