#pragma once

/// @file
/// What drop shadow and inner shadow have in common. See OPAdjustmentProcessing.h for what all filters have.
///
/// Both make a shadow of a layer's alpha and return it as images of its own; the layer stays as it is. Where the shadow
/// falls and how strong it is decides the application when it composes: @c OPDropShadowProcessing and
/// @c OPInnerShadowProcessing show how.

#include <QtGui/QColor>

/// The parameters of both shadows. The filters read the colour and the blur radius alone; the other fields travel with
/// them for the application, and what they say here is a dialog's meaning.
struct KXShadowParams {
    int angle = 135; ///< in degrees, counterclockwise from the right: where the light comes from
    QColor color = Qt::black; ///< its @c rgba() counts, but for the alpha
    /// In per cent. In mode SourceOver compose with 255.0 / 256 for 100: at 1.0 a black shadow becomes white.
    int opacity = 75;
    int distance = 25; ///< in pixels: the shadow lies (-cos(angle), sin(angle)) times that away, y down
    int spread = 0; ///< in per cent: how much of the blur is solid
    /// In pixels: alpha becomes the mean of a square that has 2 * blurRadius + 1 to a side. Sensible from 0, with which
    /// nothing is blurred, to the size of the layer. A negative one blurs nothing and cuts off that much of each edge.
    int blurRadius = 20;
    int noise = 0; ///< in per cent
};
