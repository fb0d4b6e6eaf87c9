#include "Avx2Rows.h"
#include "Kernel.h"
#include "Vectors.h"

#include "OPNoise.h"
#include "color/Blocks.h"
#include "filters/MersenneTwister.h"

#include <algorithm>

// Random words, the pixels that are made of them, and their blend over a layer.

namespace {

/// The successors of words @p first to @p end - 1, eight at a time as long as none of them goes into another one of the
/// eight. @p other is where the word at the distance lies.
void succeed(quint32 *state, int first, int end, int other)
{
    const __m256i top = _mm256_set1_epi32(int(noise::topBit)), one = _mm256_set1_epi32(1);
    const __m256i matrix = _mm256_set1_epi32(int(noise::matrix));
    int i = first;
    for (; i + 8 <= end; i += 8) {
        const __m256i next = vectors::load(state + i + 1);
        const __m256i joined =
            _mm256_or_si256(_mm256_and_si256(top, vectors::load(state + i)), _mm256_andnot_si256(top, next));
        const __m256i odd = _mm256_cmpeq_epi32(_mm256_and_si256(next, one), one);
        const __m256i far = _mm256_xor_si256(vectors::load(state + i + other), _mm256_srli_epi32(joined, 1));
        vectors::store(state + i, _mm256_xor_si256(far, _mm256_and_si256(odd, matrix)));
    }
    for (; i < end; ++i)
        state[i] = noise::successor(state, i);
}

__m256i tempered(__m256i word)
{
    const __m256i mask7 = _mm256_set1_epi32(int(noise::mask7)), mask15 = _mm256_set1_epi32(int(noise::mask15));
    word = _mm256_xor_si256(word, _mm256_srli_epi32(word, 11));
    word = _mm256_xor_si256(word, _mm256_and_si256(_mm256_slli_epi32(word, 7), mask7));
    word = _mm256_xor_si256(word, _mm256_and_si256(_mm256_slli_epi32(word, 15), mask15));
    return _mm256_xor_si256(word, _mm256_srli_epi32(word, 18));
}

/// A block of pixels of the top bytes of words, four to a pixel: red, green, blue, alpha.
void pack(const quint32 *words, OPRGBA32i *pixels)
{
    const __m256i toPixel = _mm256_setr_epi8(2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15, //
        2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15);
    const __m256i inOrder = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
    static_assert(blocks::length % 8 == 0, "eight pixels at a time");
    for (int i = 0; i < blocks::length; i += 8) {
        const auto two = [&](int k) { return _mm256_srli_epi32(vectors::load(words + 4 * (i + k)), 24); };
        const __m256i low = _mm256_packs_epi32(two(0), two(2)), high = _mm256_packs_epi32(two(4), two(6));
        const __m256i bytes = _mm256_shuffle_epi8(_mm256_packus_epi16(low, high), toPixel); // 0 2 4 6 | 1 3 5 7
        vectors::store(pixels + i, _mm256_permutevar8x32_epi32(bytes, inOrder));
    }
}

} // namespace

/// The next state, and the words that come of it: see noise::refill.
KXCORE_KERNEL void MersenneTwisterAVX2(unsigned *state, unsigned *words)
{
    constexpr int direct = noise::size - noise::distance; // from here on the word at the distance is a successor
    succeed(state, 0, direct, noise::distance);
    succeed(state, direct, noise::size - 1, -direct);
    succeed(state, noise::size - 1, noise::size, -direct);
    for (int i = 0; i < noise::size; i += 8)
        vectors::store(words + i, tempered(vectors::load(state + i)));
}

KXCORE_KERNEL void UniformNoiseAVX2(const OPUniformNoise &self, unsigned char *pixels, bool)
{
    quint32 words[4 * blocks::length]; // the engine may begin new ones in the middle of a pixel
    for (int have = 0, taken; have < 4 * blocks::length; have += taken) {
        const quint32 *const next = self.Engine().Take(4 * blocks::length - have, &taken);
        std::copy_n(next, taken, words + have);
    }
    pack(words, reinterpret_cast<OPRGBA32i *>(pixels));
}

/// Logarithms are not for vectors: the words alone are made in them.
KXCORE_KERNEL void GaussianNoiseAVX2(const OPGaussianNoise &self, unsigned char *pixels, bool)
{
    auto *const target = reinterpret_cast<OPRGBA32i *>(pixels);
    for (int i = 0; i < blocks::length; ++i)
        self.OPGaussianNoise::operator()(target[i]);
}

KXCORE_KERNEL void BlendWithOpacityAVX2(
    const OPRGBA32i *source, OPRGBA32i *destination, int count, unsigned opacity, bool lockAlpha)
{
    compose::Avx2Rows::row<compose::OpacityOver>(
        { source, destination, nullptr, nullptr, nullptr }, count, { opacity, lockAlpha });
}
