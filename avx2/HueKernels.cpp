#include "HslLanes.h"
#include "Kernel.h"
#include "TableLookUp.h"

#include "OPColorizeTransformation.h"
#include "OPHueSaturationTransformation.h"
#include "OPTemperatureCorrection.h"
#include "support/Arithmetic.h"

#include <cstring>

// Adjustments that change a pixel's colour as a whole, by its hue, saturation and lightness.

namespace {

using hsl::Lane8, hsl::Mask8;

Lane8 all(int value) { return Lane8(quint32(value)); }

/// The place on the circle of hues of a sum that is not below 0.
int onCircle(int degrees) { return (degrees % 360 + 360) % 360; }

/// Hue and saturation. @p hue makes of the hues of pixels, -1 for grey, their sums and the places of these.
template <class Hue>
void turn(const OPHueSaturationTransformation &self, unsigned char *pixels, Hue hue)
{
    const Lane8 saturation = all(self.GetSaturation()), lightness = all(self.GetLightness());
    const Lane8 refused(0xFF000000u);
    vectors::forEachEight(pixels, [=, read = hsl::Reader()](__m256i words) {
        const hsl::Hsl8 color = read(words);
        const auto [sum, place] = hue(color.h);
        const Lane8 s = hsl::without(sum == all(-1), hsl::cut(color.s + saturation));
        const Lane8 turned = hsl::pixelsOf({ place, s, hsl::cut(color.l + lightness) }, words);
        return select(Mask8 { _mm256_cmpgt_epi32(all(-1).v, sum.v) }, refused, turned).v;
    });
}

} // namespace

/// Sums that wrap are negative and refused, but for one: a grey turned by the smallest integer gets the largest hue. So
/// greys have a place of their own.
KXCORE_KERNEL void HueSaturationTransformationAVX2(
    const OPHueSaturationTransformation &self, unsigned char *pixels, bool)
{
    const int hue = self.GetHue();
    const Lane8 added = all(hue), turn = all(onCircle(hue));
    const Lane8 placeOfGreys = all(onCircle(arithmetic::wrappingAdd(-1, hue)));
    if (self.IsColorizing())
        ::turn(self, pixels, [=](Lane8) { return std::pair(added, turn); });
    else
        ::turn(self, pixels,
            [=](Lane8 h) { return std::pair(h + added, select(h == all(-1), placeOfGreys, hsl::wrapped(h + turn))); });
}

KXCORE_KERNEL void TemperatureCorrectionAVX2(const OPTemperatureCorrection &self, unsigned char *pixels, bool)
{
    unsigned char mixed[4 * blocks::length];
    std::memcpy(mixed, pixels, sizeof mixed);
    vectors::lookUp(self.Tables(), mixed);
    const unsigned char *next = mixed;
    vectors::forEachEight(pixels, [&next, read = hsl::Reader()](__m256i words) {
        const hsl::Channels before { Lane8(words) };
        const hsl::Hsl8 color = read(vectors::load(next));
        next += sizeof words;
        const Lane8 h = hsl::without(color.h == all(-1), color.h); // a grey has no saturation
        return hsl::pixelsOf({ h, color.s, (before.most() + before.least() + all(1)) >> 1 }, words).v;
    });
}

namespace {

/// Eight pixels without their colour, as color::desaturated.
__m256i desaturated(__m256i words)
{
    const hsl::Channels channels { Lane8(words) };
    const Lane8 grey = (channels.most() + channels.least()) >> 1, greys = grey | (grey << 8) | (grey << 16);
    return (greys | (Lane8(words) & Lane8(0xFF000000u))).v;
}

/// Bytes on their way @p from one value @p to another; a share is of 255 parts.
__m256i faded(__m256i from, __m256i to, int share)
{
    const __m256i zero = _mm256_setzero_si256();
    const auto half = [=](__m256i from16, __m256i to16) {
        const __m256i rest = _mm256_mullo_epi16(from16, _mm256_set1_epi16(short(255 - share)));
        return vectors::div255(_mm256_add_epi16(rest, _mm256_mullo_epi16(to16, _mm256_set1_epi16(short(share)))));
    };
    return _mm256_packus_epi16(half(_mm256_unpacklo_epi8(from, zero), _mm256_unpacklo_epi8(to, zero)),
        half(_mm256_unpackhi_epi8(from, zero), _mm256_unpackhi_epi8(to, zero)));
}

} // namespace

/// The tones of the object are what its hue and saturation make of greys.
KXCORE_KERNEL void ColorizeTransformationAVX2(
    const OPColorizeTransformation &self, const OPHueSaturationTransformation &, unsigned char *pixels, bool)
{
    const int share = self.GetAmount();
    if (share < 0 || share > OPColorizeTransformation::whole) { // which no dialog offers
        for (unsigned char *const end = pixels + 4 * blocks::length; pixels != end; pixels += 4) {
            OPRGBA32i pixel;
            std::memcpy(&pixel.word, pixels, sizeof pixel.word);
            self(pixel);
            std::memcpy(pixels, &pixel.word, sizeof pixel.word);
        }
        return;
    }
    unsigned char tones[4 * blocks::length];
    std::memcpy(tones, pixels, sizeof tones);
    vectors::forEachEight(tones, desaturated);
    vectors::lookUp(self.Tones(), tones);
    const unsigned char *next = tones;
    vectors::forEachEight(pixels, [&next, share](__m256i words) { // alpha is on its way to itself
        const __m256i tone = vectors::load(next);
        next += sizeof words;
        return faded(words, tone, share);
    });
}
