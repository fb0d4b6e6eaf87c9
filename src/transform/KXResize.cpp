#include "KXResizeImage.h"

#include "pixels/Tiles.h"
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

void readRow(const RGBA32iImage &image, int y, OPRGBA32i *pixels)
{
    image.ReadRow(unsigned(y), 0, pixels, unsigned(image.Width()) * 4u);
}

/// What a resizing works on: both images, and the tables of the pass along rows and of that along columns.
///
/// The destination is made in parts. Of the picture between, which is as wide as the destination and as high as the
/// source, there are only the rows that one row of a part is made of.
struct Job {
    Job(const RGBA32iImage &from, RGBA32iImage &to, const ResizeFilter &filter, int workerCount)
        : source(from)
        , destination(to)
        , across(from.Width(), to.Width(), filter)
        , down(from.Height(), to.Height(), filter)
    {
        const auto hasLess = [](const ResizeTaps &a, const ResizeTaps &b) { return a.count < b.count; };
        const int most = std::max_element(down.taps.begin(), down.taps.end(), hasLess)->count;
        while (heldRows < most)
            heldRows *= 2;
        // They stay in the cache of a processor. What two parts make both is at most an eighth of what they make.
        partColumns = int(std::min(std::max(65536 / heldRows, qint64(512)), qint64(to.Width())));
        partRows = int(std::clamp(8 * heldRows * to.Height() / from.Height(), qint64(1), qint64(to.Height())));
        partsAcross = dividedUp(to.Width(), partColumns);
        partsDown = dividedUp(to.Height(), partRows);
        if (partsAcross * partsDown < 4 * workerCount) { // then workers that have equal shares are worth more
            partRows = dividedUp(to.Height(), dividedUp(partsDown, workerCount) * workerCount);
            partsDown = dividedUp(to.Height(), partRows);
        }
    }

    static int dividedUp(int length, int divisor) { return (length - 1) / divisor + 1; }

    const RGBA32iImage &source;
    RGBA32iImage &destination;
    const ResizeTable across, down;
    qint64 heldRows = 1; ///< a power of two
    int partColumns, partRows, partsAcross, partsDown;
};

/// Makes parts of the destination.
class Worker {
public:
    explicit Worker(const Job &job)
        : m_job(job)
        , m_between(size_t(job.heldRows) * size_t(job.partColumns))
        , m_held(size_t(job.heldRows))
        , m_under(size_t(job.heldRows))
        , m_line(job.source.IsTiled() ? size_t(job.source.Width()) : 0)
    {
    }

    void Make(int part)
    {
        const int x = part % m_job.partsAcross * m_job.partColumns, y = part / m_job.partsAcross * m_job.partRows;
        const int columns = std::min(m_job.partColumns, m_job.destination.Width() - x);
        const int endY = y + std::min(m_job.partRows, m_job.destination.Height() - y);
        std::fill(m_held.begin(), m_held.end(), -1);
        for (int row = y; row < endY; ++row)
            MakeRow(x, row, columns);
    }

private:
    void MakeRow(int x, int y, int columns)
    {
        const ResizeTaps &taps = m_job.down.taps[size_t(y)];
        for (int k = 0; k < taps.count; ++k)
            m_under[size_t(k)] = Between(x, taps.firstSample + k, columns);
        OPRGBA32i *const to = pixels::flatPixel(m_job.destination, x, y);
        const short *const coefficients = m_job.down.coefficients.data() + taps.firstCoefficient;
        const auto kernel = columnsKernel.Bound();
        (kernel ? kernel : transform::resizeColumns)(m_under.data(), to, columns, coefficients, taps.count);
    }

    /// The row @p y of the picture between, from column @p x on.
    const OPRGBA32i *Between(int x, int y, int columns)
    {
        const size_t place = size_t(y) & (m_held.size() - 1);
        OPRGBA32i *const to = m_between.data() + place * size_t(m_job.partColumns);
        if (m_held[place] == y)
            return to;
        const auto kernel = rowKernel.Bound();
        (kernel ? kernel : transform::resizeRow)(Source(y), to, columns, m_job.across.paddedLength - x,
            m_job.across.taps.data() + x, m_job.across.coefficients.data());
        m_held[place] = y;
        return to;
    }

    const OPRGBA32i *Source(int y)
    {
        const RGBA32iImage &source = m_job.source;
        if (!source.IsTiled())
            return pixels::flatPixel(source, 0, y);
        std::fill(m_line.begin(), m_line.end(), OPRGBA32i()); // what a null tile reads as
        readRow(source, y, m_line.data());
        return m_line.data();
    }

    const Job &m_job;
    std::vector<OPRGBA32i> m_between;
    std::vector<int> m_held; ///< which rows these are
    std::vector<const OPRGBA32i *> m_under; ///< the rows under the taps
    std::vector<OPRGBA32i> m_line;
};

bool resize(const RGBA32iImage &source, RGBA32iImage &destination, const ResizeFilter &filter)
{
    if (source.Rect().isEmpty() || destination.Rect().isEmpty())
        return false;
    if (destination.IsTiled()) // which has no columns to write
        return true;
    // What one worker writes another may be reading. A flat window may lie anywhere, in the destination too.
    if (source.Bits() == destination.Bits() || source.HasFlatWindow()) {
        RGBA32iImage own(source.Width(), source.Height(), false);
        for (int y = 0; y < own.Height(); ++y)
            readRow(source, y, pixels::flatPixel(own, 0, y));
        return resize(own, destination, filter);
    }
    rowKernel.Bind();
    columnsKernel.Bind();
    const int workerCount = workers::forConvolution(workers::ideal());
    const Job job(source, destination, filter, workerCount);
    workers::forEachItem(workerCount, 0, job.partsAcross * job.partsDown, [&job] {
        return [worker = Worker(job)](int part) mutable {
            worker.Make(part);
            return true;
        };
    });
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
