#include "Pictures.h"

#include <KXConverter.h>

#include <QtCore/QHash>
#include <QtGui/QPainter>

#include <vector>

namespace tour {

QColor colourOf(Tile state)
{
    static const QRgb colours[] = { 0xFFFFB454, 0xFF5BA8FF, 0xFF3A4150 };
    return QColor::fromRgb(colours[int(state)]);
}

TileMap tileMap(const RGBA32iImage &image, const QVector<const RGBA32iImage *> &others)
{
    QHash<const OPRGBA32i *, int> holders;
    const auto count = [&holders](const RGBA32iImage &any) {
        for (int i = 0; any.HasTile(i); ++i)
            ++holders[any.TileData(i)];
    };
    count(image);
    for (const RGBA32iImage *other : others)
        if (other != &image)
            count(*other);

    TileMap map { image.TilesX(), {} };
    for (int i = 0; image.HasTile(i); ++i)
        map.tiles << (image.IsFakeTile(i) ? Tile::Fake : holders[image.TileData(i)] > 1 ? Tile::Shared : Tile::Private);
    return map;
}

QSize fitted(const QSize &size, const QSize &box)
{
    return (size.width() <= box.width() && size.height() <= box.height() ? size : size.scaled(box, Qt::KeepAspectRatio))
        .expandedTo(QSize(1, 1));
}

RGBA32iImage imageOf(const QImage &picture) { return ConvertImage<QImage, RGBA32iImage>(picture); }

QImage preview(const RGBA32iImage &image, const QSize &box)
{
    const int width = image.Width(), height = image.Height();
    const QSize size = fitted(QSize(width, height), box);
    QImage result(size, QImage::Format_ARGB32);
    std::vector<OPRGBA32i> row(image.Rect().width());
    struct Sum {
        quint64 b, g, r, a, n;
    };
    std::vector<Sum> sums(result.width());
    for (int py = 0, y = 0; py < size.height(); ++py) {
        std::fill(sums.begin(), sums.end(), Sum {});
        for (const int end = int(qint64(py + 1) * height / size.height()); y < end; ++y) {
            image.ReadRow(unsigned(y), 0, row.data(), unsigned(width) * 4);
            for (int px = 0, x = 0; px < size.width(); ++px)
                for (const int right = int(qint64(px + 1) * width / size.width()); x < right; ++x) {
                    const OPRGBA32i p = row[size_t(x)];
                    Sum &sum = sums[size_t(px)];
                    sum.b += quint64(p.b) * p.a;
                    sum.g += quint64(p.g) * p.a;
                    sum.r += quint64(p.r) * p.a;
                    sum.a += p.a;
                    ++sum.n;
                }
        }
        QRgb *line = reinterpret_cast<QRgb *>(result.scanLine(py));
        for (int px = 0; px < size.width(); ++px) {
            const Sum &s = sums[size_t(px)];
            line[px] = s.a == 0 ? 0 : qRgba(int(s.r / s.a), int(s.g / s.a), int(s.b / s.a), int(s.a / s.n));
        }
    }
    return result;
}

QImage onCheckerboard(const QImage &image)
{
    QImage result(image.size(), QImage::Format_RGB32);
    constexpr int side = 12;
    for (int y = 0; y < result.height(); ++y) {
        QRgb *line = reinterpret_cast<QRgb *>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x)
            line[x] = (x / side + y / side) % 2 ? 0xFF848A98 : 0xFF6E7482;
    }
    QPainter(&result).drawImage(0, 0, image);
    return result;
}

} // namespace tour
