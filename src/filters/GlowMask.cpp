#include "GlowMask.h"

#include "lines/ConvolutionKernels.h"
#include "pixels/Tiles.h"
#include "support/Kernels.h"

#include <algorithm>

namespace filters {

namespace {

using lines::mask::width;

kernels::Slot brightKernel { KX_SYMBOL(BrightMaskAVX2) };
kernels::Slot rowKernel { KX_SYMBOL(GaussianMaskRowAVX2) };
kernels::Slot columnsKernel { KX_SYMBOL(GaussianMaskColumnsAVX2) };

/// In cache lines, an odd number of them: rows must not share cache sets.
size_t strideOf(int length) { return (size_t(length) / 64 + 1) | 1; }

} // namespace

bool GlowMask::IsPossible(const RGBA32iImage &layer, const OPGaussianAlpha1D &gaussian)
{
    return !layer.IsTiled() && workers::forWalks() > 0 && lines::mask::fits(gaussian) && brightKernel.Bind()
        && rowKernel.Bind() && columnsKernel.Bind();
}

GlowMask::GlowMask(const RGBA32iImage &layer, const WorkArea &area, const OPGaussianAlpha1D &gaussian, int threshold)
    : m_layer(layer)
    , m_gaussian(gaussian)
    , m_threshold(threshold)
    , m_read(area.read)
    , m_rect(area.written.translated(-area.read.topLeft()))
    , m_stride(strideOf(m_read.width()))
    , m_bytes(new Bytes[m_stride * size_t(m_read.height() + 1)]) // blocks of columns are read in their whole width
{
    const bool isLarge = qint64(m_read.width()) * m_read.height() > 1 << 20;
    const int count = isLarge ? workers::forConvolution(workers::hardware()) : workers::onCaller;
    workers::forEachItem(count, 0, m_read.height() + 1, [&] { // most of the time goes into getting the memory
        return [&](int y) {
            std::fill_n(Row(y), m_stride * sizeof(Bytes), 0);
            if (m_read != area.written && y < m_read.height())
                std::transform(LayerRow(y), LayerRow(y) + m_read.width(), Row(y), [](OPRGBA32i p) { return p.a; });
            return true;
        };
    });
}

const OPRGBA32i *GlowMask::LayerRow(int y) const { return pixels::flatPixel(m_layer, m_read.x(), m_read.y() + y); }

int GlowMask::LineCount() const { return m_rect.isEmpty() ? 0 : 4 * m_rect.height() + 2 * m_rect.width(); }

void GlowMask::Run(const std::atomic<bool> &cancel, const Progress &progress)
{
    if (m_rect.isEmpty()) // which may have rows, or columns
        return;
    Walk(cancel, progress, [this](unsigned char *row, int y) {
        brightKernel(LayerRow(y) + m_rect.x(), row, m_rect.width(), m_threshold);
    });
    Blur(std::clamp(m_threshold, 0, 255), cancel, progress); // nothing else becomes of the means
    Walk(cancel, progress, [this](unsigned char *row, int) {
        const int threshold = std::clamp(m_threshold, 0, 256);
        const auto below = static_cast<unsigned char>(threshold - 1);
        if (threshold == 0)
            std::fill_n(row, m_rect.width(), 255);
        else
            std::transform(
                row, row + m_rect.width(), row, [below](unsigned char alpha) { return alpha > below ? 255 : 0; });
    });
    Blur(lines::mask::everyLevel, cancel, progress);
}

template <class Change>
void GlowMask::Walk(const std::atomic<bool> &cancel, const Progress &progress, Change change)
{
    forEachRow(workers::forWalks(), m_rect.height(), cancel, progress,
        [&] { return [&](int line) { change(Row(m_rect.y() + line) + m_rect.x(), m_rect.y() + line); }; });
}

void GlowMask::Blur(int level, const std::atomic<bool> &cancel, const Progress &progress)
{
    const int reach = m_gaussian.Left(), left = m_rect.x(), length = m_rect.width(), top = m_rect.y();
    // The end bytes of rows repeat.
    const int first = std::max(left - reach, 0), last = std::min(m_rect.right() + reach, m_read.width() - 1);
    forEachRow(m_rect.height(), cancel, progress, [&] {
        using Line = std::vector<unsigned char>;
        return [&, samples = Line(size_t(lines::mask::rowRoom(reach, length))),
                   means = Line(size_t(lines::mask::wholeWidths(length)))](int line) mutable {
            unsigned char *const row = Row(top + line);
            const auto begin = samples.begin() + (first - (left - reach));
            std::fill(samples.begin(), begin, row[first]);
            std::fill(std::copy(row + first, row + last + 1, begin), samples.end(), row[last]);
            rowKernel(m_gaussian, samples.data(), means.data(), length);
            std::copy_n(means.data(), length, row + left);
        };
    });

    const int above = std::min(reach, top), below = std::min(reach, m_read.height() - 1 - m_rect.bottom());
    const int blocks = (length + width - 1) / width;
    workers::forEachItem(workers::forLines(workers::hardware()), 0, blocks, [&] {
        return [&](int block) {
            const int done = block * width, count = std::min(width, length - done);
            for (int column = 0; column < count; ++column) {
                if (cancel)
                    return false;
                if (progress)
                    progress();
            }
            columnsKernel(m_gaussian, Row(top) + left + done, qptrdiff(m_stride * sizeof(Bytes)), count,
                m_rect.height(), above, below, level);
            return true;
        };
    });
}

Picture GlowMask::InColor(OPRGBA32i color) const
{
    Picture picture;
    picture.row = [this, rgb = color.word & 0x00FFFFFFu](int x, int y, int length, std::vector<OPRGBA32i> &buffer) {
        buffer.resize(size_t(length));
        const unsigned char *const alphas = Row(y - m_read.y()) + (x - m_read.x());
        std::transform(alphas, alphas + length, buffer.begin(),
            [rgb](unsigned char alpha) { return OPRGBA32i(rgb | quint32(alpha) << 24); });
        return buffer.data();
    };
    return picture;
}

} // namespace filters
