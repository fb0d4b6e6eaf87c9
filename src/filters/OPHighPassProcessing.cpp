#include "OPHighPassProcessing.h"

#include "KXBlur.h"
#include "KXComposer.h"

#include "support/Arithmetic.h"

#include "Area.h"
#include "FilterFrame.h"
#include "ParamsStream.h"

#include <algorithm>
#include <cstring>

namespace {

using Params = OPHighPassProcessing::Params;

constexpr filters::ParamsStream stream("KXHighPass 1.00000", "high pass",
    { "src\\filters\\OPHighPassProcessing", 268, 254 }, &Params::radius, &Params::blendIndex, &Params::amount);

/// Turns a blurred picture into what the blur took away: each colour becomes layer - blurred + 128, clamped. Alpha
/// stays that of the blur.
class Details {
public:
    /// The rows of @p rect of the work, which was blurred; all is borrowed.
    Details(const RGBA32iImage &layer, filters::Work &work, const QRect &rect, QReadWriteLock &lock)
        : m_layer(layer)
        , m_work(work)
        , m_rect(rect)
        , m_lock(lock)
    {
    }

    int LineCount() const { return m_rect.isEmpty() ? 0 : m_rect.height(); }

    void Run(const std::atomic<bool> &cancel, const filters::Progress &progress) const
    {
        if (m_rect.isEmpty())
            return;
        const auto subtract = [length = m_rect.width()](int, OPRGBA32i *details, const OPRGBA32i *layer) {
            for (int i = 0; i < length; i += chunk)
                Subtract(details + i, layer + i, std::min(chunk, length - i));
        };
        const filters::Picture layer(m_layer);
        filters::changeRows({ m_work.image, m_rect.topLeft() }, { layer, m_rect.topLeft() + m_work.origin },
            m_rect.size(), m_lock, cancel, progress, [&] { return subtract; });
    }

private:
    static constexpr int chunk = 256;

    static void Subtract(OPRGBA32i *details, const OPRGBA32i *layer, int count)
    {
        unsigned char differences[chunk * 4];
        const auto *const l = reinterpret_cast<const unsigned char *>(layer);
        const auto *const d = reinterpret_cast<const unsigned char *>(details);
        for (int i = 0; i < count * 4; ++i) // alpha too: all bytes alike are what vectors do best
            differences[i] = static_cast<unsigned char>(arithmetic::clamp8(l[i] - d[i] + 128));
        quint32 colours[chunk], words[chunk]; // copies: compilers make vectors of numbers, but not of pixels
        std::memcpy(colours, differences, size_t(count) * sizeof *colours);
        std::memcpy(words, details, size_t(count) * sizeof *words);
        for (int i = 0; i < count; ++i)
            words[i] = (words[i] & 0xFF000000u) | (colours[i] & 0x00FFFFFFu);
        std::memcpy(static_cast<void *>(details), words, size_t(count) * sizeof *words);
    }

    const RGBA32iImage &m_layer;
    filters::Work &m_work;
    const QRect m_rect;
    QReadWriteLock &m_lock;
};

/// What is kept where there is a selection: the details in @p work, through the selection and as large as that.
RGBA32iImage throughSelection(const filters::Work &work, const QRect &selected, const KXFilterData &data)
{
    const filters::Area<filters::InSelection> bounds(data.selectionRect);
    RGBA32iImage picture = filters::newCanvas(bounds.Columns().Length(), bounds.Rows().Length());
    ComposeMaskOn(work.image, selected.translated(-work.origin), KXCompositionMode::Source, picture, picture.Rect(),
        1.0, data.selection, data.selectionRect, false, false);
    return picture;
}

/// Composes @p picture onto the layer, or onto what is selected of it.
void layOver(KXFilterData &data, const RGBA32iImage &picture, KXCompositionMode mode, double opacity)
{
    if (data.selectionRect.isEmpty())
        Compose(picture, picture.Rect(), mode, data.image, data.image.Rect(), opacity, false);
    else
        ComposeMaskOn(picture, picture.Rect(), mode, data.image, filters::selectedRect(data), opacity, data.selection,
            data.selectionRect, false, false);
}

} // namespace

KX_FILTER_STREAM(OPHighPassProcessing, stream)

OPHighPassProcessing::OPHighPassProcessing(
    const std::atomic<bool> &cancel, QReadWriteLock &lock, double &cachedRadius, RGBA32iImage &cachedPicture)
    : m_cancel(cancel)
    , m_lock(lock)
    , m_cachedRadius(cachedRadius)
    , m_cachedPicture(cachedPicture)
{
}

OPHighPassProcessing::~OPHighPassProcessing() = default;

KXCompositionMode OPHighPassProcessing::IndexHPToCompositionMode(int index) const
{
    switch (index) {
    case 1:
        return KXCompositionMode::Overlay;
    case 2:
        return KXCompositionMode::SoftLight;
    case 3:
        return KXCompositionMode::HardLight;
    default:
        return KXCompositionMode::SourceOver;
    }
}

RGBA32iImage OPHighPassProcessing::run(HighPassData data)
{
    const filters::FilterRun run(*this, m_cancel);
    const filters::Cache cache(m_lock, m_cachedPicture);
    const double radius = data.params.radius;

    int steps = 2;
    std::optional<RGBA32iImage> picture = cache.Find([&](const RGBA32iImage &) { return m_cachedRadius == radius; });
    if (picture) {
        run.Announce(steps);
        run.SetProgress(1);
    } else {
        const bool isSelected = !data.selectionRect.isEmpty();
        const QRect selected = filters::selectedRect(data);
        const int reach = arithmetic::truncate(radius);
        filters::Work work = filters::Work::Copy(data, filters::WorkArea(data, { reach, 0 }));
        auto blur = filters::premultipliedConvolution(KXBlur::CreateGaussianKernel(radius), work.image, work.rect);
        Details details(data.image, work, isSelected ? work.PartOf(selected) : work.rect, m_lock);
        const int lines = blur.LineCount() + details.LineCount();
        steps = lines + std::max(lines / 100, 1); // the last ones stand for the composition
        run.Announce(steps);
        run.Run(blur, details);
        if (run.IsCancelled())
            return data.image;
        picture = isSelected ? throughSelection(work, selected, data) : std::move(work.image);
        if (!data.image.Rect().isEmpty())
            cache.Store(run, *picture, [&] { m_cachedRadius = radius; });
    }
    if (run.IsCancelled())
        return data.image;
    {
        const filters::CallersLock reading(m_lock, filters::CallersLock::Reading);
        layOver(data, *picture, IndexHPToCompositionMode(data.params.blendIndex), data.params.amount * 0.01);
    }
    run.SetProgress(steps);
    return data.image;
}
