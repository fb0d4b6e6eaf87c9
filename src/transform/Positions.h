#pragma once

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtGui/QTransform>

#include <algorithm>
#include <cmath>

/// What resampling through a QTransform is made of: positions in the source, and what is read there.
namespace transform {

/// 2^-52, which samplers add to a position before they truncate it.
constexpr double epsilon = 2.220446049250313e-16;

/// The positions in the source of the pixel centres of one stretch of destination columns, row by row.
///
/// They are those of QTransform::map, with its order of operations; only the products that depend on the column alone
/// are taken once for all rows, and never are steps added up. Products that the type of the transform leaves out are 0
/// here, and adding 0 changes no value.
class Positions {
public:
    static constexpr int most = 512; ///< columns of a stretch: fewer make short rows in memory, which it is slow at

    /// For @p count columns from @p first on; @p offset is subtracted from each position.
    Positions(const QTransform &inverse, int first, int count, const QPoint &offset)
        : m_m21(0)
        , m_m22(1)
        , m_m23(inverse.m23())
        , m_dx(inverse.dx())
        , m_dy(inverse.dy())
        , m_m33(inverse.m33())
        , m_offsetX(offset.x())
        , m_offsetY(offset.y())
        , m_isProjective(inverse.type() == QTransform::TxProject)
        , m_count(count)
    {
        double m11 = 1, m12 = 0;
        switch (inverse.type()) {
        case QTransform::TxNone:
            m_dx = m_dy = 0;
            break;
        case QTransform::TxTranslate:
            break;
        case QTransform::TxScale:
            m11 = inverse.m11();
            m_m22 = inverse.m22();
            break;
        default:
            m11 = inverse.m11();
            m12 = inverse.m12();
            m_m21 = inverse.m21();
            m_m22 = inverse.m22();
        }
        for (int i = 0; i < count; ++i) {
            const double x = first + i + 0.5;
            m_x[i] = m11 * x;
            m_y[i] = m12 * x;
            m_w[i] = inverse.m13() * x;
        }
    }

    int Count() const { return m_count; }

    /// The row with the centre @p y + 0.5.
    class Row {
    public:
        Row(const Positions &positions, int y)
            : m_positions(positions)
            , m_x(positions.m_m21 * (y + 0.5))
            , m_y(positions.m_m22 * (y + 0.5))
            , m_w(positions.m_m23 * (y + 0.5))
        {
        }

        /// Of an affine map: one coordinate of the column @p i.
        double X(int i) const { return m_positions.m_x[i] + m_x + m_positions.m_dx - m_positions.m_offsetX; }
        double Y(int i) const { return m_positions.m_y[i] + m_y + m_positions.m_dy - m_positions.m_offsetY; }

        /// Writes the positions of @p count columns from @p first on.
        void Write(int first, int count, double *x, double *y) const
        {
            const Positions &p = m_positions;
            if (!p.m_isProjective) {
                for (int i = 0; i < count; ++i) {
                    x[i] = X(first + i);
                    y[i] = Y(first + i);
                }
                return;
            }
            for (int i = 0, column = first; i < count; ++i, ++column) {
                const double w = p.m_w[column] + m_w + p.m_m33, scale = 1.0 / (w < 1e-6 ? 1e-6 : w);
                x[i] = (p.m_x[column] + m_x + p.m_dx) * scale - p.m_offsetX;
                y[i] = (p.m_y[column] + m_y + p.m_dy) * scale - p.m_offsetY;
            }
        }

        /// Whether the coordinates only grow or only shrink along the row: no step of rounding turns the order of two
        /// values around, unless one of them is infinite.
        bool IsMonotonic() const
        {
            const int last = m_positions.m_count - 1;
            return !m_positions.m_isProjective && std::isfinite(X(0)) && std::isfinite(X(last)) && std::isfinite(Y(0))
                && std::isfinite(Y(last));
        }

    private:
        const Positions &m_positions;
        double m_x, m_y, m_w;
    };

private:
    double m_m21, m_m22, m_m23, m_dx, m_dy, m_m33, m_offsetX, m_offsetY;
    bool m_isProjective;
    int m_count;
    double m_x[most], m_y[most], m_w[most];
};

/// Which coordinates lie inside, along one axis: those that are at least @c low and whose sum with @c bias, truncated,
/// is one of the pixels from @c first to @c last. That is written without the truncation, which is defined for
/// coordinates of any size: trunc(u) <= last is u < last + 1, and trunc(u) >= first is u >= first, but for the first
/// pixel 0, where @c low decides alone.
class Span {
public:
    Span(double low, double bias, int first, int last)
        : m_low(low)
        , m_bias(bias)
        , m_first(first > 0 ? first : -1.0)
        , m_end(last + 1.0)
    {
    }

    bool isBefore(double v) const { return v < m_low || v + m_bias < m_first; }
    bool isBehind(double v) const { return v + m_bias >= m_end; }
    /// False for NaN.
    bool contains(double v) const { return v >= m_low && v + m_bias >= m_first && v + m_bias < m_end; }

private:
    double m_low, m_bias, m_first, m_end;
};

/// Which positions are sampled.
struct Inside {
    Span x, y;

    bool contains(double sx, double sy) const { return x.contains(sx) && y.contains(sy); }
};

/// The indices from @c first on and before @c end.
struct Range {
    int first, end;
};

/// Those of the indices of @p range at which the monotonic @p at(index) lies in @p span.
template <class At>
Range within(const Span &span, Range range, At at)
{
    if (range.first >= range.end)
        return range;
    const double front = at(range.first), back = at(range.end - 1);
    if (span.contains(front) && span.contains(back))
        return range;
    const auto firstNot = [range, at](auto isOutside) {
        int first = range.first, count = range.end - first;
        while (count > 0) {
            const int half = count / 2;
            if (isOutside(at(first + half))) {
                first += half + 1;
                count -= half + 1;
            } else {
                count = half;
            }
        }
        return first;
    };
    const bool grows = front < back;
    const int first = firstNot([&span, grows](double v) { return grows ? span.isBefore(v) : span.isBehind(v); });
    const int end = firstNot([&span, grows](double v) { return !(grows ? span.isBehind(v) : span.isBefore(v)); });
    return { first, std::max(first, end) };
}

enum class Order {
    Strips, ///< of columns, so that neighbouring rows find in the caches what they read of the source
    Rows
};

/// The most pixels that forEachRun hands over at once.
constexpr int longestRun = 128;

/// Calls @p run(x, y, sourceX, sourceY, count) for stretches of the rows of @p area whose positions are all inside, and
/// which together are all that are: @p count pixels from (x, y) on, with their positions in two arrays.
template <class Run>
void forEachRun(
    const QTransform &inverse, const QPoint &offset, const QRect &area, const Inside &inside, Order order, Run run)
{
    if (order == Order::Rows && area.height() > 1) {
        for (int y = area.y(); y < area.y() + area.height(); ++y)
            forEachRun(inverse, offset, QRect(area.x(), y, area.width(), 1), inside, order, run);
        return;
    }
    double sourceX[longestRun], sourceY[longestRun];
    for (int done = 0, width; done < area.width(); done += width) {
        width = std::min(Positions::most, area.width() - done);
        const int left = area.x() + done;
        const Positions positions(inverse, left, width, offset);
        for (int y = area.y(); y < area.y() + area.height(); ++y) {
            const Positions::Row row(positions, y);
            const bool isMonotonic = row.IsMonotonic();
            Range range { 0, width };
            if (isMonotonic) {
                range = within(inside.x, range, [&row](int i) { return row.X(i); });
                range = within(inside.y, range, [&row](int i) { return row.Y(i); });
            }
            for (int i = range.first, count; i < range.end; i += count) {
                count = std::min(longestRun, range.end - i);
                row.Write(i, count, sourceX, sourceY);
                if (isMonotonic) {
                    run(left + i, y, sourceX, sourceY, count);
                    continue;
                }
                for (int first = 0, end; first < count; first = end + 1) {
                    for (end = first; end < count && inside.contains(sourceX[end], sourceY[end]); ++end) { }
                    if (end > first)
                        run(left + i + first, y, sourceX + first, sourceY + first, end - first);
                }
            }
        }
    }
}

} // namespace transform
