#pragma once

#include "KXTableTransformation.h"
#include "Vectors.h"
#include "color/Blocks.h"

/// A block of pixels through three tables of 256 bytes.
namespace vectors {

/// Blue, green, red and alpha of 32 pixels, each in a vector of its own. The order of the pixels is that of
/// deinterleaved(), which interleaved() undoes.
struct Planes {
    __m256i b, g, r, a;
};

/// In each half of a vector: the first bytes of its four double words, then the second ones and so on. Is its own
/// inverse.
inline __m256i transposedBytes(__m256i v)
{
    const __m256i order = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, //
        0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm256_shuffle_epi8(v, order);
}

/// Transposes 4 x 4 double words in each half. Is its own inverse.
inline Planes transposedWords(const Planes &v)
{
    const __m256i bgLow = _mm256_unpacklo_epi32(v.b, v.g), bgHigh = _mm256_unpackhi_epi32(v.b, v.g);
    const __m256i raLow = _mm256_unpacklo_epi32(v.r, v.a), raHigh = _mm256_unpackhi_epi32(v.r, v.a);
    return { _mm256_unpacklo_epi64(bgLow, raLow), _mm256_unpackhi_epi64(bgLow, raLow),
        _mm256_unpacklo_epi64(bgHigh, raHigh), _mm256_unpackhi_epi64(bgHigh, raHigh) };
}

inline Planes deinterleaved(const unsigned char *pixels)
{
    return transposedWords({ transposedBytes(load(pixels)), transposedBytes(load(pixels + 32)),
        transposedBytes(load(pixels + 64)), transposedBytes(load(pixels + 96)) });
}

inline void storeInterleaved(unsigned char *pixels, const Planes &planes)
{
    const Planes words = transposedWords(planes);
    store(pixels, transposedBytes(words.b));
    store(pixels + 32, transposedBytes(words.g));
    store(pixels + 64, transposedBytes(words.r));
    store(pixels + 96, transposedBytes(words.a));
}

/// @p table for each byte of @p count vectors.
///
/// A byte shuffle looks up in 16 entries by the lower half of a byte, and gives 0 where the highest bit is set. So bytes
/// v below 128 are looked up in eight steps: step k has v - 16 * k, which is negative as long as the entry stands
/// further in front, and otherwise takes back, by an exclusive or, what the step before gave and puts in its own. What
/// is left in the end is the entry of the last step that was not negative. For bytes from 128 on the same is done with
/// v - 128, which for all others is negative.
template <int count>
void lookUp(const KXChannelTables::Table &table, __m256i *bytes)
{
    const __m256i sixteen = _mm256_set1_epi8(16);
    __m256i result[count];
    for (int i = 0; i < count; ++i)
        result[i] = _mm256_setzero_si256();
    for (int half = 0; half < 2; ++half) {
        __m256i v[count], previous = _mm256_setzero_si256();
        for (int i = 0; i < count; ++i)
            v[i] = half == 0 ? bytes[i] : _mm256_xor_si256(bytes[i], _mm256_set1_epi8(-128));
        for (int k = 0; k < 8; ++k) {
            const auto *const entries = reinterpret_cast<const __m128i *>(table.data() + 128 * half + 16 * k);
            const __m256i here = _mm256_broadcastsi128_si256(_mm_loadu_si128(entries));
            const __m256i change = _mm256_xor_si256(here, previous);
            previous = here;
            for (int i = 0; i < count; ++i) {
                result[i] = _mm256_xor_si256(result[i], _mm256_shuffle_epi8(change, v[i]));
                v[i] = _mm256_subs_epi8(v[i], sixteen);
            }
        }
    }
    for (int i = 0; i < count; ++i)
        bytes[i] = result[i];
}

/// All pixels of a block.
inline void lookUp(const KXChannelTables &tables, unsigned char *pixels)
{
    constexpr int count = 4; // vectors of a channel side by side, for which the tables are loaded once
    static_assert(blocks::length == 32 * count, "a block is done at once");
    __m256i b[count], g[count], r[count], a[count];
    for (int i = 0; i < count; ++i) {
        const Planes planes = deinterleaved(pixels + 128 * i);
        b[i] = planes.b, g[i] = planes.g, r[i] = planes.r, a[i] = planes.a;
    }
    lookUp<count>(tables.b, b);
    lookUp<count>(tables.g, g);
    lookUp<count>(tables.r, r);
    for (int i = 0; i < count; ++i)
        storeInterleaved(pixels + 128 * i, { b[i], g[i], r[i], a[i] });
}

} // namespace vectors
