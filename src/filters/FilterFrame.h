#pragma once

#include "KXIterativeConvolution.h"
#include "OPAdjustmentProcessing.h"

#include "support/ThreadSanitizer.h"
#include "support/Workers.h"

#include <QtCore/QReadWriteLock>

#include <functional>
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

/// Where the bounds of the selection lie on the layer, and around it. They are cut off 2^30 pixels away from its corner.
QRect selectedRect(const KXFilterData &data);

/// What the passes of a filter work on: the layer itself, or a copy of a part of it.
struct Work {
    /// All of the layer, in place. It is taken out of @p data, so that its tiles have one owner fewer.
    static Work Whole(KXFilterData &data);
    /// A copy of what passes with such a reach read around the selection, or of all of the layer where there is none.
    /// Its edges are where they do not see that the rest is missing: beyond all that they read, or on the edges of the
    /// layer.
    static Work Copy(const KXFilterData &data, const Reach &reach);

    /// The part of a rectangle of the layer that the image holds, where it lies in the image.
    QRect PartOf(const QRect &inLayer) const { return inLayer.translated(-origin) & image.Rect(); }

    RGBA32iImage image;
    QRect rect; ///< what they are to filter of the image
    QPoint origin; ///< where in the layer the image's top left pixel lies
};

/// @p length pixels of @p image from (@p x, @p y) on: where they lie in a flat image, otherwise in @p buffer, null
/// tiles as empty.
const OPRGBA32i *rowOf(const RGBA32iImage &image, int x, int y, int length, std::vector<OPRGBA32i> &buffer);

/// The rows 0 to @p count - 1 of a pass on the workers that line passes have. Each makes its function by @p makeRow and
/// calls it as row(number). The cancel flag is read before each row, which is reported to @p progress after it.
template <class MakeRow>
void forEachRow(int count, const std::atomic<bool> &cancel, const Progress &progress, MakeRow makeRow)
{
    workers::forEachItem(workers::forLines(workers::hardware()), 0, count, [&] {
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

/// A lock of the caller's, held for reading (QReadLocker) or for writing (QWriteLocker) while the object lives.
template <class Locker>
class Locked {
public:
    explicit Locked(QReadWriteLock &lock)
        : m_lock(lock)
        , m_locker(&lock)
    {
        support::takeOver(&m_lock);
    }
    ~Locked() { support::handOver(&m_lock); }
    Q_DISABLE_COPY(Locked)

private:
    QReadWriteLock &m_lock;
    Locker m_locker;
};

using LockedForReading = Locked<QReadLocker>;
using LockedForWriting = Locked<QWriteLocker>;

/// A picture that the caller keeps between runs, behind a lock of his.
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
        const LockedForReading reading(m_lock);
        return fits(m_picture) ? std::optional<RGBA32iImage>(m_picture) : std::nullopt;
    }

    /// Keeps @p picture, unless the run was cancelled, under the lock for writing; @p note then notes what belongs to
    /// it.
    template <class Note>
    void Store(const FilterRun &run, const RGBA32iImage &picture, Note note) const
    {
        const LockedForWriting writing(m_lock);
        if (run.IsCancelled())
            return;
        m_picture = picture;
        note();
    }

private:
    QReadWriteLock &m_lock;
    RGBA32iImage &m_picture;
};

/// The last pass of a filter with a selection: moves each pixel of the layer to its filtered value by the selection's
/// alpha.
class SelectionMerge {
public:
    /// Both are borrowed. @p work must hold what of the layer is selected.
    SelectionMerge(KXFilterData &data, const Work &work);

    int LineCount() const { return m_size.isEmpty() ? 0 : m_size.height(); }
    void Run(const std::atomic<bool> &cancel, const Progress &progress);

private:
    RGBA32iImage &m_layer;
    const RGBA32iImage &m_work;
    const RGBA32iImage &m_selection;
    QPoint m_layerStart, m_workStart, m_selectionStart;
    QSize m_size;
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
    Work work = Work::Copy(data, reach);
    auto passes = makePasses(work.image, work.rect);
    SelectionMerge merge(data, work);
    run.Do(passes, merge);
    return data.image;
}

/// A convolution both ways in which colour counts by its alpha.
KXIterativeConvolutionFast2D<RGBA32iImage> premultipliedConvolution(
    const std::vector<short> &taps, RGBA32iImage &image, const QRect &rect);

/// Runs a filter that is such a convolution; the taps reach @p reach pixels to either side.
RGBA32iImage runConvolution(const FilterRun &run, KXFilterData &data, int reach, const std::vector<short> &taps);

/// Grows the layer of @p data by @p reach on each side, as far as @p canvas allows, and returns where it then lies.
QPoint growLayer(KXFilterData &data, const KXFilterCanvas &canvas, int reach);

} // namespace filters
