#pragma once

#include <QtCore/QRect>

#include <algorithm>

namespace filters {

/// The images whose coordinates a filter has to do with.
struct InLayer; ///< the layer that is filtered: its top left pixel is (0, 0)
struct InSelection; ///< the image that holds the selection
struct InCanvas; ///< the canvas on which a selection lies that is itself the layer

/// A rectangle in the coordinates of one image; a type of its own for each, so that none is taken for another.
///
/// Intersection and union are those of QRect, with its rules for rectangles without area. But the sides are wider:
/// nothing overflows, wherever a caller puts corners and however far a filter reaches. @c Within alone brings an area
/// back to a QRect.
template <class Where>
class Area {
public:
    /// The positions from first up to, and without, end.
    struct Span {
        qint64 first, end;

        qint64 Length() const { return end - first; }
        bool operator==(const Span &other) const { return first == other.first && end == other.end; }
    };

    explicit Area(const QRect &rect)
        : Area(Between(rect.left(), rect.right()), Between(rect.top(), rect.bottom()))
    {
    }

    Span Columns() const { return m_columns; }
    Span Rows() const { return m_rows; }

    Area Grown(qint64 by) const
    {
        return { { m_columns.first - by, m_columns.end + by }, { m_rows.first - by, m_rows.end + by } };
    }

    /// The area moved by (@p dx, @p dy); in the coordinates of another image, if that lies so against this one.
    template <class There = Where>
    Area<There> Moved(qint64 dx, qint64 dy) const
    {
        return { { m_columns.first + dx, m_columns.end + dx }, { m_rows.first + dy, m_rows.end + dy } };
    }

    /// The part inside @p image; an empty rectangle if there is none.
    QRect Within(const QRect &image) const
    {
        const Area inside = *this & Area(image);
        return inside.IsNull() || std::min(inside.m_columns.Length(), inside.m_rows.Length()) < 0
            ? QRect()
            : QRect(int(inside.m_columns.first), int(inside.m_rows.first), int(inside.m_columns.Length()),
                int(inside.m_rows.Length()));
    }

    bool IsNull() const { return m_columns.Length() == 0 && m_rows.Length() == 0; }
    bool operator==(const Area &other) const { return m_columns == other.m_columns && m_rows == other.m_rows; }

    /// A null area if the two are apart.
    friend Area operator&(const Area &a, const Area &b)
    {
        const auto apart = [](const Span &s, const Span &t) { return s.first >= t.end || t.first >= s.end; };
        const auto both = [](const Span &s, const Span &t) {
            return Span { std::max(s.first, t.first), std::min(s.end, t.end) };
        };
        if (apart(a.m_columns, b.m_columns) || apart(a.m_rows, b.m_rows))
            return Area(QRect());
        return { both(a.m_columns, b.m_columns), both(a.m_rows, b.m_rows) };
    }

    /// The area that holds both; a null one adds nothing.
    friend Area operator|(const Area &a, const Area &b)
    {
        const auto either = [](const Span &s, const Span &t) {
            return Span { std::min(s.first, t.first), std::max(s.end, t.end) };
        };
        if (a.IsNull() || b.IsNull())
            return a.IsNull() ? b : a;
        return { either(a.m_columns, b.m_columns), either(a.m_rows, b.m_rows) };
    }

private:
    template <class>
    friend class Area;

    Area(const Span &columns, const Span &rows)
        : m_columns(columns)
        , m_rows(rows)
    {
    }

    /// The positions @p first to @p last, or @p last to @p first where these are in the wrong order.
    static Span Between(qint64 first, qint64 last)
    {
        return last + 1 < first ? Span { last, first + 1 } : Span { first, last + 1 };
    }

    Span m_columns, m_rows;
};

} // namespace filters
