#pragma once

#include "KXTableTransformation.h"

/// A block of pixels through three tables of 256 bytes.
namespace vectors {

enum class Result {
    Channels, ///< what each channel's table has for that channel
    OfGreys, ///< what each has for the middle between the largest and the smallest channel, truncated
    Sums, ///< in all channels the sum of what the three have, cut at 255
};

/// Writes what is wanted of the block @p from, with its alpha, to @p to, which may be the same block.
using LookUp = void(const KXChannelTables &tables, const unsigned char *from, unsigned char *to, Result result);

/// By shuffles of bytes, which look up in 16 entries.
LookUp lookUpByShuffles;

/// By permutations of bytes, which look up in 128 entries, where hasPermutations().
LookUp lookUpByPermutations;

/// Whether processor and operating system have what goes beyond AVX2 here: AVX-512 with its permutations of bytes
/// (BW and VBMI). These are the only instructions of the module beyond AVX2.
bool hasPermutations();

/// The fastest one that the processor has, chosen as the module is loaded.
extern LookUp *const fastestLookUp;

inline void lookUp(
    const KXChannelTables &tables, const unsigned char *from, unsigned char *to, Result result = Result::Channels)
{
    fastestLookUp(tables, from, to, result);
}
inline void lookUp(const KXChannelTables &tables, unsigned char *pixels, Result result = Result::Channels)
{
    fastestLookUp(tables, pixels, pixels, result);
}

} // namespace vectors
