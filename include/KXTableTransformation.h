#pragma once

/// @file
/// The base of the adjustments that change each colour channel by itself.

#include "BaseTransformation.h"
#include "KXGlobal.h"
#include "KXPixels.h"

#include <array>

/// What becomes of each value of red, green and blue. Alpha stays.
///
/// The alignment is for applications that make adjustments of their own: as a member at an odd address, tables that
/// have just been computed are lost by GCC 12 (from -O2 on, without -fno-dse).
struct alignas(16) KXChannelTables {
    using Table = std::array<unsigned char, 256>;

    Table r, g, b;

    OPRGBA32i operator()(OPRGBA32i pixel) const { return OPRGBA32i(b[pixel.b], g[pixel.g], r[pixel.r], pixel.a); }
};

/// An adjustment that is three tables. A class of this family computes them in its constructor, and its parameters are
/// not kept; what the adjustment does can be drawn from @c Tables.
///
/// Cost     Three loads a pixel, whatever the adjustment is. Objects are of 800 bytes and copied as such. To make one
///          takes less than a tenth of a millisecond, so that each move of a slider may make another.
class KX_EXPORT KXTableTransformation : public BaseTransformation {
public:
    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const final;

    const KXChannelTables &Tables() const { return m_Tables; }

protected:
    /// Leaves every pixel as it is.
    KXTableTransformation();
    explicit KXTableTransformation(const KXChannelTables &tables)
        : m_Tables(tables)
    {
    }

    KXChannelTables m_Tables;
};
