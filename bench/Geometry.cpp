#include "KXResizeImage.h"
#include "OPImageConvolution.h"

#include "Scene.h"
#include "Suite.h"

namespace bench {

namespace {

void addResizing(Suite &suite)
{
    for (const Resizing &resizing : resizings) {
        const bool isLanczos = resizing.filter == Resizing::Lanczos;
        suite.addRow(resizing.name, { Column::OpenCV, {}, resizing.goal });
        if (resizing.goalBeyondVips > 0)
            suite.addRow(resizing.name, { Column::Vips, {}, resizing.goalBeyondVips });
        static RGBA32iImage source, result;
        suite.addOurs(
            resizing.name, 9,
            [resizing] {
                if (source.Rect().isEmpty())
                    source = flatPicture(photoLayer);
                const QSize size = resizing.size();
                if (result.Rect().size() != size)
                    result = RGBA32iImage(size.width(), size.height(), false);
            },
            [isLanczos] { KXResizeImage(source, result, isLanczos ? KXResizeLanczos3 : KXResizeBox); });
    }
}

} // namespace

void addGeometry(Suite &suite)
{
    addResizing(suite);
    suite.addRow(convolutionName, { Column::OpenCV, {}, 0.4 });
    static QImage image;
    suite.addOurs(
        convolutionName, 3, [] { image = paintedPicture(photoLayer, QImage::Format_ARGB32); },
        [] { OPImageConvolution(convolutionCells, QSize(5, 5))(image); });
}

} // namespace bench
