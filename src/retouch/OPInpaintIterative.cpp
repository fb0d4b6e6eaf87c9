#include "OPInpaintIterative.h"

#include "Neighbours.h"
#include "pixels/Tiles.h"
#include "support/Arithmetic.h"
#include "support/Log.h"

#include <algorithm>
#include <climits>
#include <utility>

using retouch::isKnown;

namespace {

struct Offset {
    int x, y;
};

/// Eight pixels beside the one to be repaired, in the order in which they are asked for.
struct Block {
    Offset pixels[8];
};

constexpr Block blocks[] = {
    { { { -1, -1 }, { 0, -1 }, { 1, -1 }, { -1, 0 }, { 1, 0 }, { -1, -2 }, { 0, -2 }, { 1, -2 } } },
    { { { -1, 1 }, { 0, 1 }, { 1, 1 }, { -1, 0 }, { 1, 0 }, { -1, 2 }, { 0, 2 }, { 1, 2 } } },
    { { { -1, -1 }, { -1, 0 }, { -1, 1 }, { 0, -1 }, { 0, 1 }, { -2, -1 }, { -2, 0 }, { -2, 1 } } },
    { { { 1, -1 }, { 1, 0 }, { 1, 1 }, { 0, -1 }, { 0, 1 }, { 2, -1 }, { 2, 0 }, { 2, 1 } } },
    { { { -2, 0 }, { -1, 0 }, { -2, -1 }, { -1, -1 }, { 0, -1 }, { -2, -2 }, { -1, -2 }, { 0, -2 } } },
    { { { 1, 0 }, { 2, 0 }, { 0, -1 }, { 1, -1 }, { 2, -1 }, { 0, -2 }, { 1, -2 }, { 2, -2 } } },
    { { { 1, 0 }, { 2, 0 }, { 0, 1 }, { 1, 1 }, { 2, 1 }, { 0, 2 }, { 1, 2 }, { 2, 2 } } },
    { { { -2, 0 }, { -1, 0 }, { -2, 1 }, { -1, 1 }, { 0, 1 }, { -2, 2 }, { -1, 2 }, { 0, 2 } } },
};
constexpr size_t blockCount = sizeof blocks / sizeof blocks[0];
constexpr int reach = 2; ///< of the blocks, to each side

/// Whose pixel is asked for: that of its block, but for one of the second block, two rows below, for which the one two
/// rows above stands in. This is intended.
constexpr Offset tested(size_t block, size_t i)
{
    return block == 1 && i == 6 ? Offset { 0, -2 } : blocks[block].pixels[i];
}

/// One sweep, from the calls of the two forms of places: one of them checks each pixel as GetColor and SetColor do.
class OPInpaintSweep {
public:
    OPInpaintSweep(RGBA32iImage &image, RGBA32iImage &mask, RGBA32iImage &frontier, const QRect &maskRect, int offsetX,
        int offsetY, const std::atomic<int> &stage)
        : m_image(image)
        , m_mask(mask)
        , m_frontier(frontier)
        , m_maskRect(maskRect)
        , m_offsetX(offsetX)
        , m_offsetY(offsetY)
        , m_stage(stage)
    {
    }

    /// Visits what is on the frontier in @p rect. Throws where a position does not exist.
    void Run(const QRect &rect)
    {
        const QRect area = ClippedTo(m_frontier.Rect(), rect);
        const Range xs = Unchecked(m_offsetX, m_maskRect.left(), m_maskRect.right(), m_image.Width(), m_mask.Width());
        const Range ys = Unchecked(m_offsetY, m_maskRect.top(), m_maskRect.bottom(), m_image.Height(), m_mask.Height());
        const bool isFlat = !m_image.IsTiled() && m_image.Bits() != nullptr;
        const int endX = area.x() + area.width();
        for (int y = area.y(); y < area.y() + area.height(); ++y) {
            const OPRGBA32i *const marks = pixels::flatPixel(m_frontier, 0, y);
            const bool isRowInside = isFlat && y >= ys.first && y <= ys.last;
            const InnerPlace rowStart = isRowInside ? InnerPlace(*this, y) : InnerPlace();
            for (int x = NextMarked(marks, area.x(), endX); x < endX; x = NextMarked(marks, x + 1, endX)) {
                if (isRowInside && x >= xs.first && x <= xs.last)
                    Visit(rowStart.At(x));
                else
                    Visit(AnyPlace(*this, x, y));
                m_minX = std::min(m_minX, x);
                m_maxX = std::max(m_maxX, x);
                m_minY = std::min(m_minY, y);
                m_maxY = std::max(m_maxY, y);
            }
        }
    }

    bool HasChanged() const { return m_changed; }
    /// The bounds of the pixels that were visited.
    QRect Visited() const
    {
        return m_minX <= m_maxX && m_minY <= m_maxY ? QRect(QPoint(m_minX, m_minY), QPoint(m_maxX, m_maxY)) : QRect();
    }

private:
    /// What a visit does to its pixel, to those beside it in the mask, and to those beside its place in the image. This
    /// one may lie anywhere.
    class AnyPlace {
    public:
        AnyPlace(OPInpaintSweep &sweep, int x, int y)
            : m_sweep(sweep)
            , m_x(x)
            , m_y(y)
            , m_imageX(arithmetic::wrappingAdd(x, sweep.m_offsetX))
            , m_imageY(arithmetic::wrappingAdd(y, sweep.m_offsetY))
        {
        }

        bool IsKnown() const { return isKnown(m_sweep.m_mask.GetColor(m_x, m_y)); }
        /// Whether the pixel beside it is one that a repair puts on the frontier.
        bool IsToBeVisited(int dx, int dy) const
        {
            const QRect &rect = m_sweep.m_maskRect;
            const int x = m_x + dx, y = m_y + dy;
            // The last column is left out: intended.
            return x >= rect.left() && x < rect.right() && y >= rect.top() && y <= rect.bottom()
                && !isKnown(m_sweep.m_mask.GetColor(x, y));
        }
        void SetKnown() const { m_sweep.m_mask.SetColor(m_x, m_y, OPRGBA32i()); }
        void Mark(int dx, int dy, OPRGBA32i mark) const { m_sweep.m_frontier.SetColor(m_x + dx, m_y + dy, mark); }

        bool IsKnownAtImage(Offset offset) const
        {
            const int x = ImageX(offset), y = ImageY(offset);
            return m_sweep.m_maskRect.contains(x, y) && isKnown(m_sweep.m_mask.GetColor(x, y));
        }
        OPRGBA32i Pixel(Offset offset) const { return m_sweep.m_image.GetColor(ImageX(offset), ImageY(offset)); }
        void Repair(OPRGBA32i pixel) const { m_sweep.m_image.SetColor(m_imageX, m_imageY, pixel); }

    private:
        int ImageX(Offset offset) const { return arithmetic::wrappingAdd(m_imageX, offset.x); }
        int ImageY(Offset offset) const { return arithmetic::wrappingAdd(m_imageY, offset.y); }

        OPInpaintSweep &m_sweep;
        int m_x, m_y, m_imageX, m_imageY;
    };

    /// The same for a place around which all that is asked for exists, so that there is nothing to check.
    class InnerPlace {
    public:
        InnerPlace() = default;
        /// The place of the first pixel in the row @p y of the mask, from which the others are reached.
        InnerPlace(OPInpaintSweep &sweep, int y)
            : m_maskStride(sweep.m_mask.Width())
            , m_imageStride(sweep.m_image.Width())
            , m_inMask(sweep.m_mask.Bits() + y * m_maskStride)
            , m_mark(sweep.m_frontier.Bits() + y * m_maskStride)
            , m_imageOffset(sweep.m_offsetX)
            , m_inMaskAtImage(sweep.m_mask.Bits() + (y + sweep.m_offsetY) * m_maskStride)
            , m_pixel(sweep.m_image.Bits() + (y + sweep.m_offsetY) * m_imageStride)
        {
        }
        InnerPlace At(int x) const
        {
            InnerPlace place = *this;
            place.m_inMask += x;
            place.m_mark += x;
            place.m_inMaskAtImage += x + m_imageOffset;
            place.m_pixel += x + m_imageOffset;
            return place;
        }

        bool IsKnown() const { return isKnown(*m_inMask); }
        bool IsToBeVisited(int dx, int dy) const { return !isKnown(m_inMask[dy * m_maskStride + dx]); }
        void SetKnown() const { *m_inMask = OPRGBA32i(); }
        void Mark(int dx, int dy, OPRGBA32i mark) const { m_mark[dy * m_maskStride + dx] = mark; }

        bool IsKnownAtImage(Offset offset) const
        {
            return isKnown(m_inMaskAtImage[offset.y * m_maskStride + offset.x]);
        }
        OPRGBA32i Pixel(Offset offset) const { return m_pixel[offset.y * m_imageStride + offset.x]; }
        void Repair(OPRGBA32i pixel) const { *m_pixel = pixel; }

    private:
        qptrdiff m_maskStride = 0, m_imageStride = 0;
        OPRGBA32i *m_inMask = nullptr, *m_mark = nullptr;
        qptrdiff m_imageOffset = 0;
        OPRGBA32i *m_inMaskAtImage = nullptr, *m_pixel = nullptr;
    };

    struct Range {
        qint64 first, last;
    };

    /// For which x, or y, of the mask everything exists that a visit may ask for: the place in the image, and in the
    /// mask within the rectangle, with what the blocks reach; and the neighbours within the rectangle, where they may
    /// be put on the frontier, so not in its last column.
    static Range Unchecked(int offset, int rectFirst, int rectLast, int imageSize, int maskSize)
    {
        const qint64 first = std::max(rectFirst, 0), last = std::min(rectLast, maskSize - 1);
        const qint64 lastPlace = std::min<qint64>(last, imageSize - 1);
        return { std::max(first + reach - offset, first + 1), std::min(lastPlace - reach - offset, last - 2) };
    }

    /// The first marked pixel from @p x on, or @p end.
    static int NextMarked(const OPRGBA32i *marks, int x, int end)
    {
        constexpr int step = 8;
        while (x + step <= end && marks[x].a == 0) {
            unsigned any = 0;
            for (int i = 0; i < step; ++i)
                any |= marks[x + i].word;
            if (any >> 24)
                break;
            x += step;
        }
        while (x < end && marks[x].a == 0)
            ++x;
        return x;
    }

    template <class Place>
    void Visit(const Place &place)
    {
        if (place.IsKnown()) {
            place.Mark(0, 0, OPRGBA32i());
            m_changed = true;
            return;
        }
        if (!Fill(place))
            return;
        m_changed = true;
        place.SetKnown();
        place.Mark(0, 0, OPRGBA32i());
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if ((dx != 0 || dy != 0) && place.IsToBeVisited(dx, dy))
                    place.Mark(dx, dy, retouch::toVisit);
    }

    /// False when no block is known.
    template <class Place>
    bool Fill(const Place &place) const
    {
        if (m_stage.load(std::memory_order_relaxed) == 1)
            return FillFromBlocks(place, std::make_index_sequence<blockCount>());
        retouch::SumOfEight sum;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if (dx != 0 || dy != 0)
                    sum.Add(place.Pixel({ dx, dy }));
        place.Repair(sum.Mean(5, 0)); // more than half for colours, none for alpha: intended
        return true;
    }

    template <class Place, size_t... block>
    static bool FillFromBlocks(const Place &place, std::index_sequence<block...>)
    {
        return (FillFromBlock<block>(place, std::make_index_sequence<8>()) || ...);
    }

    template <size_t block, class Place, size_t... i>
    static bool FillFromBlock(const Place &place, std::index_sequence<i...>)
    {
        if (!(place.IsKnownAtImage(tested(block, i)) && ...))
            return false;
        retouch::SumOfEight sum;
        (sum.Add(place.Pixel(blocks[block].pixels[i])), ...);
        place.Repair(sum.Mean(0, 0));
        return true;
    }

    RGBA32iImage &m_image, &m_mask, &m_frontier;
    QRect m_maskRect;
    int m_offsetX, m_offsetY;
    const std::atomic<int> &m_stage;
    int m_minX = INT_MAX, m_maxX = INT_MIN, m_minY = INT_MAX, m_maxY = INT_MIN;
    bool m_changed = false;
};

} // namespace

std::atomic<int> OPInpaintIterative::m_iteraion { 1 };

OPInpaintIterative::OPInpaintIterative(
    RGBA32iImage &image, const RGBA32iImage &mask, const QRect &imageRect, const QRect &maskRect)
    : image(&image)
    , mask(mask)
    , frontier(Gradient(mask, maskRect))
    , imageRect(imageRect)
    , maskRect(maskRect)
    , workRect(maskRect)
    , offsetX(arithmetic::wrappingSubtract(imageRect.left(), maskRect.left()))
    , offsetY(arithmetic::wrappingSubtract(imageRect.top(), maskRect.top()))
    , active(!maskRect.isEmpty())
{
}

RGBA32iImage OPInpaintIterative::Gradient(const RGBA32iImage &mask, const QRect &rect) const
{
    RGBA32iImage made(mask.Width(), mask.Height(), false);
    const QRect area = ClippedTo(mask.Rect(), rect);
    if (area.isEmpty())
        return made;
    mask.GetColor(area.x(), area.y()); // throws for a tiled mask
    const qptrdiff stride = mask.Width(), first = area.y() * stride + area.x();
    OPRGBA32i *const marks = made.Bits() + first;
    retouch::forEachAlphaSlope<1>({ mask.Bits() + first, mask.Width(), area.width(), area.height() },
        retouch::Beyond::Zero, [marks, stride](int x, int y, retouch::Slope slope) {
            marks[y * stride + x] = { 0, 0, 0, retouch::steepness({ 3 * slope.x, 3 * slope.y }) };
        });
    return made;
}

bool OPInpaintIterative::operator()()
{
    if (!active)
        return false;
    OPInpaintSweep sweep(*image, mask, frontier, maskRect, offsetX, offsetY, m_iteraion);
    // The name of the header that tells of loops over a rectangle stands in the log.
    support::guarded(
        { "include/OPTransformImageColors", __LINE__ }, [&] { sweep.Run(workRect); }, support::OnException::Swallow);
    workRect = sweep.Visited();
    active = sweep.HasChanged();
    return active;
}

void OPInpaintIterative::NextIteration()
{
    int stage = m_iteraion;
    while (!m_iteraion.compare_exchange_weak(stage, stage == GetIterationCount() ? 1 : stage + 1)) { }
}
