#pragma once

#include "KXTableTransformation.h"
#include "PixelFormulas.h"
#include "support/Arithmetic.h"

#include <cmath>

/// What the tables of adjustments are built from. The order of the floating-point operations is part of the results.
namespace color {

/// The table whose entries are the low bytes of @p entry(i), i from 0 to 255.
template <class Entry>
KXChannelTables::Table tableOf(Entry entry)
{
    KXChannelTables::Table table;
    for (int i = 0; i < 256; ++i)
        table[size_t(i)] = static_cast<unsigned char>(entry(i));
    return table;
}

/// The same table for red, green and blue.
template <class Entry>
KXChannelTables sameTables(Entry entry)
{
    const KXChannelTables::Table table = tableOf(entry);
    return { table, table, table };
}

/// @p gamma within 0.01 and @p largest; NaN gives 0.01.
constexpr double limitedGamma(double gamma, double largest)
{
    const double low = gamma > largest ? largest : gamma;
    return low > 0.01 ? low : 0.01;
}

/// The channel @p i to the power of @p exponent, as a fraction of 255. **An exponent of 1 is not the identity**: for 24
/// values the product with 1 / 255 and 255 is less than i and truncates to i - 1. That is intended.
inline int power(int i, double exponent)
{
    return arithmetic::clamp8(arithmetic::truncate(std::pow(i * perByte, exponent) * 255.0));
}

/// @p share parts of @p to and the rest of @p whole of @p from, truncated. A share outside of 0..whole is not limited:
/// products and their sum wrap.
constexpr int faded(int from, int to, int share, int whole)
{
    using namespace arithmetic;
    return wrappingAdd(wrappingMultiply(to, share), wrappingMultiply(from, wrappingSubtract(whole, share))) / whole;
}

/// @p tables, @p share parts of each, and the rest of @p whole the unchanged channel. Results take their low byte.
inline KXChannelTables fadedTables(const KXChannelTables &tables, int share, int whole)
{
    const auto fade = [=](const KXChannelTables::Table &table) {
        return tableOf([&](int i) { return faded(i, table[size_t(i)], share, whole); });
    };
    return { fade(tables.r), fade(tables.g), fade(tables.b) };
}

/// What fades by per cents in integers count in: an amount of 100 per cent is 255000 parts, and one per cent is 2550.
constexpr int wholeFade = 255000;
constexpr int fadeOfPercent(int amount) { return arithmetic::wrappingMultiply(amount, 2550); }

/// The same where per cents are truncated to parts of 255.
constexpr int wholeByteFade = 255;
constexpr int byteFadeOfPercent(int amount) { return arithmetic::wrappingMultiply(amount, wholeByteFade) / 100; }

/// What becomes of values that go through the tables of their channels and then through that of all of them, @p amount
/// per cent of the way.
inline KXChannelTables throughMaster(const KXChannelTables &channels, const KXChannelTables::Table &master, int amount)
{
    const auto mastered = [&](const KXChannelTables::Table &channel) {
        return tableOf([&](int i) { return master[channel[size_t(i)]]; });
    };
    return fadedTables(
        { mastered(channels.r), mastered(channels.g), mastered(channels.b) }, fadeOfPercent(amount), wholeFade);
}

} // namespace color
