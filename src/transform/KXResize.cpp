#include "KXResizeImage.h"

#include "support/Kernels.h"
#include "support/Log.h"
#include "support/Workers.h"

#include "ResizeTables.h"

#include <algorithm>
#include <vector>

namespace {

using transform::ResizeFilter, transform::ResizeTable, transform::ResizeTaps;

kernels::Slot rowKernel { KX_SYMBOL(ResizeRowAVX2) };
kernels::Slot columnsKernel { KX_SYMBOL(ResizeColumnsAVX2) };

/// A worker makes this many rows of a column pass at a time. Neighbouring rows are made of almost the same ones.
constexpr int bandRows = 16;
/// And this many columns of them, so that the rows that they are made of stay in a cache.
constexpr int stripColumns = 512;

int workerCount() { return workers::forConvolution(workers::ideal()); }

/// The pass along rows, into an image of the same height.
void resizeRows(const RGBA32iImage &source, RGBA32iImage &destination, const ResizeTable &table)
{
    const auto resize = [&](const OPRGBA32i *from, OPRGBA32i *to) {
        if (const auto kernel = rowKernel.Bound())
            kernel(from, source.Width(), to, destination.Width(), table.taps.data(), table.coefficients.data());
        else
            transform::resizeRow(from, to, destination.Width(), table.taps.data(), table.coefficients.data());
    };
    const auto row = [](auto &image, int y) { return image.Bits() + qptrdiff(y) * image.Width(); };
    workers::forEachItem(workerCount(), 0, source.Height(), [&] {
        return [&, line = std::vector<OPRGBA32i>(source.IsTiled() ? size_t(source.Width()) : 0)](int y) mutable {
            if (source.IsTiled()) {
                std::fill(line.begin(), line.end(), OPRGBA32i()); // what a null tile reads as
                source.ReadRow(unsigned(y), 0, line.data(), unsigned(source.Width()) * 4u);
            }
            resize(source.IsTiled() ? line.data() : row(source, y), row(destination, y));
            return true;
        };
    });
}

/// The pass along columns, between two flat images of the same width: row by row, as all columns have the same taps.
void resizeColumns(const RGBA32iImage &source, RGBA32iImage &destination, const ResizeTable &table)
{
    const int width = source.Width(), height = destination.Height();
    const auto resize = [&](int x, int columns, int y) {
        const ResizeTaps &taps = table.taps[size_t(y)];
        const OPRGBA32i *const from = source.Bits() + qptrdiff(taps.firstSample) * width + x;
        OPRGBA32i *const to = destination.Bits() + qptrdiff(y) * width + x;
        const short *const coefficients = table.coefficients.data() + taps.firstCoefficient;
        if (const auto kernel = columnsKernel.Bound())
            kernel(from, width, to, columns, coefficients, taps.count);
        else
            transform::resizeColumns(from, width, to, columns, coefficients, taps.count);
    };
    workers::forEachItem(workerCount(), 0, (height - 1) / bandRows + 1, [&] {
        return [&](int band) {
            const int first = band * bandRows, rows = std::min(bandRows, height - first);
            for (int x = 0; x < width; x += stripColumns)
                for (int y = first; y < first + rows; ++y)
                    resize(x, std::min(stripColumns, width - x), y);
            return true;
        };
    });
}

bool resize(const RGBA32iImage &source, RGBA32iImage &destination, const ResizeFilter &filter)
{
    RGBA32iImage between(destination.Width(), source.Height(), false);
    if (source.Rect().isEmpty() || destination.Width() == 0)
        return false;
    rowKernel.Bind();
    columnsKernel.Bind();
    resizeRows(source, between, ResizeTable(source.Width(), between.Width(), filter));
    if (destination.Height() == 0)
        return false;
    if (!destination.IsTiled()) // which has no columns to write
        resizeColumns(between, destination, ResizeTable(between.Height(), destination.Height(), filter));
    return true;
}

} // namespace

bool KXResizeImage(const RGBA32iImage &source, RGBA32iImage &destination, KXResizeType type)
{
    Q_ASSERT_X(source.Width() < 1 << 30, "KXResizeImage", "the bytes of a row fit 32 bits");
    static constexpr ResizeFilter filters[] = { { transform::boxWeight, 0.5f }, { transform::lanczos3Weight, 3.0f } };
    if (type != KXResizeBox && type != KXResizeLanczos3)
        return false;
    bool isDone = false;
    return support::guarded(
               { "src/transform/KXResize", __LINE__ }, [&] { isDone = resize(source, destination, filters[type]); },
               support::OnException::Swallow)
        && isDone;
}
