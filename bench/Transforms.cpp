#include "Transforms.h"

#include "OPImageTransformation.h"

#include "Scene.h"
#include "Suite.h"

namespace bench {

const std::vector<Resampling> &resamplings()
{
    static const std::vector<Resampling> all = [] {
        const QSize same(width, height), larger(width * 13 / 10, height * 13 / 10);
        QTransform turned;
        turned.translate(width / 2.0, height / 2.0).rotate(30).translate(-width / 2.0, -height / 2.0);
        const QTransform enlarged = QTransform::fromScale(1.3, 1.3);
        const QTransform leaning(1, 0.05, 0.3 / width, 0.03, 0.9, 0.1 / height, 20, 30, 1);
        return std::vector<Resampling> {
            { "rotate by 30 degrees, nearest", Resampling::Nearest, turned, same, 1.5 },
            { "rotate by 30 degrees, bilinear", Resampling::Bilinear, turned, same, 0.8 },
            { "rotate by 30 degrees, bicubic", Resampling::Bicubic, turned, same, 1.5 },
            { "scale to 1.3, bilinear", Resampling::Bilinear, enlarged, larger, 0.4 },
            { "scale to 1.3, bicubic", Resampling::Bicubic, enlarged, larger, 0.9 },
            { "perspective, bilinear", Resampling::Bilinear, leaning, same, 0.5 },
        };
    }();
    return all;
}

void addTransforms(Suite &suite)
{
    static RGBA32iImage source, target;
    for (const Resampling &each : resamplings()) {
        suite.addRow(each.name, { Column::OpenCV, {}, each.goal });
        suite.addOurs(
            each.name, 5,
            [&each] {
                if (source.Width() == 0)
                    source = flatPicture(layer);
                if (target.Rect().size() != each.size)
                    target = RGBA32iImage(each.size.width(), each.size.height(), false);
                target.Fill(OPRGBA32i()); // what is new memory is not to be paid for
            },
            [&each] {
                const auto grade = each.grade == Resampling::Nearest
                    ? NearestNeighbourTransformImage<RGBA32iImage, RGBA32iImage>
                    : each.grade == Resampling::Bilinear ? BilinearTransformImage<RGBA32iImage, RGBA32iImage>
                                                         : BicubicTransformImage<RGBA32iImage, RGBA32iImage>;
                grade(source, each.transform, target, QRect());
            });
    }
}

} // namespace bench
