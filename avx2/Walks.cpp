#include "Kernel.h"
#include "color/Blocks.h"
#include "color/Runs.h"

#include "support/Workers.h"

#include <QtCore/QRect>

#include <atomic>
#include <functional>

// The walks of a flat image: rows, workers and order are those of the library's own walks, but each row is done in
// blocks.

namespace {

/// All rows of @p rect with cancel and progress.
template <class ApplyToRow>
void walkIteratively(const QRect &rect, const std::atomic<bool> &cancel, const std::function<void()> &progress,
    const ApplyToRow &applyToRow)
{
    workers::walkRows(workers::forWalks(), rect.y(), rect.y() + rect.height(), [&](int y) {
        if (cancel)
            return false;
        applyToRow(y);
        if (progress)
            progress();
        return true;
    });
}

OPRGBA32i *pixelsAt(OPRGBA32i *data, int stride, int x, int y) { return data + qptrdiff(y) * stride + x; }

} // namespace

/// The plain walk. Like the library's it leaves the last row of @p rect as it is.
KXCORE_KERNEL void VectorProcess(OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *transformation)
{
    const auto *const runs = dynamic_cast<const color::RunTransformation *>(transformation);
    workers::walkRows(workers::forWalks(), rect.y(), rect.y() + rect.height() - 1, [&](int y) {
        OPRGBA32i *const row = pixelsAt(data, stride, rect.x(), y);
        if (runs)
            runs->Run(row, rect.width());
        else
            blocks::apply(*transformation, row, rect.width());
        return true;
    });
}

/// The walk with cancel and progress, over all rows.
KXCORE_KERNEL void IterativeVectorProcess(OPRGBA32i *data, int stride, const QRect &rect,
    BaseTransformation *transformation, const std::atomic<bool> &cancel,
    std::function<void()> progress) // NOLINT: as declared
{
    walkIteratively(rect, cancel, progress,
        [&](int y) { blocks::apply(*transformation, pixelsAt(data, stride, rect.x(), y), rect.width()); });
}

/// The same for a transformation that is given each pixel's position.
KXCORE_KERNEL void PixelTransformIterativeVectorProcess(OPRGBA32i *data, int stride, const QRect &rect,
    BaseTransformation *transformation, const std::atomic<bool> &cancel,
    std::function<void()> progress) // NOLINT: as declared
{
    walkIteratively(rect, cancel, progress, [&](int y) {
        blocks::applyAt(*transformation, rect.x(), y, pixelsAt(data, stride, rect.x(), y), rect.width());
    });
}
