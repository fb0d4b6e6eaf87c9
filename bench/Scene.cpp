#include "Scene.h"

#include "Suite.h"

#include <QtCore/QRandomGenerator>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <vector>

namespace bench {

namespace {

using Pixels = std::vector<OPRGBA32i>;

Pixels noise(unsigned seed)
{
    Pixels made(static_cast<size_t>(pixels));
    QRandomGenerator random(seed);
    for (OPRGBA32i &pixel : made)
        pixel.word = random.generate();
    return made;
}

/// Numbers from -1 to 1 on a grid of @p cell pixels, smooth in between.
class Field {
public:
    Field(QRandomGenerator &random, int cell)
        : m_cell(cell)
        , m_columns(width / cell + 2)
        , m_values(size_t(m_columns) * size_t(height / cell + 2))
    {
        for (float &value : m_values)
            value = float(random.generateDouble() * 2 - 1);
    }

    float At(int x, int y) const
    {
        const size_t i = size_t(y / m_cell) * size_t(m_columns) + size_t(x / m_cell);
        const float right = smooth(x), down = smooth(y);
        const float above = m_values[i] + (m_values[i + 1] - m_values[i]) * right;
        const float *const next = &m_values[i + size_t(m_columns)];
        return above + (next[0] + (next[1] - next[0]) * right - above) * down;
    }

private:
    float smooth(int position) const
    {
        const float t = float(position % m_cell) / float(m_cell);
        return t * t * (3 - 2 * t);
    }

    int m_cell, m_columns;
    std::vector<float> m_values;
};

Pixels photo(unsigned seed)
{
    QRandomGenerator random(seed);
    const Field light(random, 600), shape(random, 240), roughness(random, 350), tint(random, 500), warmth(random, 700);
    const Field leaves(random, 24), twigs(random, 7), grain(random, 2);
    const auto byte = [](float v) { return static_cast<unsigned char>(std::clamp(v, 0.f, 255.f)); };
    Pixels made;
    made.reserve(static_cast<size_t>(pixels));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const float rough = std::max(roughness.At(x, y), 0.f); // half of the picture has no texture
            float v = 125 + 80 * light.At(x, y) + (shape.At(x, y) > 0.1f ? 35.f : 0.f);
            if (rough > 0)
                v += rough * (70 * leaves.At(x, y) + 50 * twigs.At(x, y) + 30 * grain.At(x, y));
            const float t = 30 * tint.At(x, y), w = 20 * warmth.At(x, y);
            made.emplace_back(byte(v - t - w), byte(v + t), byte(v + w), 255);
        }
    return made;
}

Pixels softStrokes(unsigned seed)
{
    Pixels made(static_cast<size_t>(pixels));
    QRandomGenerator random(seed);
    for (int covered = 0; covered < int(pixels) / 20;) {
        const int radius = random.bounded(30, 120), x0 = random.bounded(width), y0 = random.bounded(height);
        const unsigned colour = random.generate() & 0xFFFFFF;
        for (int y = std::max(y0 - radius, 0); y < std::min(y0 + radius, height); ++y)
            for (int x = std::max(x0 - radius, 0); x < std::min(x0 + radius, width); ++x) {
                const double distance = std::hypot(x - x0, y - y0) / radius;
                const int alpha = int(std::min(510 * (1 - distance), 255.0)); // opaque in the inner half
                OPRGBA32i &pixel = made[size_t(y) * width + size_t(x)];
                if (alpha <= pixel.a)
                    continue;
                covered += pixel.a == 0;
                pixel.word = colour | unsigned(alpha) << 24;
            }
    }
    return made;
}

} // namespace

const OPRGBA32i *pixelsOf(Scene scene)
{
    static std::map<Scene, Pixels> kept;
    Pixels &made = kept[scene];
    if (made.empty())
        made = scene == strokes ? softStrokes(scene) : scene >= photoLayer ? photo(scene) : noise(scene);
    return made.data();
}

void writeRows(RGBA32iImage &image, Scene scene)
{
    for (unsigned y = 0; y < unsigned(height); ++y)
        image.WriteRow(y, 0, pixelsOf(scene) + size_t(y) * width, width * 4);
}

RGBA32iImage flatPicture(Scene scene)
{
    RGBA32iImage image(width, height, false);
    restore(image, scene)();
    return image;
}

RGBA32iImage tiledPicture(Scene scene)
{
    RGBA32iImage image(width, height, true);
    writeRows(image, scene);
    return image;
}

QImage paintedPicture(Scene scene, QImage::Format format)
{
    return QImage(reinterpret_cast<const uchar *>(pixelsOf(scene)), width, height, QImage::Format_ARGB32)
        .convertToFormat(format)
        .copy();
}

std::function<void()> restore(RGBA32iImage &flat, Scene scene)
{
    return [bits = flat.Bits(), scene] {
        std::memcpy(static_cast<void *>(bits), pixelsOf(scene), size_t(pixels) * sizeof(OPRGBA32i));
    };
}

} // namespace bench
