#pragma once

#include "KXBlur.h"
#include "KXImage.h"

#include "pixels/Tiles.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace lines {

/// Premultiplication around two passes over a rectangle of a flat image, done by the passes themselves: the one over
/// rows premultiplies each row as it takes it up, the one over columns unpremultiplies its columns as it leaves them.
/// That saves two walks over the image, which would cost more than a short convolution does.
///
/// The bytes are those of two plain walks around the passes. So the last row of the rectangle is left out, as plain
/// walks do; and the lines that a cancel or an exception kept from the passes are converted all the same, by @c
/// FinishRows and @c FinishColumns. These need no memory. Different lines may be set by different threads.
class AlphaInPasses {
public:
    /// @p rect lies in the image, which is borrowed.
    AlphaInPasses(RGBA32iImage &image, const QRect &rect)
        : m_image(image)
        , m_rect(rect)
        , m_rows(size_t(rect.height()))
        , m_columns(size_t(rect.width()))
    {
    }

    /// How many rows are converted, from the first one on.
    int RowCount() const { return m_rect.height() - 1; }
    /// Whether the row @p y of the image is one of them.
    bool IsConverted(int y) const { return y - m_rect.y() < RowCount(); }

    /// The pass has premultiplied and written the row @p y of the image.
    void SetRow(int y) { m_rows[size_t(y - m_rect.y())] = 1; }
    /// The pass has unpremultiplied and written @p count columns of the image from @p x on.
    void SetColumns(int x, int count) { std::fill_n(m_columns.begin() + (x - m_rect.x()), count, char(1)); }

    /// Premultiplies the other rows.
    void FinishRows()
    {
        for (int row = 0; row < RowCount(); ++row)
            if (!std::exchange(m_rows[size_t(row)], 1))
                m_premultiply.Apply(Pixels(row), m_rect.width());
    }

    /// Unpremultiplies the other columns.
    void FinishColumns()
    {
        const auto begin = m_columns.begin(), end = m_columns.end();
        for (auto first = std::find(begin, end, 0); first != end; first = std::find(first, end, 0)) {
            const auto last = std::find(first, end, 1);
            for (int row = 0; row < RowCount(); ++row)
                m_unpremultiply.Apply(Pixels(row) + (first - begin), int(last - first));
            std::fill(first, last, char(1));
        }
    }

private:
    OPRGBA32i *Pixels(int row) const { return pixels::flatPixel(m_image, m_rect.x(), m_rect.y() + row); }

    RGBA32iImage &m_image;
    const QRect m_rect;
    const KXBlur::PremultiplyAlpha m_premultiply;
    const KXBlur::ReturnAlpha m_unpremultiply;
    std::vector<char> m_rows, m_columns; ///< 1 for each line that is converted; not bool, as threads set neighbours
};

} // namespace lines
