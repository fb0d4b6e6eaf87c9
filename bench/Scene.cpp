#include "Scene.h"

#include "Suite.h"

#include <QtCore/QRandomGenerator>

#include <cstring>
#include <map>
#include <memory>

namespace bench {

const OPRGBA32i *pixelsOf(unsigned seed)
{
    static std::map<unsigned, std::unique_ptr<OPRGBA32i[]>> pictures;
    auto &picture = pictures[seed];
    if (!picture) {
        picture.reset(new OPRGBA32i[size_t(pixels)]);
        QRandomGenerator random(seed);
        for (size_t i = 0; i < size_t(pixels); ++i)
            picture[i].word = random.generate();
    }
    return picture.get();
}

RGBA32iImage flatPicture(unsigned seed)
{
    RGBA32iImage image(width, height, false);
    restore(image, seed)();
    return image;
}

RGBA32iImage tiledPicture(unsigned seed)
{
    RGBA32iImage image(width, height, true);
    for (unsigned y = 0; y < unsigned(height); ++y)
        image.WriteRow(y, 0, pixelsOf(seed) + size_t(y) * width, width * 4);
    return image;
}

QImage paintedPicture(unsigned seed, QImage::Format format)
{
    return QImage(reinterpret_cast<const uchar *>(pixelsOf(seed)), width, height, QImage::Format_ARGB32)
        .convertToFormat(format)
        .copy();
}

std::function<void()> restore(RGBA32iImage &flat, unsigned seed)
{
    return [bits = flat.Bits(), seed] {
        std::memcpy(static_cast<void *>(bits), pixelsOf(seed), size_t(pixels) * sizeof(OPRGBA32i));
    };
}

} // namespace bench
