#include "Kernel.h"
#include "Luminance.h"
#include "Vectors.h"

#include "OPGlowThresholds.h"

// The hard masks of a glow.

namespace {

__m256i opaque() { return _mm256_set1_epi32(int(0xFF000000)); }

} // namespace

KXCORE_KERNEL void AlphaThresholdAVX2(const OPAlphaThreshold &self, unsigned char *pixels, bool)
{
    const __m256i below = _mm256_set1_epi32(std::clamp(self.GetThreshold(), 0, 256) - 1);
    vectors::forEachEight(pixels, [below](__m256i words) {
        const __m256i isCovered = _mm256_cmpgt_epi32(_mm256_srli_epi32(words, 24), below);
        return _mm256_blendv_epi8(words, isCovered, opaque());
    });
}

KXCORE_KERNEL void BrightMaskAVX2(const OPRGBA32i *pixels, unsigned char *mask, int count, int threshold)
{
    const vectors::IsDark isDark(threshold);
    int i = 0;
    for (; i + 32 <= count; i += 32) {
        const auto eight = [&](int k) {
            return _mm256_andnot_si256(isDark(vectors::load(pixels + i + 8 * k)), _mm256_set1_epi32(255));
        };
        vectors::store(mask + i, vectors::packed(eight(0), eight(1), eight(2), eight(3)));
    }
    for (; i < count; ++i)
        mask[i] = OPThresholdRGB32::Luminance(pixels[i]) < threshold ? 0 : 255;
}

KXCORE_KERNEL void ColorizeThresholdAVX2(const OPColorizeThreshold &self, unsigned char *pixels, bool)
{
    const __m256i color = _mm256_andnot_si256(opaque(), _mm256_set1_epi32(int(self.GetColor().word)));
    vectors::forEachEight(pixels, [color, isDark = vectors::IsDark(self.GetThreshold())](__m256i words) {
        return _mm256_or_si256(color, _mm256_andnot_si256(isDark(words), opaque()));
    });
}
