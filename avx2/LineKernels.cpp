#include "AlphaGaussian.h"
#include "Kernel.h"
#include "Scratch.h"
#include "Sharpening.h"
#include "Vectors.h"
#include "lines/ConvolutionKernels.h"

#include "KXKernels.h"

#include <algorithm>
#include <vector>

// The one-dimensional kernels, each over one whole line.

namespace {

using Line = std::vector<OPRGBA32i>;

/// The alphas of a line, with @c padding zeros on both sides and room for @c slack numbers behind.
class PaddedAlpha {
public:
    PaddedAlpha(const Line &source, int padding, int slack)
        : m_padding(size_t(padding))
        , m_alpha(source.size() + 2 * m_padding + size_t(slack))
    {
        unsigned char *p = m_alpha.Data();
        if (!p)
            return;
        p = std::fill_n(p, m_padding, static_cast<unsigned char>(0));
        for (const OPRGBA32i &pixel : source)
            *p++ = pixel.a;
        std::fill_n(p, m_padding, static_cast<unsigned char>(0));
    }

    /// That of the line's first pixel; null where there is no memory.
    unsigned char *First() { return m_alpha.Data() ? m_alpha.Data() + m_padding : nullptr; }

private:
    size_t m_padding;
    Scratch<unsigned char, 32768> m_alpha;
};

template <class Kernel>
void runPlain(Kernel &kernel, int length)
{
    for (int i = 0; i < length; ++i)
        kernel(i);
}

void sharpen(OPSimpleSharpenKernel1D &kernel, int length)
{
    if (!lines::sharpening::fits(kernel.Amount()))
        return runPlain(kernel, length);
    const int offset = kernel.SourceOffset();
    const OPRGBA32i *const source = kernel.Source()->data() + offset;
    OPRGBA32i *const out = kernel.Destination()->data();
    const Sharpening sharpening(kernel.Amount());
    const auto words = [&](__m256i l, __m256i c, __m256i r) {
        return sharpening.Words(c, _mm256_sub_epi16(_mm256_add_epi16(c, c), _mm256_add_epi16(l, r)));
    };
    const __m256i zero = _mm256_setzero_si256();
    // Pixels whose neighbours all lie in the line; the others are left to the kernel itself.
    const int first = std::clamp(1 - offset, 0, length), last = std::min(length, kernel.LastIndex() - offset);
    int i = 0;
    for (; i < first; ++i)
        kernel(i);
    for (; i + 8 <= last; i += 8) {
        const __m256i l = vectors::load(source + i - 1), c = vectors::load(source + i),
                      r = vectors::load(source + i + 1);
        const __m256i low =
            words(_mm256_unpacklo_epi8(l, zero), _mm256_unpacklo_epi8(c, zero), _mm256_unpacklo_epi8(r, zero));
        const __m256i high =
            words(_mm256_unpackhi_epi8(l, zero), _mm256_unpackhi_epi8(c, zero), _mm256_unpackhi_epi8(r, zero));
        vectors::store(out + i, _mm256_packus_epi16(low, high));
    }
    for (; i < length; ++i)
        kernel(i);
}

/// Alpha becomes the lowest (@p shrink) or the highest of all within reach.
///
/// Outside of the line stands 0, as the kernel has it: when shrinking it is the lowest alpha there is, when growing it
/// changes nothing. A reach that goes further than one pixel past the far end of the line meets nothing more there.
template <bool shrink>
void shiftEdge(OPShiftEdge1D &kernel, int length)
{
    constexpr int pixels = 32;
    const auto extreme = [](const unsigned char *a, const unsigned char *b) {
        const __m256i x = vectors::load(a), y = vectors::load(b);
        return shrink ? _mm256_min_epu8(x, y) : _mm256_max_epu8(x, y);
    };
    const int reach = std::min(kernel.Left(), kernel.LastIndex() + 1), window = 2 * reach + 1;
    PaddedAlpha padded(*kernel.Source(), reach, 2 * pixels);
    if (!padded.First())
        return runPlain(kernel, length);
    unsigned char *const alpha = padded.First() + kernel.SourceOffset() - reach;
    // alpha[i] comes to stand for the windows [i, i + width) of doubling width; two of them cover the whole window.
    int width = 1;
    for (; 2 * width <= window; width *= 2)
        for (int i = 0; i < length + window - width; i += pixels)
            vectors::store(alpha + i, extreme(alpha + i, alpha + i + width));

    const OPRGBA32i *const source = kernel.Source()->data() + kernel.SourceOffset();
    OPRGBA32i *const out = kernel.Destination()->data();
    for (int i = 0; i < length; i += pixels) {
        alignas(32) unsigned char result[pixels];
        vectors::store(result, extreme(alpha + i, alpha + i + window - width));
        for (int k = 0; k < std::min(pixels, length - i); ++k) {
            OPRGBA32i pixel = source[i + k];
            pixel.a = result[k];
            out[i + k] = pixel;
        }
    }
}

} // namespace

/// Computes the whole destination of a kernel whose source, destination and offset have been set.
KXCORE_KERNEL void LineHandlerConvolutionAVX2(OPKernelBase *kernel)
{
    auto *const line = dynamic_cast<OPLineKernelBase *>(kernel);
    if (!line || !line->Source() || !line->Destination())
        return;
    const int length = int(line->Destination()->size());
    if (length == 0)
        return;
    // Every pixel of the destination has one in the source, so that only neighbours need to be repeated at the ends.
    const bool inside =
        line->SourceOffset() >= 0 && qint64(line->SourceOffset()) + length <= qint64(line->Source()->size());

    if (auto *const blur = dynamic_cast<OPGaussianAlpha1D *>(line))
        inside ? blurAlphaOfLine(*blur, length) : runPlain(*blur, length);
    else if (auto *const shift = dynamic_cast<OPShiftEdge1D *>(line))
        !inside || shift->Shift() == 0 ? runPlain(*shift, length)
            : shift->Shift() < 0       ? shiftEdge<true>(*shift, length)
                                       : shiftEdge<false>(*shift, length);
    else if (auto *const sharper = dynamic_cast<OPSimpleSharpenKernel1D *>(line))
        inside ? sharpen(*sharper, length) : runPlain(*sharper, length);
}
