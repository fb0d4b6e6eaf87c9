#include "Kernel.h"
#include "TableLookUp.h"

#include "OPExposureTransformation.h"
#include "OPLevelsTransformation.h"

// Adjustments of each channel by itself.

namespace {

/// Every bit that is set in @p bits is turned in each pixel of a block.
void turn(unsigned char *pixels, unsigned bits)
{
    const __m256i turned = _mm256_set1_epi32(int(bits));
    for (int i = 0; i < blocks::length; i += 8)
        vectors::store(pixels + 4 * i, _mm256_xor_si256(vectors::load(pixels + 4 * i), turned));
}

} // namespace

KXCORE_KERNEL void ExposureTransformationAVX2(const OPExposureTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void LevelsTransformationAVX2(const OPLevelsTransformation &self, unsigned char *pixels, bool)
{
    vectors::lookUp(self.Tables(), pixels);
}

KXCORE_KERNEL void InvertTransformationAVX2(unsigned char *pixels, bool) { turn(pixels, 0x00FFFFFF); }

KXCORE_KERNEL void InvertColorOPRGBA32iAVX2(unsigned char *pixels, bool) { turn(pixels, 0x00FFFFFF); }

KXCORE_KERNEL void InvertColorAlphaOPRGBA32iAVX2(unsigned char *pixels, bool) { turn(pixels, 0xFF000000); }
