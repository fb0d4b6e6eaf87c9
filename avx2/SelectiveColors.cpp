#include "color/SelectiveColors.h"
#include "Kernel.h"
#include "Lane8.h"
#include "color/Blocks.h"

#include "KXSelectiveColorsTransformation.h"

namespace {

namespace selective = color::selective;

using compose::Float8;
using compose::Lane8;
using List = SelectiveParamsList;
using PerRange = KXSelectiveColorsTransformation::PerRange;

/// A range for each of eight pixels, and its weight there.
struct Ranges {
    explicit Ranges(Float8 theirWeight)
        : weight(theirWeight)
        , act(theirWeight > Float8(selective::leastWeight))
    {
    }
    Float8 weight, act;
};

/// The ranges that eight pixels lie in. Others have no weight.
///
/// With the channels in order, the weight of a primary colour is how far it is above the larger one of the other two,
/// which only the largest channel is: reds, greens or blues weigh most - middle. In the same way the one of yellows,
/// cyans and magentas that is made of the two larger channels weighs middle - least. Whites need all channels above
/// 0.5 and blacks all below.
struct Weights {
    Weights(Float8 r, Float8 g, Float8 b)
        : Weights(r, g, b, max(max(r, g), b), max(min(r, g), min(max(r, g), b)), min(min(r, g), b))
    {
    }

    Lane8 primary, secondary; ///< which range it is
    Ranges primaries, secondaries, whites, neutrals, blacks;

private:
    Weights(Float8 r, Float8 g, Float8 b, Float8 most, Float8 middle, Float8 least)
        : primary(choice(r == most, List::Reds, choice(g == most, List::Greens, Lane8(List::Blues))))
        , secondary(choice(b == least, List::Yellows, choice(r == least, List::Cyans, Lane8(List::Magentas))))
        , primaries(most - middle)
        , secondaries(middle - least)
        , whites(selective::whites(least))
        , neutrals(selective::neutrals(least, most))
        , blacks(selective::blacks(most))
    {
    }

    static Lane8 choice(Float8 where, List::Range range, Lane8 otherwise)
    {
        return _mm256_blendv_epi8(otherwise.v, Lane8(range).v, _mm256_castps_si256(where.v));
    }
};

/// What the ranges ask of one channel.
class Changes {
public:
    Changes(const PerRange &colour, const PerRange &black)
        : m_colours(selective::change(Float8(_mm256_loadu_ps(colour.data())), Float8(_mm256_loadu_ps(black.data()))))
        , m_whites(in(m_colours, List::Whites))
        , m_neutrals(in(m_colours, List::Neutrals))
        , m_blacks(selective::change(colour[List::Blacks], black[List::Blacks]))
    {
    }

    /// The channel after the change, to be truncated.
    template <bool relative>
    Float8 apply(Float8 value, const Weights &weights) const
    {
        const auto added = [&](Float8 change, const Ranges &ranges) {
            const Float8 scale = relative ? Float8(1) - value : Float8(1);
            return selective::added(value, change, scale, ranges.weight) & ranges.act;
        };
        // In the order of the ranges. Of the first two either may come first: the sum is the same.
        Float8 sum = added(in(m_colours, weights.primary), weights.primaries)
            + added(in(m_colours, weights.secondary), weights.secondaries);
        sum = sum + added(m_whites, weights.whites);
        sum = sum + added(m_neutrals, weights.neutrals);
        sum = sum + added(m_blacks, weights.blacks);
        return selective::level(value + sum);
    }

private:
    static Float8 in(Float8 changes, Lane8 range) { return _mm256_permutevar8x32_ps(changes.v, range.v); }
    static Float8 in(Float8 changes, List::Range range) { return in(changes, Lane8(range)); }

    Float8 m_colours, m_whites, m_neutrals, m_blacks;
};

template <bool relative>
void changeBlock(const KXSelectiveColorsTransformation &self, OPRGBA32i *pixels)
{
    const Changes r(self.Cyan(), self.Black()), g(self.Magenta(), self.Black()), b(self.Yellow(), self.Black());
    for (int i = 0; i < blocks::length; i += 8) {
        const auto p = compose::load8(pixels + i);
        const auto fraction = [](Lane8 channel) { return toFloat(channel) * Float8(arithmetic::perByteSingle); };
        const Float8 red = fraction(p.r), green = fraction(p.g), blue = fraction(p.b);
        const Weights weights(red, green, blue);
        compose::store8(pixels + i,
            { truncateToLane(b.apply<relative>(blue, weights)), truncateToLane(g.apply<relative>(green, weights)),
                truncateToLane(r.apply<relative>(red, weights)), p.a });
    }
}

} // namespace

KXCORE_KERNEL void SelectiveColorsAVX2(const KXSelectiveColorsTransformation &self, unsigned char *pixels, bool)
{
    const auto change = self.Mode() == 0 ? changeBlock<true> : changeBlock<false>;
    change(self, reinterpret_cast<OPRGBA32i *>(pixels));
}
