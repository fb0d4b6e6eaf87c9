#include <KXCore.h>

/// A soft glow: the photo, and over it in mode Screen its own blurred copy.
int main(int argc, char **argv)
{
    if (argc != 3)
        return 2; // readme PHOTO RESULT
    loadAVX2Functions(true); // once, before anything is composed

    const QImage photo = QImage(argv[1]).convertToFormat(QImage::Format_ARGB32); // a JPEG is read as another
    if (photo.isNull())
        return 1;
    const QRect all = photo.rect();
    RGBA32iImage canvas(all.width(), all.height(), true); // in tiles
    ComposeSource(photo, all, canvas, all);

    OPGaussianBlurProcessing::BlurData data;
    data.image = ConvertImage<QImage, RGBA32iImage>(photo); // flat, as filters need it
    data.params.sigma = 12;
    const std::atomic<bool> cancel { false };
    const RGBA32iImage blurred = OPGaussianBlurProcessing(cancel).run(data);
    Compose(blurred, all, KXCompositionMode::Screen, canvas, all, 0.7, false);

    // The photo's colour profile is lost on this way; canvasOf and save in docs/recipes.md keep it.
    QImage result(all.size(), QImage::Format_ARGB32);
    result.fill(Qt::transparent); // empty tiles of the canvas leave the pixels under them as they are
    ComposeSource(canvas, all, result, all);
    return result.save(argv[2]) ? 0 : 1;
}
