#pragma once

/// @file
/// Posterize.

#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <functional>

/// Leaves a few values in each channel: as many as there are levels, evenly spread from 0 to 255. Each level stands for
/// an equal share of the values.
class KX_EXPORT OPPosterizeTransformation : public KXTableTransformation {
public:
    /// @p levels from 2; a dialog offers 2 to 64. With 256 and more each value is its own level, up to rounding. There
    /// is no single level: 1 is the caller's mistake, which a debug build asserts. It leaves every pixel as it is, as 0
    /// and what is below it do.
    explicit OPPosterizeTransformation(int levels);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "PosterizeTransformationAVX2"
    static std::function<void(const OPPosterizeTransformation &, unsigned char *, bool)> m_PosterizeAVX2;
};

using OPIterativePosterizeTransformation = KXIterative<OPPosterizeTransformation>;
