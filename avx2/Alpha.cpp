#include "AlphaVectors.h"
#include "Kernel.h"
#include "color/Blocks.h"

// Premultiplication of a block and its inverse. Both leave an opaque block, which is what most of a photo is made of,
// without writing it.

namespace {

constexpr int vectorCount = blocks::length / 8;
static_assert(blocks::length % 8 == 0, "a block is whole vectors of eight pixels");

template <class Convert>
void convertBlock(unsigned char *pixels, const Convert &convert)
{
    __m256i all = vectors::load(pixels);
    for (int i = 1; i < vectorCount; ++i)
        all = _mm256_and_si256(all, vectors::load(pixels + 32 * i));
    if (vectors::areOpaque(all))
        return;
    for (int i = 0; i < vectorCount; ++i)
        vectors::store(pixels + 32 * i, convert(vectors::load(pixels + 32 * i)));
}

} // namespace

/// c = (c * a + 127) / 255 for the colours of a block.
KXCORE_KERNEL void PremultiplyAlphaAVX2(unsigned char *pixels, bool) { convertBlock(pixels, vectors::premultiplied); }

/// c = (c * 255 + (a >> 1)) / a for the colours of a block, modulo 256; where a is 0 the whole pixel becomes 0.
KXCORE_KERNEL void ReturnAlphaAVX2(unsigned char *pixels, bool) { convertBlock(pixels, vectors::unpremultiplied); }
