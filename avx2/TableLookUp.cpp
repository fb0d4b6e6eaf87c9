#include "TableLookUp.h"
#include "Vectors.h"

namespace vectors {

namespace {

/// Blue, green, red and alpha of 32 pixels, each in a vector of its own. In the first half lie the pixels 0 to 3, 8 to
/// 11, 16 to 19 and 24 to 27, in the second half the others: interleaving alone makes pixels of such planes again.
struct Planes {
    __m256i b, g, r, a;
};

/// In each half of a vector: the first bytes of its four double words, then the second ones and so on.
__m256i transposedBytes(__m256i v)
{
    const __m256i order = _mm256_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, //
        0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    return _mm256_shuffle_epi8(v, order);
}

/// Transposes 4 x 4 double words in each half.
Planes transposedWords(const Planes &v)
{
    const __m256i bgLow = _mm256_unpacklo_epi32(v.b, v.g), bgHigh = _mm256_unpackhi_epi32(v.b, v.g);
    const __m256i raLow = _mm256_unpacklo_epi32(v.r, v.a), raHigh = _mm256_unpackhi_epi32(v.r, v.a);
    return { _mm256_unpacklo_epi64(bgLow, raLow), _mm256_unpackhi_epi64(bgLow, raLow),
        _mm256_unpacklo_epi64(bgHigh, raHigh), _mm256_unpackhi_epi64(bgHigh, raHigh) };
}

Planes deinterleaved(const unsigned char *pixels)
{
    return transposedWords({ transposedBytes(load(pixels)), transposedBytes(load(pixels + 32)),
        transposedBytes(load(pixels + 64)), transposedBytes(load(pixels + 96)) });
}

void storeInterleaved(unsigned char *pixels, const Planes &planes)
{
    const __m256i bgLow = _mm256_unpacklo_epi8(planes.b, planes.g), bgHigh = _mm256_unpackhi_epi8(planes.b, planes.g);
    const __m256i raLow = _mm256_unpacklo_epi8(planes.r, planes.a), raHigh = _mm256_unpackhi_epi8(planes.r, planes.a);
    store(pixels, _mm256_unpacklo_epi16(bgLow, raLow));
    store(pixels + 32, _mm256_unpackhi_epi16(bgLow, raLow));
    store(pixels + 64, _mm256_unpacklo_epi16(bgHigh, raHigh));
    store(pixels + 96, _mm256_unpackhi_epi16(bgHigh, raHigh));
}

/// The middle between the largest and the smallest channel, truncated.
__m256i grey(const Planes &planes)
{
    const __m256i most = _mm256_max_epu8(_mm256_max_epu8(planes.b, planes.g), planes.r);
    const __m256i least = _mm256_min_epu8(_mm256_min_epu8(planes.b, planes.g), planes.r);
    const __m256i isRoundedUp = _mm256_and_si256(_mm256_xor_si256(most, least), _mm256_set1_epi8(1));
    return _mm256_sub_epi8(_mm256_avg_epu8(most, least), isRoundedUp);
}

/// @p table for each byte.
///
/// A byte shuffle looks up in 16 entries by the low four bits of a byte, and gives 0 where the highest bit is set. The
/// 16 pieces of the table are four groups by bits 4 and 5 of the byte, with a piece in each quarter of the table. The
/// pieces of the lower two quarters serve bytes below 128: the second one is looked up with the byte minus 64, which is
/// negative where the first one was meant, and takes back by an exclusive or what the first one gave where it was not.
/// Bytes above have their sign inverted, and the same is done in the upper two quarters. In the end bits 4 and 5 choose
/// between the groups.
///
/// One vector at a time: for more of them the registers do not suffice, and to load pieces again costs no more than to
/// load indices again.
Q_ALWAYS_INLINE __m256i found(const KXChannelTables::Table &table, __m256i bytes)
{
    const __m256i sixtyFour = _mm256_set1_epi8(64);
    const __m256i index0 = bytes, index1 = _mm256_subs_epi8(index0, sixtyFour);
    const __m256i index2 = _mm256_xor_si256(bytes, _mm256_set1_epi8(-128)),
                  index3 = _mm256_subs_epi8(index2, sixtyFour);
    const auto inGroup = [&](int group) {
        const auto piece = [&](int quarter) {
            const auto *const entries = reinterpret_cast<const __m128i *>(table.data() + 64 * quarter + 16 * group);
            return _mm256_broadcastsi128_si256(_mm_loadu_si128(entries));
        };
        const __m256i piece01 = _mm256_xor_si256(piece(0), piece(1)), piece23 = _mm256_xor_si256(piece(2), piece(3));
        return _mm256_xor_si256(
            _mm256_xor_si256(_mm256_shuffle_epi8(piece(0), index0), _mm256_shuffle_epi8(piece01, index1)),
            _mm256_xor_si256(_mm256_shuffle_epi8(piece(2), index2), _mm256_shuffle_epi8(piece23, index3)));
    };
    const auto chosen = [&](int even) { // a blend looks at the highest bit of a byte
        const __m256i first = inGroup(even), second = inGroup(even + 1);
        return _mm256_blendv_epi8(first, second, _mm256_slli_epi16(bytes, 3));
    };
    const __m256i low = chosen(0), high = chosen(2);
    return _mm256_blendv_epi8(low, high, _mm256_slli_epi16(bytes, 2));
}

} // namespace

void lookUpByShuffles(const KXChannelTables &tables, const unsigned char *from, unsigned char *to, Result result)
{
    constexpr int step = 128;
    static_assert(4 * blocks::length % step == 0, "a block is done in whole steps");
    for (int i = 0; i < 4 * blocks::length; i += step) {
        Planes planes = deinterleaved(from + i);
        if (result == Result::OfGreys)
            planes.b = planes.g = planes.r = grey(planes);
        planes.b = found(tables.b, planes.b);
        planes.g = found(tables.g, planes.g);
        planes.r = found(tables.r, planes.r);
        if (result == Result::Sums)
            planes.b = planes.g = planes.r = _mm256_adds_epu8(_mm256_adds_epu8(planes.b, planes.g), planes.r);
        storeInterleaved(to + i, planes);
    }
}

LookUp *const fastestLookUp = hasPermutations() ? lookUpByPermutations : lookUpByShuffles;

} // namespace vectors
