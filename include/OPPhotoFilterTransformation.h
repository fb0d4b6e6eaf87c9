#pragma once

/// @file
/// Photo filter.

#include "KXIterative.h"
#include "OPLevelsTransformation.h"

#include <functional>

/// A coloured glass in front of the lens: each channel is multiplied by that of the colour, as a fraction of 255, and
/// the result is faded against what was there. White becomes the colour, black stays, and the picture gets darker.
///
/// The product is that of an OPLevelsTransformation whose output ends at the colour, with its truncations: **a white
/// glass is not the identity** but takes 1 from 24 values, as levels of whole ranges do.
class KX_EXPORT OPPhotoFilterTransformation : public KXTableTransformation {
public:
    /// @p color   of the glass; its alpha does not count
    /// @p amount  density in per cent; a dialog offers 0, which leaves every pixel as it is, to 100. Nothing is
    ///            limited: beyond, a result takes its low byte.
    OPPhotoFilterTransformation(const OPRGBA32i &color, int amount);

    using KXTableTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;

    /// "PhotoFilterTransformationAVX2", which gets the object, whose tables are faded, and its levels, which are not.
    static std::function<void(
        const OPPhotoFilterTransformation &, const OPLevelsTransformation &, unsigned char *, bool)>
        m_PhotoFilterAVX2;

private:
    OPLevelsTransformation m_Levels; ///< before the fade
};

using OPIterativePhotoFilterTransformation = KXIterative<OPPhotoFilterTransformation>;
