#include "OPImageConvolution.h"

#include "pixels/BorrowedImage.h"
#include "support/Arithmetic.h"
#include "support/Kernels.h"

#include <QtGui/QImage>

#include <algorithm>
#include <new>
#include <vector>

namespace {

kernels::Slot rowKernel { KX_SYMBOL(ConvolveCellsAVX2) };

/// What stands for samples outside the image.
enum class Outside { Edge, Nothing };

/// The kernel as an object has it.
struct Cells {
    const double *values;
    qptrdiff width, height;

    Cells(const double *kernel, const QSize &size)
        : values(kernel)
        , width(size.width())
        , height(size.height())
    {
    }
    bool AreNone() const { return !values || width < 1 || height < 1; }
};

struct Range {
    qptrdiff first, end;
};

/// The cells of @p count, along one side of the kernel, whose samples lie within @p limit: the first one's is @p start,
/// and each further one's lies one before.
Range cellsWithin(qptrdiff limit, qptrdiff count, qptrdiff start)
{
    return { std::max(start - (limit - 1), qptrdiff(0)), std::min(start + 1, count) };
}

/// The samples, of which some may just have been written.
struct Samples {
    const OPRGBA32i *pixels;
    qptrdiff stride, width, height;

    Range CellRows(const Cells &cells, qptrdiff y) const
    {
        return cellsWithin(height, cells.height, y + cells.height / 2);
    }

    /// Calls @p add(sample, cell) for the cells around (@p x, @p y), in their order.
    template <Outside outside, class Add>
    void ForEach(const Cells &cells, qptrdiff x, qptrdiff y, Add &&add) const
    {
        constexpr bool isCut = outside == Outside::Nothing;
        const qptrdiff left = x + cells.width / 2, top = y + cells.height / 2; // under the first cell
        const Range columns = isCut ? cellsWithin(width, cells.width, left) : Range { 0, cells.width };
        const Range rows = isCut ? CellRows(cells, y) : Range { 0, cells.height };
        for (qptrdiff ky = rows.first; ky < rows.end; ++ky) {
            const OPRGBA32i *const row = pixels + std::clamp(top - ky, qptrdiff(0), height - 1) * stride;
            const double *const cell = cells.values + ky * cells.width;
            for (qptrdiff kx = columns.first; kx < columns.end; ++kx)
                add(row[isCut ? left - kx : std::clamp(left - kx, qptrdiff(0), width - 1)], cell[kx]);
        }
    }
};

/// Sums of all channels, truncated.
struct ChannelSums {
    int b, g, r, a;

    OPRGBA32i Pixel() const
    {
        const auto byte = [](int sum) { return static_cast<unsigned char>(arithmetic::clamp8(sum)); };
        return OPRGBA32i(byte(b), byte(g), byte(r), byte(a));
    }
};

template <Outside outside>
ChannelSums sumChannels(const Samples &samples, const Cells &cells, qptrdiff x, qptrdiff y)
{
    double b = 0, g = 0, r = 0, a = 0;
    samples.ForEach<outside>(cells, x, y, [&](OPRGBA32i sample, double cell) {
        a += sample.a * cell;
        r += sample.r * cell;
        g += sample.g * cell;
        b += sample.b * cell;
    });
    return { arithmetic::truncate(b), arithmetic::truncate(g), arithmetic::truncate(r), arithmetic::truncate(a) };
}

OPRGBA32i sumAlpha(const Samples &samples, const Cells &cells, qptrdiff x, qptrdiff y)
{
    float sum = 0;
    samples.ForEach<Outside::Nothing>(
        cells, x, y, [&](OPRGBA32i sample, double cell) { sum = float(sample.a * cell + double(sum)); });
    if (!(sum > 0.0f))
        return OPRGBA32i();
    return OPRGBA32i(sum >= 255.0f ? 0xFF000000u : unsigned(int(sum)) << 24);
}

/// Gives each pixel of a flat image the value @p pixelOf(samples, x, y), where earlier results are samples.
template <class PixelOf>
void convolveInPlace(RGBA32iImage &image, const Cells &cells, const PixelOf &pixelOf)
{
    if (cells.AreNone() || image.Rect().isEmpty())
        return;
    if (image.IsTiled())
        image.SetColor(0, 0, OPRGBA32i()); // throws
    OPRGBA32i *const pixels = image.Bits();
    const Samples samples { pixels, image.Width(), image.Width(), image.Height() };
    for (int y = 0; y < image.Height(); ++y)
        for (int x = 0; x < image.Width(); ++x)
            pixels[y * samples.stride + x] = pixelOf(samples, x, y);
}

QImage asArgb32(const QImage &image)
{
    QImage converted = image.convertToFormat(QImage::Format_ARGB32, Qt::NoOpaqueDetection);
    if (converted.isNull())
        throw std::bad_alloc();
    return converted;
}

/// Gives each row of @p image the pixels that @p fillRow(samples, y, pixels) writes, from samples of @p source.
template <class FillRow>
void convolve(const QImage &source, QImage &image, FillRow fillRow)
{
    const auto from = pixels::borrow(source);
    const Samples samples { from.first, from.Stride(), source.width(), source.height() };
    const auto to = pixels::borrowForWriting(image); // not left to setPixel, which cannot say that there is no memory
    if (image.format() == QImage::Format_ARGB32) {
        for (int y = 0; y < image.height(); ++y)
            fillRow(samples, y, to.Row(y));
        return;
    }
    std::vector<OPRGBA32i> row(size_t(image.width()));
    for (int y = 0; y < image.height(); ++y) {
        fillRow(samples, y, row.data());
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, row[size_t(x)].word);
    }
}

/// Rows of the channels' sums, with the module's kernel for those pixels that have a sample under every cell of a row.
class ChannelRows {
public:
    explicit ChannelRows(const Cells &cells)
        : m_cells(cells)
        , m_kernel(rowKernel.Bind())
    {
    }

    void operator()(const Samples &samples, int y, OPRGBA32i *pixels)
    {
        const auto fill = [&](qptrdiff first, qptrdiff end) {
            for (qptrdiff x = first; x < end; ++x)
                pixels[x] = sumChannels<Outside::Nothing>(samples, m_cells, x, y).Pixel();
        };
        const qptrdiff first = m_cells.width - 1 - m_cells.width / 2, end = samples.width - m_cells.width / 2;
        if (!m_kernel || end <= first)
            return fill(0, samples.width);
        fill(0, first);
        const Range rows = samples.CellRows(m_cells, y);
        m_under.clear();
        for (qptrdiff ky = rows.first; ky < rows.end; ++ky)
            m_under.push_back(Expanded(samples, y + m_cells.height / 2 - ky));
        m_kernel(m_under.data(), int(m_under.size()), m_cells.values + rows.first * m_cells.width, int(m_cells.width),
            pixels + first, int(end - first));
        fill(end, samples.width);
    }

private:
    /// The channels of row @p y as doubles. Rows under the kernel are neighbours, and are all held at once.
    const double *Expanded(const Samples &samples, qptrdiff y)
    {
        const size_t channels = size_t(samples.width) * 4;
        if (m_held.empty()) {
            m_held.assign(size_t(std::min(m_cells.height, samples.height)), -1);
            m_expanded.resize(m_held.size() * channels);
        }
        const size_t place = size_t(y) % m_held.size();
        double *const to = m_expanded.data() + place * channels;
        if (m_held[place] != y) {
            const auto *const bytes = reinterpret_cast<const unsigned char *>(samples.pixels + y * samples.stride);
            std::copy_n(bytes, channels, to);
            m_held[place] = y;
        }
        return to;
    }

    const Cells &m_cells;
    decltype(rowKernel.Bound()) m_kernel;
    std::vector<double> m_expanded;
    std::vector<qptrdiff> m_held; ///< which rows these are
    std::vector<const double *> m_under;
};

} // namespace

OPImageConvolution::OPImageConvolution(const double *kernel, const QSize &size)
    : m_kernel(kernel)
    , m_size(size)
{
}

void OPImageConvolution::operator()(RGBA32iImage &image) const
{
    const Cells cells(m_kernel, m_size);
    convolveInPlace(image, cells, [&cells](const Samples &samples, int x, int y) {
        const ChannelSums sums = sumChannels<Outside::Edge>(samples, cells, x, y);
        return sums.a > 0 ? sums.Pixel() : OPRGBA32i();
    });
}

void OPImageConvolution::operator()(QImage &image) const
{
    const Cells cells(m_kernel, m_size);
    if (cells.AreNone() || image.isNull())
        return;
    convolve(asArgb32(image), image, ChannelRows(cells));
}

OPImageConvoluteAlpha::OPImageConvoluteAlpha(const double *kernel, const QSize &size)
    : m_kernel(kernel)
    , m_size(size)
{
}

void OPImageConvoluteAlpha::operator()(RGBA32iImage &image) const
{
    const Cells cells(m_kernel, m_size);
    convolveInPlace(
        image, cells, [&cells](const Samples &samples, int x, int y) { return sumAlpha(samples, cells, x, y); });
}

void OPImageConvoluteAlpha::operator()(QImage &image) const
{
    const Cells cells(m_kernel, m_size);
    if (cells.AreNone() || image.isNull())
        return;
    if (image.format() != QImage::Format_ARGB32)
        image = asArgb32(image);
    const QImage source = image;
    convolve(source, image, [&cells](const Samples &samples, int y, OPRGBA32i *pixels) {
        for (int x = 0; x < samples.width; ++x)
            pixels[x] = sumAlpha(samples, cells, x, y);
    });
}
