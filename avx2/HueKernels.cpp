#include "HslLanes.h"
#include "Kernel.h"
#include "TableLookUp.h"
#include "Vectors.h"

#include "OPColorizeTransformation.h"
#include "OPHueSaturationTransformation.h"
#include "OPTemperatureCorrection.h"
#include "color/Tables.h"
#include "support/Arithmetic.h"
#include "support/Prefetch.h"

#include <cstring>

// Adjustments that change a pixel's colour as a whole, by its hue, saturation and lightness.

namespace {

using hsl::Lane8, hsl::Mask8;

Lane8 all(int value) { return Lane8(quint32(value)); }

/// What eight pixels shall become: a colour and the alpha of words.
struct Wanted {
    hsl::Hsl8 color;
    Lane8 words;
};

/// Makes each eight pixels of a block what @p want says for their offset in bytes. To read colours and to make pixels
/// are loops of their own: chains of dependent steps overlap better where they are short.
template <class Want>
void makeBlock(unsigned char *pixels, Want want)
{
    constexpr int count = blocks::length / 8, bytes = 32;
    Wanted wanted[count];
    for (int i = 0; i < count; ++i)
        wanted[i] = want(bytes * i);
    for (int i = 0; i < count; ++i)
        vectors::store(pixels + bytes * i, hsl::pixelsOf(wanted[i].color, wanted[i].words).v);
}

/// The middle between the largest and the smallest channel of each pixel, rounded up.
Lane8 lightness(__m256i words)
{
    const vectors::Extremes channel(words);
    return Lane8(_mm256_avg_epu8(channel.most, channel.least)) & all(255);
}

/// Hue and saturation. @p hue makes of the hues of pixels, and of where these are grey, the sums and their places on
/// the circle, which count where a sum is not below 0. What is refused becomes opaque black.
template <class Hue>
void turn(const OPHueSaturationTransformation &self, unsigned char *pixels, Hue hue)
{
    const Lane8 saturation = all(self.Saturation()), lightness = all(self.Lightness());
    makeBlock(pixels, [=, read = hsl::Reader()](int at) -> Wanted {
        const Lane8 words = vectors::load(pixels + at);
        const hsl::Read color = read(words);
        const auto [sum, place] = hue(color.h, color.isGrey);
        const Mask8 isRefused { _mm256_cmpgt_epi32(all(-1).v, sum.v) };
        const Mask8 hasNoHue { _mm256_srai_epi32(sum.v, 31) }; // below 0
        const Lane8 s = hsl::without(hasNoHue, hsl::cut(color.s + saturation));
        const Lane8 l = hsl::without(isRefused, hsl::cut(color.l + lightness));
        return { { place, s, l }, words | hsl::with(isRefused, Lane8(0xFF000000u)) };
    });
}

} // namespace

/// Sums that wrap are negative and refused, but for one: a grey turned by the smallest integer gets the largest hue. So
/// greys have a place of their own.
KXCORE_KERNEL void HueSaturationTransformationAVX2(
    const OPHueSaturationTransformation &self, unsigned char *pixels, bool)
{
    const int hue = self.Hue();
    const Lane8 added = all(hue), turned = all(hue % 360);
    const Lane8 placeOfGreys = all(arithmetic::wrappingAdd(-1, hue) % 360);
    if (self.IsColorizing())
        turn(self, pixels, [=](Lane8, Mask8) { return std::pair(added, turned); });
    else
        turn(self, pixels, [=](Lane8 h, Mask8 isGrey) {
            return std::pair((h | Lane8(isGrey.v)) + added, select(isGrey, placeOfGreys, hsl::wrapped(h + turned)));
        });
}

KXCORE_KERNEL void TemperatureCorrectionAVX2(const OPTemperatureCorrection &self, unsigned char *pixels, bool)
{
    alignas(memory::lineBytes) unsigned char mixed[4 * blocks::length];
    vectors::lookUp(self.Tables(), pixels, mixed);
    makeBlock(pixels, [&mixed, pixels, read = hsl::Reader()](int at) -> Wanted {
        const Lane8 words = vectors::load(pixels + at);
        const hsl::Read color = read(Lane8(vectors::load(mixed + at)));
        return { { color.h, color.s, lightness(words.v) }, words };
    });
}

namespace {

/// Bytes on their way @p from one value @p to another; a share is of 255 parts.
///
/// A sum of two products of an unsigned and a signed byte fits 16 bits with its sign where the unsigned ones add up to
/// 255; the signed ones are bytes less 128. So 255 * 128 goes back onto the sum n, and 1 for the division: n / 255 is
/// (n + 1) * 257 / 65536, truncated.
__m256i faded(__m256i from, __m256i to, int share)
{
    const __m256i shares = _mm256_set1_epi16(short(share << 8 | (255 - share)));
    const __m256i from7 = _mm256_xor_si256(from, _mm256_set1_epi8(-128));
    const __m256i to7 = _mm256_xor_si256(to, _mm256_set1_epi8(-128));
    const auto quotient = [shares](__m256i pairs) {
        const __m256i sum = _mm256_add_epi16(_mm256_maddubs_epi16(shares, pairs), _mm256_set1_epi16(255 * 128 + 1));
        return _mm256_mulhi_epu16(sum, _mm256_set1_epi16(257));
    };
    return _mm256_packus_epi16(quotient(_mm256_unpacklo_epi8(from7, to7)), quotient(_mm256_unpackhi_epi8(from7, to7)));
}

} // namespace

/// The tones of the object are what its hue and saturation make of greys.
KXCORE_KERNEL void ColorizeTransformationAVX2(
    const OPColorizeTransformation &self, const OPHueSaturationTransformation &, unsigned char *pixels, bool)
{
    const int share = self.Amount();
    if (share < 0 || share > color::wholeByteFade) { // which no dialog offers
        for (unsigned char *const end = pixels + 4 * blocks::length; pixels != end; pixels += 4) {
            OPRGBA32i pixel;
            std::memcpy(&pixel.word, pixels, sizeof pixel.word);
            self(pixel);
            std::memcpy(pixels, &pixel.word, sizeof pixel.word);
        }
        return;
    }
    alignas(memory::lineBytes) unsigned char toned[4 * blocks::length];
    vectors::lookUp(self.Tones(), pixels, toned, vectors::Result::OfGreys);
    for (int i = 0; i < 4 * blocks::length; i += 32) // alpha, which is the same in both, stays
        vectors::store(pixels + i, faded(vectors::load(pixels + i), vectors::load(toned + i), share));
}
