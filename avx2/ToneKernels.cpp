#include "Kernel.h"
#include "Luminance.h"
#include "TableLookUp.h"
#include "Vectors.h"

#include "OPBlackAndWhiteTransformation.h"
#include "OPBrightnessContrastTransformation.h"
#include "OPColorBalanceTransformation.h"
#include "OPColorEnhancerTransformation.h"
#include "OPCurvesTransformation.h"
#include "OPExposureTransformation.h"
#include "OPGammaCorrectionTransformation.h"
#include "OPLevelsTransformation.h"
#include "OPPhotoFilterTransformation.h"
#include "OPPosterizeTransformation.h"
#include "OPThresholdRGB32.h"

#include <algorithm>

// Adjustments of each channel by itself.

namespace {

constexpr unsigned colours = 0x00FFFFFF, alpha = 0xFF000000;

__m256i inAllPixels(unsigned word) { return _mm256_set1_epi32(int(word)); }

/// As vectors::forEachEight, but alpha stays.
template <class Change>
void forEachEightColours(unsigned char *pixels, Change change)
{
    const __m256i mask = inAllPixels(colours);
    vectors::forEachEight(pixels, [&](__m256i words) { return _mm256_blendv_epi8(words, change(words), mask); });
}

/// A shuffle that gives all bytes of a pixel its lowest one.
__m256i spreadLowByte()
{
    return _mm256_setr_epi8(
        0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12, 0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12);
}

/// Inverts every bit that is set in @p bits.
void invert(unsigned char *pixels, unsigned bits)
{
    vectors::forEachEight(
        pixels, [turned = inAllPixels(bits)](__m256i words) { return _mm256_xor_si256(words, turned); });
}

} // namespace

KXCORE_KERNEL void BlackAndWhiteTransformationAVX2(
    const OPBlackAndWhiteTransformation &self, unsigned char *pixels, bool)
{
    if (const auto &factors = self.ShareFactors()) {
        // In 16-bit halves of a pixel lie blue and red, or green and alpha, of which there is no share. To cut a share
        // at 255 by itself would not change the sum, which is cut there.
        const auto halves = [](int low, int high) {
            return inAllPixels(unsigned(low & 0xFFFF) | unsigned(high) << 16);
        };
        const __m256i blueRed = halves(factors->b, factors->r), green = halves(factors->g, 0);
        const __m256i wholeBlueRed = halves(factors->b >> 16, factors->r >> 16),
                      wholeGreen = halves(factors->g >> 16, 0);
        const bool hasWholes = (factors->b | factors->g | factors->r) >> 16;
        const auto shares = [=](__m256i bytes, __m256i fraction, __m256i whole) {
            const __m256i part = _mm256_mulhi_epu16(bytes, fraction);
            return hasWholes ? _mm256_add_epi16(part, _mm256_mullo_epi16(bytes, whole)) : part;
        };
        forEachEightColours(pixels, [&](__m256i words) {
            const __m256i evenBytes = _mm256_and_si256(words, inAllPixels(0x00FF00FF));
            const __m256i oddBytes = _mm256_srli_epi16(words, 8);
            const __m256i pairs =
                _mm256_add_epi16(shares(evenBytes, blueRed, wholeBlueRed), shares(oddBytes, green, wholeGreen));
            const __m256i sums = _mm256_madd_epi16(pairs, _mm256_set1_epi16(1));
            return _mm256_shuffle_epi8(_mm256_min_epi16(sums, inAllPixels(255)), spreadLowByte());
        });
        return;
    }
    vectors::lookUp(self.Shares(), pixels, vectors::Result::Sums);
}

KXCORE_KERNEL void BrightnessContrastTransformationAVX2(
    const OPBrightnessContrastTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void ColorBalanceTransformationAVX2(const OPColorBalanceTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

/// The tables of the object contain the fade; the levels alone do not.
KXCORE_KERNEL void ColorEnhancerTransformationAVX2(
    const OPColorEnhancerTransformation &self, const OPLevelsTransformation &, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void CurvesTransformationAVX2(const OPCurvesTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void ExposureTransformationAVX2(const OPExposureTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void GammaCorrectionTransformationAVX2(
    const OPGammaCorrectionTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void LevelsTransformationAVX2(const OPLevelsTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

/// As for the enhancer.
KXCORE_KERNEL void PhotoFilterTransformationAVX2(
    const OPPhotoFilterTransformation &self, const OPLevelsTransformation &, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void PosterizeTransformationAVX2(const OPPosterizeTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void TintAVX2(const OPLevelsTransformation &levels, unsigned char *pixels, bool)
{
    vectors::lookUp(levels.Tables(), pixels);
}

KXCORE_KERNEL void InvertTransformationAVX2(unsigned char *pixels, bool) { invert(pixels, colours); }

KXCORE_KERNEL void InvertColorOPRGBA32iAVX2(unsigned char *pixels, bool) { invert(pixels, colours); }

KXCORE_KERNEL void InvertColorAlphaOPRGBA32iAVX2(unsigned char *pixels, bool) { invert(pixels, alpha); }

KXCORE_KERNEL void ColorizeOPRGBA32iAVX2(const OPRGBA32i &color, unsigned char *pixels, bool)
{
    forEachEightColours(pixels, [all = inAllPixels(color)](__m256i) { return all; });
}

KXCORE_KERNEL void DesaturateTransformationAVX2(unsigned char *pixels, bool)
{
    const __m256i lowest = inAllPixels(255);
    forEachEightColours(pixels, [&](__m256i words) {
        const vectors::Extremes channel(words);
        const __m256i sum =
            _mm256_add_epi32(_mm256_and_si256(channel.most, lowest), _mm256_and_si256(channel.least, lowest));
        return _mm256_shuffle_epi8(_mm256_srli_epi32(sum, 1), spreadLowByte());
    });
}

KXCORE_KERNEL void ThresholdAVX2(const OPThresholdRGB32 &self, unsigned char *pixels, bool)
{
    forEachEightColours(pixels, [isDark = vectors::IsDark(self.GetLevel())](__m256i words) {
        return _mm256_xor_si256(isDark(words), _mm256_set1_epi32(-1));
    });
}
