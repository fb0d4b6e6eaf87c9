#include "OPInpaint.h"

#include "Neighbours.h"
#include "pixels/BorrowedImage.h"
#include "support/Arithmetic.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>
#include <vector>

using retouch::isKnown;

namespace {

constexpr double farAway = 10000000.0; ///< in the field of distances: not reached
constexpr double noDistance = 1000000.0;

constexpr OPRGBA32i hole { 0xFFFF0000u }; ///< in the mask; what has a lower alpha there is known
constexpr OPRGBA32i filledNow { 0xFF00FF00u }; ///< the same, of a pixel that is known when the pass ends

QImage newImage(const QSize &size)
{
    QImage made(size, QImage::Format_ARGB32);
    if (made.isNull() && !size.isEmpty())
        throw std::bad_alloc();
    return made;
}

/// From the first marked pixel of a row to the one after the last; the same when there is none.
struct Columns {
    int first, end;
};
constexpr Columns notLookedFor { -1, -1 };

/// Those of the @p width pixels from @p row on.
Columns markedColumns(const OPRGBA32i *row, int width)
{
    const auto isMarked = [](OPRGBA32i pixel) { return pixel.a != 0; };
    const OPRGBA32i *const end = row + width, *const first = std::find_if(row, end, isMarked);
    const auto afterLast = std::find_if(std::reverse_iterator(end), std::reverse_iterator(first), isMarked).base();
    return { int(first - row), int(afterLast - row) };
}

/// The bounds of what is marked in @p area of an image of @p size, where @p columnsOf(y) counts from the left edge of
/// the image and stands for columns from that of the area on: intended. All of the area when nothing is marked.
template <class ColumnsOf>
QRect boundsOf(const QSize &size, const QRect &area, const ColumnsOf &columnsOf)
{
    int minX = size.width(), minY = size.height(), maxX = -1, maxY = -1;
    for (int y = area.y(); y < area.y() + area.height(); ++y) {
        const Columns columns = columnsOf(y);
        if (columns.first == columns.end)
            continue;
        minX = std::min(minX, area.x() + columns.first);
        maxX = std::max(maxX, area.x() + columns.end - 1);
        minY = std::min(minY, y);
        maxY = y;
    }
    return QRect(QPoint(minX, minY), QPoint(maxX, maxY)) & area;
}

using Plane = pixels::BorrowedImage<OPRGBA32i>;

/// Whether (@p x, @p y) has a known neighbour on its row and one on its column.
bool hasKnownOnBothAxes(const Plane &known, const QSize &size, int x, int y)
{
    const OPRGBA32i *const row = known.Row(y);
    const bool isOnRow = (x > 0 && isKnown(row[x - 1])) || (x + 1 < size.width() && isKnown(row[x + 1]));
    return isOnRow
        && ((y > 0 && isKnown(known.Row(y - 1)[x])) || (y + 1 < size.height() && isKnown(known.Row(y + 1)[x])));
}

/// Puts the holes of the block around (@p x, @p y) on the frontier.
void markHolesAround(const Plane &known, const QSize &size, int x, int y, const Plane &marks)
{
    for (int yy = std::max(y - 1, 0); yy <= std::min(y + 1, size.height() - 1); ++yy)
        for (int xx = std::max(x - 1, 0); xx <= std::min(x + 1, size.width() - 1); ++xx)
            if (!isKnown(known.Row(yy)[xx]))
                marks.Row(yy)[xx] = retouch::toVisit;
}

/// Whether the bytes of @p image are its pixels as QImage::pixel gives them.
bool isPlain(const QImage &image) { return image.format() == QImage::Format_ARGB32; }

} // namespace

/// What passes know of the rows of the frontier. A pass changes few of them.
struct OPInpaint::Rows {
    explicit Rows(int height)
        : marked(size_t(height), notLookedFor)
    {
        worked.reserve(size_t(height));
    }

    std::vector<Columns> marked; ///< of the first @c width pixels
    int width = -1;
    std::vector<int> worked; ///< in a pass
};

OPInpaint::OPInpaint(QImage &image)
    : image(&image)
    , mask(makeMask(image))
    , frontier(gradient(mask))
    , rect(maskRect(frontier, QRect()))
{
}

QImage OPInpaint::makeMask(const QImage &image) const
{
    const QImage source = isPlain(image) ? image : image.convertToFormat(QImage::Format_ARGB32, Qt::NoOpaqueDetection);
    if (source.isNull() && !image.isNull())
        throw std::bad_alloc();
    QImage made = newImage(source.size());
    const auto from = pixels::borrow(source);
    const auto to = pixels::borrowForWriting(made);
    for (int y = 0; y < made.height(); ++y)
        std::transform(from.Row(y), from.Row(y) + made.width(), to.Row(y),
            [](OPRGBA32i pixel) { return pixel.a < 255 ? hole : OPRGBA32i(); });
    return made;
}

QImage OPInpaint::gradient(const QImage &mask) const
{
    QImage made = newImage(mask.size());
    if (made.isNull())
        return made;
    const auto from = pixels::borrow(mask);
    const auto to = pixels::borrowForWriting(made);
    retouch::forEachAlphaSlope<2>({ from.first, int(from.Stride()), mask.width(), mask.height() },
        retouch::Beyond::Edge, [&to](int x, int y, retouch::Slope slope) {
            to.Row(y)[x] = { 0, 255, 0, retouch::steepness(slope) };
        });
    return made;
}

QRect OPInpaint::maskRect(const QImage &image, const QRect &rect) const
{
    const QRect area = rect.isEmpty() ? image.rect() : rect;
    const auto source = pixels::borrow(image);
    return boundsOf(image.size(), area, [&](int y) { return markedColumns(source.Row(y), area.width()); });
}

void OPInpaint::operator()(int)
{
    Rows rows(mask.height());
    while (Pass(rows)) { }
}

bool OPInpaint::Pass(Rows &rows)
{
    if (mask.isNull())
        return false;
    // Copies of this object may share these.
    const auto known = pixels::borrowForWriting(mask), marks = pixels::borrowForWriting(frontier);
    const QRect before = rect;
    if (std::exchange(rows.width, rect.width()) != rect.width())
        std::fill(rows.marked.begin(), rows.marked.end(), notLookedFor);
    rect = boundsOf(mask.size(), rect, [&](int y) {
        Columns &columns = rows.marked[size_t(y)];
        if (columns.first == notLookedFor.first)
            columns = markedColumns(marks.Row(y), rows.width);
        return columns;
    });
    const QSize size = mask.size();
    const int beginX = rect.x(), endX = rect.x() + rect.width();
    rows.worked.clear();
    for (int y = rect.y(); y < rect.y() + rect.height(); ++y)
        if (marks.Row(y)[beginX].a == 255)
            rows.worked.push_back(y);
    if (!rows.worked.empty())
        pixels::borrowForWriting(*image); // throws, if at all, before anything is filled

    bool visited = false, altered = rect != before;
    for (const int y : rows.worked) {
        OPRGBA32i *const inMask = known.Row(y), *const mark = marks.Row(y);
        for (int x = beginX; x < endX; ++x) {
            if (isKnown(inMask[x])) {
                visited = true;
                altered |= mark[x].a != 0;
                mark[x] = OPRGBA32i();
                continue;
            }
            if (!hasKnownOnBothAxes(known, size, x, y) || !inpaint0(x, y))
                continue;
            visited = altered = true;
            inMask[x] = filledNow; // which is not known to this pass
            markHolesAround(known, size, x, y, marks);
            mark[x] = OPRGBA32i();
        }
    }
    for (const int y : rows.worked) {
        std::replace(known.Row(y) + beginX, known.Row(y) + endX, filledNow, OPRGBA32i());
        for (int yy = std::max(y - 1, 0); yy <= std::min(y + 1, size.height() - 1); ++yy)
            rows.marked[size_t(yy)] = notLookedFor;
    }
    return visited && altered; // known pixels are visited for ever in a row whose first pixel stays a hole
}

bool OPInpaint::IsKnown(int x, int y) const
{
    return mask.rect().contains(x, y) && isKnown(pixels::borrow(mask).Row(y)[x]);
}

bool OPInpaint::inpaint0(int x, int y)
{
    // The top left corners of the blocks, in the order in which they are tried.
    static constexpr struct {
        int x, y;
    } blocks[] = { { -1, -1 }, { -1, -2 }, { -1, 0 }, { -2, -1 }, { 0, -1 }, { -2, -2 }, { 0, -2 }, { 0, 0 },
        { -2, 0 } };
    const auto known = pixels::borrow(mask);
    for (const auto &block : blocks) {
        const QRect area(x + block.x, y + block.y, 3, 3);
        if (!mask.rect().contains(area))
            continue;
        const auto forEachOther = [&](const auto &visit) {
            for (int yy = area.y(); yy < area.y() + 3; ++yy)
                for (int xx = area.x(); xx < area.x() + 3; ++xx)
                    if ((xx != x || yy != y) && !visit(xx, yy))
                        return false;
            return true;
        };
        if (!forEachOther([&](int xx, int yy) { return isKnown(known.Row(yy)[xx]); }))
            continue;
        retouch::SumOfEight sum;
        if (isPlain(*image) && image->size() == mask.size()) {
            const auto picture = pixels::borrowForWriting(*image);
            forEachOther([&](int xx, int yy) { return sum.Add(picture.Row(yy)[xx]), true; });
            picture.Row(y)[x] = sum.Mean(4, 4);
        } else {
            forEachOther([&](int xx, int yy) { return sum.Add(image->pixel(xx, yy)), true; });
            image->setPixel(x, y, sum.Mean(4, 4));
        }
        return true;
    }
    return false;
}

void OPInpaint::grad(int x, int y, QVector2D *red, QVector2D *green, QVector2D *blue, QVector2D *alpha) const
{
    const auto at = [&](int dx, int dy) {
        return OPRGBA32i(
            image->pixel(std::clamp(x + dx, 0, image->width() - 1), std::clamp(y + dy, 0, image->height() - 1)));
    };
    const auto write = [&](QVector2D *out, auto channel) {
        if (!out)
            return;
        const retouch::Slope slope = retouch::slopeOf<2>([&](int dx, int dy) { return int(channel(at(dx, dy))); });
        *out = QVector2D(float(slope.x), float(slope.y));
    };
    write(red, [](OPRGBA32i pixel) { return pixel.r; });
    write(green, [](OPRGBA32i pixel) { return pixel.g; });
    write(blue, [](OPRGBA32i pixel) { return pixel.b; });
    write(alpha, [](OPRGBA32i pixel) { return pixel.a; });
}

OPRGBA32i OPInpaint::color(int a, int r, int g, int b)
{
    const auto mean = [](int sum) { return static_cast<unsigned char>(arithmetic::wrappingAdd(sum, 4) / 8); };
    return { mean(b), mean(g), mean(r), mean(a) };
}

void OPInpaint::sum(int x, int y, int &a, int &r, int &g, int &b)
{
    const OPRGBA32i pixel(image->pixel(x, y));
    a += pixel.a;
    r += pixel.r;
    g += pixel.g;
    b += pixel.b;
}

void OPInpaint::initializeField()
{
    distanceField = newImage(mask.size());
    for (int y = 0; y < mask.height(); ++y)
        for (int x = 0; x < mask.width(); ++x)
            setField(x, y, IsKnown(x, y) ? 0 : farAway);
}

double OPInpaint::field(int x, int y) const
{
    if (!distanceField.rect().contains(x, y))
        return farAway;
    float value;
    std::memcpy(&value, &pixels::borrow(distanceField).Row(y)[x], sizeof value);
    return double(value);
}

void OPInpaint::setField(int x, int y, double value)
{
    if (!distanceField.rect().contains(x, y))
        return;
    const auto narrowed = static_cast<float>(value);
    std::memcpy(&pixels::borrowForWriting(distanceField).Row(y)[x].word, &narrowed, sizeof narrowed);
}

void OPInpaint::gradField(int x, int y, QVector2D *out) const
{
    if (!out)
        return;
    const double here = field(x, y);
    double dx = field(std::min(x + 1, distanceField.width() - 1), y) - here;
    double dy = field(x, std::min(y + 1, distanceField.height() - 1)) - here;
    const double length = std::sqrt(dx * dx + dy * dy);
    if (length > 0.0001) {
        dx *= 1 / length;
        dy *= 1 / length;
    }
    *out = QVector2D(float(dy), float(dx)); // swapped: intended
}

double OPInpaint::solve(int x1, int y1, int x2, int y2) const
{
    const bool first = IsKnown(x1, y1), second = IsKnown(x2, y2);
    const double t1 = field(x1, y1), t2 = field(x2, y2);
    if (!first || !second)
        return first ? t1 + 1.0 : second ? t2 + 1.0 : noDistance;
    const double v = 2 - (t1 - t2) * (t1 - t2);
    if (v < 0)
        return noDistance;
    const double root = std::sqrt(v);
    double s = (t1 + t2 - root) * 0.5;
    if (s >= t1 && s >= t2)
        return s;
    s = s + root;
    return s >= t1 && s >= t2 ? s : noDistance;
}

void OPInpaint::inpaint(int x, int y)
{
    constexpr qint32 radius = neighbourhoodRadius;
    const auto channels = [this](int i, int j) {
        const OPRGBA32i pixel(image->pixel(i, j));
        return std::array<int, 4> { pixel.b, pixel.g, pixel.r, pixel.a };
    };
    std::array<double, 4> sums {};
    double weights = 0; // the same for all channels
    for (int j = y - radius; j <= y + radius; ++j)
        for (int i = x - radius; i <= x + radius; ++i) {
            if (j == y || i == x || !IsKnown(i, j))
                continue;
            const auto rx = float(i - x), ry = float(j - y);
            QVector2D g;
            gradField(i, j, &g);
            const double length = double(QVector2D(rx, ry).length());
            const float dot = g.y() * ry + g.x() * rx;
            const double weight =
                double(dot) / (length * length * length * (std::abs(field(i, j) - field(x, y)) + 1.0));
            std::array<int, 4> gx {}, gy {};
            if (IsKnown(i + 1, j) && IsKnown(i - 1, j) && IsKnown(i, j + 1) && IsKnown(i, j - 1)) {
                const auto right = channels(i + 1, j), left = channels(i - 1, j);
                const auto below = channels(i, j + 1), above = channels(i, j - 1);
                for (size_t c = 0; c < 4; ++c) {
                    gx[c] = right[c] - left[c];
                    gy[c] = below[c] - above[c];
                }
            }
            const auto here = channels(i, j);
            for (size_t c = 0; c < 4; ++c)
                sums[c] += double(float(gx[c]) * rx + float(here[c]) + float(gy[c]) * ry) * weight;
            weights += weight;
        }
    const auto mean = [&](size_t c) {
        const double value = sums[c] / weights;
        return value > 0 ? static_cast<unsigned char>(std::min(value, 255.0)) : static_cast<unsigned char>(0);
    };
    image->setPixel(x, y, OPRGBA32i(mean(0), mean(1), mean(2), mean(3)));
}
