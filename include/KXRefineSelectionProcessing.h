#pragma once

/// @file
/// Soft and moved edges for the masks of selections. See OPAdjustmentProcessing.h for what all filters have in common.

#include "KXGlobal.h"
#include "OPAdjustmentProcessing.h"

#include <QtCore/QDataStream>
#include <QtCore/QSize>

/// Feathers the edge of a selection and moves it outward or inward.
///
/// The image is the mask of the selection: its alpha is the coverage. It is feathered by three box means each way, then
/// the edge is moved along rows and along columns.
///
/// **The mask grows**: it comes back with the canvas around it that the soft edge needs, and with the rectangle where
/// all of that lies.
///
/// @code
/// const std::atomic<bool> cancel { false };
/// KXRefineSelectionProcessing::RefineSelectionData data;
/// data.image = mask; // is only read
/// data.selectionOffset = corner; // where in the document the mask's top left pixel lies
/// data.canvas = document;
/// data.params.feather = 4.0;
/// data.params.contract = -2; // inward
/// const auto refined = KXRefineSelectionProcessing(cancel).run(data);
/// mask = refined.image;
/// corner = refined.rect.topLeft();
/// // A picture of the document's size, laid on the canvas where the mask has it; see "Masks" in KXComposer.h.
/// const QRect all(QPoint(0, 0), document);
/// ComposeMaskOn(picture, all, mode, canvas, all, opacity, mask, all.translated(-corner), false, false);
/// @endcode
class KX_EXPORT KXRefineSelectionProcessing : public OPAdjustmentProcessing {
public:
    struct KX_EXPORT Params {
        /// How soft the edge becomes, in pixels: the radius of the three box means, truncated. The mask grows by three
        /// times that and one on each side. Sensible from 0, with which nothing is feathered, to the size of the mask.
        ///
        /// Others are defined: a value above 0 and below 1, or below 0, smooths nothing. The mask then grows by
        /// feather * 3 + 1 pixels, truncated, all the same; one below -2/3 cuts off that much of its edge. NaN,
        /// infinite ones, and those beyond 700 million in either direction leave an image of no area.
        double feather = 0.0;
        /// How many pixels the edge moves outward, in each direction in turn; a negative value moves it inward. What
        /// lies beyond the working area counts as not selected, so that a mask is shrunk there as well. Values beyond
        /// @c OPShiftEdge1D::MaximumShift move the edge by that.
        int contract = 0;

        /// Streamed as "KXRefineSelection 1.00000", then the fields in their order; see "Parameter streams" in
        /// OPAdjustmentProcessing.h.
        bool Write(QDataStream &stream) const;
        bool Read(QDataStream &stream);
    };

    /// Where selections may lie: what is beyond it is cut off.
    struct Canvas {
        QSize canvas;
    };

    /// Of the head the image and @c selectionOffset count: where in the canvas the image's top left pixel lies.
    struct RefineSelectionData : KXFilterData, Canvas, KXFilterParams<Params> { };

    struct KXRefineSelectionResult {
        RGBA32iImage image;
        QRect rect; ///< the working area in the coordinates of the canvas; it has the size of the image
    };

    explicit KXRefineSelectionProcessing(const std::atomic<bool> &cancel);
    ~KXRefineSelectionProcessing() override;

    /// Refines the image.
    ///
    /// Area       The mask, grown by the feather and by a contract above 0, as far as the canvas goes. With a feather
    ///            of 0 it is the mask's own rectangle wherever that lies: an edge that moves outward is cut off there.
    ///            A mask of no area stays as it is.
    /// Storage    The image may be flat or tiled, and is not written. The result is a new flat image.
    /// Colour     Stays without a feather; with one it becomes 0.
    /// Cancel     What is not done by then is missing: rows of the mask too.
    /// Progress   A step per row of the mask that is within the area; three per row and column of the area where it is
    ///            feathered, and one where the edge is moved.
    /// Errors     std::bad_alloc.
    KXRefineSelectionResult run(RefineSelectionData data);

private:
    const std::atomic<bool> &m_cancel;
};

/// See "Parameter streams" in OPAdjustmentProcessing.h.
KX_EXPORT QDataStream &operator<<(QDataStream &stream, const KXRefineSelectionProcessing::Params &params);
KX_EXPORT QDataStream &operator>>(QDataStream &stream, KXRefineSelectionProcessing::Params &params);

/// Feathers the alpha of a mask with a Gaussian of sigma @p radius, and keeps what is wholly selected at least half
/// covered: an alpha of 255 becomes 128 at least.
///
/// The mask grows by @p radius * 3 + 1 pixels on each side, truncated, and by 1 at least. It becomes a new flat image,
/// and @p rect, the rectangle that it fills, grows with it. Colours stay; the new pixels are transparent black.
///
/// Formula  Along rows, then along columns: the sum of alpha * tap over 3 * @p radius pixels, truncated, to either
///          side, from the first one to the last. It is truncated to a byte after each of the two. A tap at the
///          distance x is exp(-x * x / (2 * radius * radius)) over the sum of all of them. Everything is in single
///          precision.
/// Radius   Sensible from 1/3 to the size of the mask; larger ones are fine as far as memory goes. Below 1/3, negative,
///          NaN, infinite or above 700 million: a single tap of 1, so that the mask grows by 1 and keeps its alpha.
/// Image    Flat or tiled; only read. What of it is larger than @p rect may be cut off.
/// Threads  Starts as many as there are processors, and waits for them. The bytes do not depend on their number.
/// Errors   std::bad_alloc; then @p image and @p rect are what they were. It cannot be cancelled.
/// Cost     2 * (6 * radius + 1) multiplications a pixel.
KX_EXPORT void FeatherAlphaMask(RGBA32iImage &image, QRect &rect, float radius);
