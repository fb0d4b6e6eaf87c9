#pragma once

#include "BaseTransformation.h"
#include "KXIterativeConvolution.h"
#include "OPAdjustmentProcessing.h"

#include "support/Prefetch.h"
#include "support/Workers.h"

#include <QtCore/QReadWriteLock>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

/// What filters share: how passes report and are cancelled, what a selection lets them work on and how that is merged
/// back, what a caller keeps for them between runs, and the growing of their canvas.
///
/// A pass, or several that go together, is any object with int LineCount(), the number of progress calls that it will
/// make, and Run(cancel, progress).
namespace filters {

using Progress = std::function<void()>;

/// One run of a filter: what its passes need of it.
class FilterRun {
public:
    FilterRun(OPAdjustmentProcessing &filter, const std::atomic<bool> &cancel)
        : m_filter(filter)
        , m_cancel(cancel)
    {
    }

    /// Announces as many steps as @p passes have lines, then runs them in turn.
    template <class... Passes>
    void Do(Passes &&...passes) const
    {
        Announce((passes.LineCount() + ...));
        Run(passes...);
    }

    /// The two halves of it, for what does not know all of its steps from its passes.
    void Announce(int steps) const { m_filter.SetRange(unsigned(steps)); }
    template <class... Passes>
    void Run(Passes &&...passes) const
    {
        const Progress progress = [this] { m_filter.IncrementProgress(); };
        (passes.Run(m_cancel, progress), ...);
    }

    /// Sets the progress where steps are not counted.
    void SetProgress(int step) const { m_filter.SetProgress(unsigned(step)); }

    bool IsCancelled() const { return m_cancel; }

private:
    OPAdjustmentProcessing &m_filter;
    const std::atomic<bool> &m_cancel;
};

/// Passes that go together, one after the other.
template <class... Pass>
class InTurn {
public:
    explicit InTurn(Pass... passes)
        : m_passes(std::move(passes)...)
    {
    }

    int LineCount() const
    {
        return std::apply([](const auto &...pass) { return (pass.LineCount() + ...); }, m_passes);
    }

    void Run(const std::atomic<bool> &cancel, const Progress &progress)
    {
        std::apply([&](auto &...pass) { (pass.Run(cancel, progress), ...); }, m_passes);
    }

private:
    std::tuple<Pass...> m_passes;
};

/// How far passes reach around what is selected.
struct Reach {
    int written; ///< how far they are to filter; below 0 they leave out an edge of the selection
    int read; ///< how far around that they read, and one pixel more for a window that slides
};

/// Where the bounds of the selection lie on the layer, and around it. They are cut off 2^30 - 1 pixels away from the
/// layer's corner, where no layer reaches.
QRect selectedRect(const KXFilterData &data);

/// Pixels that a pass lays over others, a row at a time.
struct Picture {
    Picture() = default;
    /// An image, which is borrowed.
    explicit Picture(const RGBA32iImage &image);

    /// @p length pixels from (x, y) on: where they lie, if they are in place, otherwise in @p buffer.
    std::function<const OPRGBA32i *(int x, int y, int length, std::vector<OPRGBA32i> &buffer)> row;
    bool isInPlace = false;
};

/// Where the passes of a filter work, in the layer.
struct WorkArea {
    /// What passes with such a reach work on around the selection, or all of the layer where there is none. Beyond the
    /// edges of what is read passes do not see that anything is missing, or there the layer ends.
    WorkArea(const KXFilterData &data, const Reach &reach);

    QRect read, written; ///< what they are to filter is within what they read
};

/// What the passes of a filter work on: the layer itself, or a copy of a part of it.
struct Work {
    /// All of the layer, in place. It is taken out of @p data, so that its tiles have one owner fewer.
    static Work Whole(KXFilterData &data);
    /// A copy of what they read.
    static Work Copy(const KXFilterData &data, const WorkArea &area);

    /// The part of a rectangle of the layer that the image holds, where it lies in the image.
    QRect PartOf(const QRect &inLayer) const { return inLayer.translated(-origin) & image.Rect(); }

    /// What the image holds of the layer, by its places there. The image is borrowed.
    Picture InLayer() const;

    RGBA32iImage image;
    QRect rect; ///< what they are to filter of the image
    QPoint origin; ///< where in the layer the image's top left pixel lies
};

/// @p length pixels of @p image from (@p x, @p y) on: where they lie in a flat image, otherwise in @p buffer, null
/// tiles as empty.
const OPRGBA32i *rowOf(const RGBA32iImage &image, int x, int y, int length, std::vector<OPRGBA32i> &buffer);

/// The rows 0 to @p count - 1 of a pass on so many @p workers, see @c workers::forEachItem. Each makes its function by
/// @p makeRow and calls it as row(number). The cancel flag is read before each row, which is reported to @p progress
/// after it.
template <class MakeRow>
void forEachRow(int workers, int count, const std::atomic<bool> &cancel, const Progress &progress, MakeRow makeRow)
{
    workers::forEachItem(workers, 0, count, [&] {
        return [&, row = makeRow()](int number) mutable {
            if (cancel)
                return false;
            row(number);
            if (progress)
                progress();
            return true;
        };
    });
}

/// The same on the workers that line passes have.
template <class MakeRow>
void forEachRow(int count, const std::atomic<bool> &cancel, const Progress &progress, MakeRow makeRow)
{
    forEachRow(workers::forLines(workers::hardware()), count, cancel, progress, makeRow);
}

/// The walk of an adjustment over a rectangle of an image, which is borrowed.
class AdjustmentWalk {
public:
    /// One of the walks of OPImageWalk that can be cancelled, or one like them.
    using Walk = void(const std::shared_ptr<BaseTransformation> &, RGBA32iImage &, const QRect &,
        const std::atomic<bool> &, const Progress &);

    AdjustmentWalk(Walk &walk, std::shared_ptr<BaseTransformation> adjustment, RGBA32iImage &image, const QRect &rect)
        : m_walk(walk)
        , m_adjustment(std::move(adjustment))
        , m_image(image)
        , m_rect(rect)
    {
    }

    int LineCount() const { return m_rect.isEmpty() ? 0 : m_rect.height(); }
    void Run(const std::atomic<bool> &cancel, const Progress &progress);

private:
    Walk &m_walk;
    const std::shared_ptr<BaseTransformation> m_adjustment;
    RGBA32iImage &m_image;
    const QRect m_rect;
};

/// A lock of the caller's, held for reading or for writing while the object lives.
///
/// It is tried for some microseconds before it is waited for: rows of a pass hold it for less, and a thread that sleeps
/// takes longer to wake than to have its row.
class CallersLock {
public:
    enum Purpose { Reading, Writing };

    CallersLock(QReadWriteLock &lock, Purpose purpose);
    ~CallersLock();
    Q_DISABLE_COPY(CallersLock)

private:
    QReadWriteLock &m_lock;
};

/// Rows of an image, or a picture, that begin at @c start and go to the right.
template <class Image>
struct RowsOf {
    Image &image;
    QPoint start;
};

/// Changes rows of @p target by those of @p source, all of one length, behind a lock of the caller's. Each worker makes
/// its function by @p makeChange and calls it as change(line, target row, source row).
///
/// A worker that is alone changes the rows of a flat image where they are, under the lock for writing. Several would
/// then wait for one another: they copy rows under the lock for reading, change the copies, and write these under the
/// lock for writing.
template <class MakeChange>
void changeRows(const RowsOf<RGBA32iImage> &target, const RowsOf<const Picture> &source, const QSize &size,
    QReadWriteLock &lock, const std::atomic<bool> &cancel, const Progress &progress, MakeChange makeChange)
{
    using Line = std::vector<OPRGBA32i>;
    const bool inPlace = !target.image.IsTiled() && workers::forLines(workers::hardware()) == workers::onCaller;
    const int x = target.start.x(), length = size.width();
    forEachRow(size.height(), cancel, progress, [&] {
        return [&, change = makeChange(), row = Line(), sourceRow = Line(), buffer = Line()](int line) mutable {
            const int y = target.start.y() + line;
            const auto from = [&] {
                return source.image.row(source.start.x(), source.start.y() + line, length, buffer);
            };
            if (inPlace) {
                const CallersLock writing(lock, CallersLock::Writing);
                change(line, target.image.Bits() + size_t(y) * size_t(target.image.Width()) + x, from());
                return;
            }
            // What is in the cache before the lock is taken keeps the other workers waiting for less.
            if (!target.image.IsTiled())
                memory::prefetch(rowOf(target.image, x, y, length, buffer), length);
            if (source.image.isInPlace)
                memory::prefetch(from(), length);
            {
                const CallersLock reading(lock, CallersLock::Reading);
                const OPRGBA32i *const old = from();
                sourceRow.assign(old, old + length);
                const OPRGBA32i *const below = rowOf(target.image, x, y, length, buffer);
                row.assign(below, below + length);
            }
            change(line, row.data(), sourceRow.data());
            const CallersLock writing(lock, CallersLock::Writing);
            target.image.WriteRow(unsigned(y), unsigned(x), row.data(), unsigned(length) * 4u);
        };
    });
}

/// A picture that the caller keeps between runs, behind a lock of his.
///
/// It is found under the lock for reading, and stored in one of two ways: under the lock for writing, or, by @c
/// StoreAmongReaders, under the lock for reading. Then others may look at the same time; these are runs of the library,
/// as whoever else looks at such a cache takes the lock for writing. So runs exclude one another by a mutex of the
/// library's: whoever holds it is the only one that copies or sets the picture. It is held for the copy of the value
/// alone, while the lock is held, and nothing is waited for meanwhile.
class Cache {
public:
    Cache(QReadWriteLock &lock, RGBA32iImage &picture)
        : m_lock(lock)
        , m_picture(picture)
    {
    }

    /// The picture, if fits(picture) says so, which is asked under the lock for reading.
    template <class Fits>
    std::optional<RGBA32iImage> Find(Fits fits) const
    {
        const CallersLock reading(m_lock, CallersLock::Reading);
        const std::lock_guard<std::mutex> amongReaders(readers);
        return fits(m_picture) ? std::optional<RGBA32iImage>(m_picture) : std::nullopt;
    }

    /// Keeps @p picture, unless the run was cancelled, under the lock for writing; @p note then notes what belongs to
    /// it.
    template <class Note>
    void Store(const FilterRun &run, const RGBA32iImage &picture, Note note) const
    {
        const CallersLock writing(m_lock, CallersLock::Writing);
        if (run.IsCancelled())
            return;
        m_picture = picture;
        note();
    }

    /// Keeps @p picture, unless the run was cancelled, under the lock for reading.
    void StoreAmongReaders(const FilterRun &run, RGBA32iImage picture) const
    {
        const CallersLock reading(m_lock, CallersLock::Reading);
        const std::lock_guard<std::mutex> amongReaders(readers);
        if (!run.IsCancelled())
            std::swap(m_picture, picture); // the old one is let go of after the locks
    }

private:
    static inline std::mutex readers;

    QReadWriteLock &m_lock;
    RGBA32iImage &m_picture;
};

/// Where a picture that was made of a layer is laid on it, through the selection where there is one. Each of the three
/// has its own corner, and all of them the size that they have in common.
struct Overlap {
    /// @p picture: which part of the picture belongs to the part of the layer that is selected, or to all of the layer.
    Overlap(const KXFilterData &data, const QRect &picture);

    int LineCount() const { return size.isEmpty() ? 0 : size.height(); }

    QPoint layer, picture, selection;
    QSize size;
    bool isSelected;
};

/// The last pass of a filter with a selection: moves each pixel of the layer to its filtered value by the selection's
/// alpha.
class SelectionMerge {
public:
    /// Both are borrowed. @p work must hold what of the layer is selected.
    SelectionMerge(KXFilterData &data, const Work &work);

    int LineCount() const { return m_overlap.LineCount(); }
    void Run(const std::atomic<bool> &cancel, const Progress &progress);

private:
    KXFilterData &m_data;
    const RGBA32iImage &m_work;
    const Overlap m_overlap;
};

/// The last pass of a filter that lays a picture over the layer with an opacity, as @c OPBlend::OPSourceOver does, and
/// within the selection where there is one.
class OpacityBlend {
public:
    enum Alpha { Kept, Blended };

    /// The layer is borrowed, and so is a lock under which rows are read (for reading) and written
    /// (for writing). Of the picture @p part belongs to what is selected, or to all of the layer.
    OpacityBlend(
        KXFilterData &data, Picture picture, const QRect &part, int amountPercent, Alpha alpha, QReadWriteLock &lock);

    int LineCount() const { return m_overlap.LineCount(); }
    void Run(const std::atomic<bool> &cancel, const Progress &progress);

private:
    KXFilterData &m_data;
    const Picture m_picture;
    const Overlap m_overlap;
    const quint32 m_opacity256;
    const Alpha m_alpha;
    QReadWriteLock &m_lock;
};

/// Runs a filter made of passes, in place where there is no selection, otherwise on a copy that is merged back, and
/// returns the layer. @p makePasses(image, rect) returns the passes over that rectangle of the image, which they
/// borrow.
template <class MakePasses>
RGBA32iImage runPasses(const FilterRun &run, KXFilterData &data, const Reach &reach, MakePasses makePasses)
{
    if (data.selectionRect.isEmpty()) {
        Work work = Work::Whole(data);
        auto passes = makePasses(work.image, work.rect);
        run.Do(passes);
        return std::move(work.image);
    }
    Work work = Work::Copy(data, WorkArea(data, reach));
    auto passes = makePasses(work.image, work.rect);
    SelectionMerge merge(data, work);
    run.Do(passes, merge);
    return data.image;
}

/// A convolution both ways in which colour counts by its alpha; of an empty rectangle it is none.
KXIterativeConvolutionFast2D<RGBA32iImage> premultipliedConvolution(
    const std::vector<short> &taps, RGBA32iImage &image, const QRect &rect);

/// Runs a filter that is such a convolution; the taps reach @p reach pixels to either side.
RGBA32iImage runConvolution(const FilterRun &run, KXFilterData &data, int reach, const std::vector<short> &taps);

/// A transparent flat image. Negative sides are 0; throws std::bad_alloc where there is no such image.
RGBA32iImage newCanvas(qint64 width, qint64 height);

/// Grows the layer of @p data by @p reach on each side, as far as @p canvas allows, and returns where it then lies.
QPoint growLayer(KXFilterData &data, const KXFilterCanvas &canvas, int reach);

} // namespace filters
