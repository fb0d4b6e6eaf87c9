#include "KXRefineSelectionProcessing.h"

#include "pixels/Tiles.h"
#include "support/Arithmetic.h"
#include "support/Kernels.h"
#include "support/Workers.h"

#include "AlphaTaps.h"
#include "FilterFrame.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <new>
#include <thread>
#include <vector>

namespace {

kernels::Slot sumKernel { KX_SYMBOL(SumAlphaTapsAVX2) };

constexpr int blockWidth = 64; ///< columns side by side: whole cache lines of the image, and of samples in a window

/// Half of the taps beside the one in the middle.
int reachOf(float radius) { return std::max(arithmetic::truncate(radius * 3.0f), 0); }

/// What is added on each side of a mask.
int marginOf(float radius) { return std::max(arithmetic::truncate(radius * 3.0f + 1.0f), 1); }

std::vector<float> gaussianTaps(float radius)
{
    const int reach = reachOf(radius);
    if (reach == 0) // also what is no number, with which the formula would have none to give
        return { 1.0f };
    std::vector<float> taps;
    float sum = 0.0f;
    for (int i = -reach; i <= reach; ++i) {
        const float x = float(i);
        taps.push_back(std::exp(-x * x / (2.0f * radius * radius)));
        sum += taps.back();
    }
    for (float &tap : taps)
        tap /= sum;
    return taps;
}

/// A transparent mask with the size of @p rect and the margin on each side.
RGBA32iImage grownMask(const QRect &rect, qint64 margin)
{
    // The sides may lie further apart than QRect can tell, also in the wrong order.
    const auto length = [margin](qint64 first, qint64 last) {
        const qint64 grown = last - first + 1 + 2 * margin;
        if (first - margin < -(1 << 30) || last + margin >= 1 << 30 || grown >= 1 << 30)
            throw std::bad_alloc();
        return grown;
    };
    return filters::newCanvas(length(rect.left(), rect.right()), length(rect.top(), rect.bottom()));
}

/// What a thread works with. All of it is there before threads start, so that nothing is thrown on them.
struct Buffers {
    std::vector<float> samples;
    std::vector<OPRGBA32i> row;
};

/// The feathering of one mask, in steps that go over all lines of it.
class Feather {
public:
    Feather(const RGBA32iImage &mask, const QRect &rect, float radius)
        : m_mask(mask)
        , m_margin(marginOf(radius))
        , m_reach(reachOf(radius))
        , m_grown(grownMask(rect, m_margin))
        , m_taps(gaussianTaps(radius))
        , m_kernel(sumKernel.Bind())
        , m_copied(mask.Rect().size().boundedTo(m_grown.Rect().size() - QSize(m_margin, m_margin)))
        , m_buffers(size_t(workers::hardware()))
    {
        const size_t ends = 2 * size_t(m_reach);
        const size_t row = size_t(m_grown.Width()) + ends, block = (size_t(m_grown.Height()) + ends) * blockWidth;
        for (Buffers &buffers : m_buffers) {
            buffers.samples.resize(std::max(row, block));
            buffers.row.reserve(size_t(m_grown.Width()));
        }
    }

    RGBA32iImage Feathered()
    {
        if (m_grown.Rect().isEmpty() || m_copied.isEmpty())
            return m_grown;
        Share(m_copied.height(), &Feather::BlurRows);
        Share(m_grown.Width(), &Feather::BlurColumns);
        Share(m_copied.height(), &Feather::RaiseRows);
        return m_grown;
    }

private:
    using Step = void (Feather::*)(int first, int end, Buffers &buffers);

    /// Hands out equal shares of @p count lines: one to this thread, the others to one thread each. A share for which
    /// there is no thread is done here.
    void Share(int count, Step step)
    {
        const int shares = int(m_buffers.size());
        const auto begin = [=](int share) { return int(qint64(count) * share / shares); };
        const auto work = [=](int share) { (this->*step)(begin(share), begin(share + 1), m_buffers[size_t(share)]); };
        std::vector<std::thread> threads;
        threads.reserve(size_t(shares));
        for (int share = 1; share < shares; ++share) {
            try {
                threads.emplace_back(work, share);
            } catch (const std::exception &) {
                work(share);
            }
        }
        work(0);
        for (std::thread &thread : threads)
            thread.join();
    }

    const OPRGBA32i *MaskRow(int y, Buffers &buffers) const
    {
        return filters::rowOf(m_mask, 0, y, m_copied.width(), buffers.row);
    }

    void Sum(const float *samples, qptrdiff stride, OPRGBA32i *pixels, int length) const
    {
        const auto sum = m_kernel ? m_kernel : filters::sumAlphaTaps;
        sum(samples, stride, m_taps.data(), int(m_taps.size()), pixels, length);
    }

    /// Copies rows of the mask, and blurs them. Those above and below stay empty.
    void BlurRows(int first, int end, Buffers &buffers)
    {
        const int width = m_grown.Width();
        float *const samples = buffers.samples.data() + m_reach;
        for (int y = first; y < end; ++y) {
            OPRGBA32i *const pixels = pixels::flatPixel(m_grown, 0, m_margin + y);
            std::copy_n(MaskRow(y, buffers), m_copied.width(), pixels + m_margin);
            for (int x = 0; x < width; ++x)
                samples[x] = pixels[x].a;
            std::fill_n(samples - m_reach, m_reach, samples[0]);
            std::fill_n(samples + width, m_reach, samples[width - 1]);
            Sum(buffers.samples.data(), 1, pixels, width);
        }
    }

    void BlurColumns(int first, int end, Buffers &buffers)
    {
        const int height = m_grown.Height();
        for (int x = first; x < end; x += blockWidth) {
            const int count = std::min(blockWidth, end - x);
            float *row = buffers.samples.data();
            for (int y = -m_reach; y < height + m_reach; ++y, row += blockWidth) {
                const OPRGBA32i *const pixels = pixels::flatPixel(m_grown, x, std::clamp(y, 0, height - 1));
                for (int i = 0; i < count; ++i)
                    row[i] = pixels[i].a;
            }
            for (int y = 0; y < height; ++y)
                Sum(buffers.samples.data() + qptrdiff(y) * blockWidth, blockWidth, pixels::flatPixel(m_grown, x, y),
                    count);
        }
    }

    /// Keeps what is wholly selected at least half covered.
    void RaiseRows(int first, int end, Buffers &buffers)
    {
        for (int y = first; y < end; ++y) {
            const OPRGBA32i *const mask = MaskRow(y, buffers);
            OPRGBA32i *const pixels = pixels::flatPixel(m_grown, m_margin, m_margin + y);
            for (int x = 0; x < m_copied.width(); ++x)
                pixels[x].a = mask[x].a > 254 ? std::max<unsigned char>(pixels[x].a, 128) : pixels[x].a;
        }
    }

    const RGBA32iImage &m_mask;
    const int m_margin, m_reach;
    RGBA32iImage m_grown;
    const std::vector<float> m_taps;
    decltype(SumAlphaTapsAVX2) *const m_kernel;
    const QSize m_copied; ///< of the part of the mask that there is room for; empty where there is none
    std::vector<Buffers> m_buffers; ///< one for each thread
};

} // namespace

void FeatherAlphaMask(RGBA32iImage &image, QRect &rect, float radius)
{
    RGBA32iImage feathered = Feather(image, rect, radius).Feathered();
    const int margin = marginOf(radius);
    image = feathered;
    rect.adjust(-margin, -margin, margin, margin);
}
