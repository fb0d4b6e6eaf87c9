#include "Double4.h"
#include "Kernel.h"

#include "KXVignette.h"
#include "color/Blocks.h"
#include "filters/VignetteFormulas.h"

// Tints that grow with the distance from an ellipse. Four pixels at a time; those for which it is plain that they lie
// inside are not looked at.

namespace vignette {
namespace {

using vectors::Double4;

/// Half the length of the stretch of a row, around the centre, in which no rounding makes a distance greater than 0;
/// below 0 where there is none. @p dy is how far the row lies from the centre.
///
/// There (x / a)^2 + (y / b)^2 is at most 1 - margin, so that the distance to the centre is smaller than that of the
/// ellipse by a half of the margin's share. Of the latter's square the rounding changes a share of at most 13 * 2^-53
/// times 1 + bb / aa, as 1 - q / aa is off by some 2^-53 however small it is: the margin is 600 times as much.
double insideReach(double a, double b, double dy)
{
    const auto isUsual = [](double axis) { return axis >= 0.5 && axis <= 1 << 30; };
    if (!isUsual(a) || !isUsual(b))
        return -1;
    const double margin = 1e-12 * (1 + b / a * (b / a)), rest = 1 - dy / b * (dy / b) - margin;
    return rest > 0 ? a * std::sqrt(rest) : -1;
}

/// A mask of four doubles as one of four integers.
__m128i narrow(Double4 mask)
{
    const __m128 low = _mm_castpd_ps(_mm256_castpd256_pd128(mask.v));
    const __m128 high = _mm_castpd_ps(_mm256_extractf128_pd(mask.v, 1));
    return _mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)));
}

/// Four pixels of which each keeps its share.
__m128i tinted(__m128i words, OPRGBA32i color, Double4 kept)
{
    const __m128i byte = _mm_set1_epi32(255);
    const auto channel = [&](int shift) {
        const Double4 old = _mm256_cvtepi32_pd(_mm_and_si128(_mm_srli_epi32(words, shift), byte));
        const Double4 made = mixed(Double4(double(color.word >> shift & 255)), old, kept);
        return _mm_slli_epi32(_mm_and_si128(_mm256_cvttpd_epi32(made.v), byte), shift);
    };
    const __m128i alpha = _mm_andnot_si128(_mm_set1_epi32(0x00FFFFFF), words);
    return _mm_or_si128(_mm_or_si128(alpha, channel(0)), _mm_or_si128(channel(8), channel(16)));
}

template <class Shape>
void tintBlock(const KXVignette &self, int x, int y, unsigned char *pixels)
{
    const double a = self.GetCentreX(), b = self.GetCentreY(), first = x - a, dy = y - b;
    const double inside = insideReach(a, b, dy);
    const Squares squares(a, b);
    const Double4 none(0.0), beyondB(magnitude(dy) - b), steps(_mm256_setr_pd(0, 1, 2, 3));
    for (int i = 0; i < blocks::length; i += 4) {
        if (larger(-(first + i), first + (i + 3)) <= inside)
            continue;
        const Double4 column = Double4(double(x)) + Double4(double(i)) + steps, dx = column - Double4(a);
        const Double4 beside = dy == 0 ? magnitude(dx) - Double4(a) : beyond(squares, dx * dx, Double4(dy * dy));
        const Double4 distance = select(dx == none, beyondB, beside), isBeyond = distance > none;
        if (_mm256_movemask_pd(isBeyond.v) == 0)
            continue;
        auto *const at = reinterpret_cast<__m128i *>(pixels + 4 * i);
        const __m128i words = _mm_loadu_si128(at);
        const __m128i made = tinted(words, self.GetColor(), Shape::kept(distance, Double4(self.GetSlope())));
        _mm_storeu_si128(at, _mm_blendv_epi8(words, made, narrow(isBeyond)));
    }
}

} // namespace
} // namespace vignette

KXCORE_KERNEL void LinearAVX2(const KXLinearVignette &self, int x, int y, unsigned char *pixels, bool)
{
    vignette::tintBlock<vignette::Linear>(self, x, y, pixels);
}

KXCORE_KERNEL void ParabolicAVX2(const KXParabolicVignette &self, int x, int y, unsigned char *pixels, bool)
{
    vignette::tintBlock<vignette::Parabolic>(self, x, y, pixels);
}
