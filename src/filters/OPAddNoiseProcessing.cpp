#include "OPAddNoiseProcessing.h"

#include "color/Blocks.h"
#include "pixels/Tiles.h"

#include "FilterFrame.h"
#include "ParamsStream.h"

namespace {

using Params = OPAddNoiseProcessing::Params;

constexpr filters::ParamsStream stream("KXAddNoise 1.00000", "add noise",
    { "src\\filters\\OPAddNoiseProcessing", 292, 278 }, &Params::amount, &Params::distribution, &Params::keepAlpha);

/// Fills a flat picture with noise, row by row on the calling thread: all pixels are of one sequence.
class Generation {
public:
    Generation(const KXNoise &noise, RGBA32iImage &picture)
        : m_noise(noise)
        , m_picture(picture)
    {
    }

    int LineCount() const { return m_picture.Height(); }

    void Run(const std::atomic<bool> &cancel, const filters::Progress &progress) const
    {
        for (int y = 0; y < LineCount() && !cancel; ++y) {
            FillRow(pixels::flatPixel(m_picture, 0, y), m_picture.Width());
            progress();
        }
    }

private:
    /// What does not fill a block is drawn pixel by pixel: a block more would use up a part of the sequence.
    void FillRow(OPRGBA32i *pixels, int count) const
    {
        int i = 0;
        if (m_noise.HasKernel())
            for (; i + blocks::length <= count; i += blocks::length)
                m_noise(reinterpret_cast<unsigned char *>(pixels + i), blocks::flag);
        for (; i < count; ++i)
            m_noise(pixels[i]);
    }

    const KXNoise &m_noise;
    RGBA32iImage &m_picture;
};

} // namespace

KX_FILTER_STREAM(OPAddNoiseProcessing, stream)

OPAddNoiseProcessing::OPAddNoiseProcessing(const std::atomic<bool> &cancel, QReadWriteLock &lock,
    RGBA32iImage &cachedUniformNoise, RGBA32iImage &cachedGaussianNoise)
    : m_cancel(cancel)
    , m_lock(lock)
    , m_cachedUniformNoise(cachedUniformNoise)
    , m_cachedGaussianNoise(cachedGaussianNoise)
{
}

OPAddNoiseProcessing::~OPAddNoiseProcessing() = default;

RGBA32iImage OPAddNoiseProcessing::run(AddNoiseData data)
{
    const filters::FilterRun run(*this, m_cancel);
    const auto &[amount, distribution, keepAlpha] = data.params;
    const bool isUniform = distribution == 0;
    const filters::Cache cache(m_lock, isUniform ? m_cachedUniformNoise : m_cachedGaussianNoise);
    const QRect rect = data.selectionRect.isEmpty() ? data.image.Rect() : data.selectionRect;
    // The sides of what a caller selects may be longer than QRect can tell.
    const qint64 width = qint64(rect.right()) - rect.left() + 1, height = qint64(rect.bottom()) - rect.top() + 1;

    const auto found =
        cache.Find([=](const RGBA32iImage &picture) { return picture.Width() == width && picture.Height() == height; });
    RGBA32iImage noise = found ? *found : filters::newCanvas(width, height);
    const auto alpha = keepAlpha ? filters::OpacityBlend::Kept : filters::OpacityBlend::Blended;
    filters::OpacityBlend blend(data, filters::Picture(noise), noise.Rect(), amount, alpha, m_lock);
    if (found) {
        run.Do(blend);
        return data.image;
    }
    const quint32 seed = m_seed ? *m_seed : KXNoise::ClockSeed();
    const auto generate = [&](const KXNoise &sequence) {
        const Generation generation(sequence, noise);
        run.Announce(generation.LineCount() + blend.LineCount());
        run.Run(generation);
    };
    isUniform ? generate(OPUniformNoise(seed)) : generate(OPGaussianNoise(seed));
    cache.StoreAmongReaders(run, noise);
    run.Run(blend);
    return data.image;
}
