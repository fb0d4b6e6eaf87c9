#include "Shadow.h"

#include "KXComposer.h"

#include <algorithm>

namespace filters {

namespace {

constexpr int farthest = 1 << 30; ///< no image has longer sides

/// A transparent canvas for @p image with a margin. Throws std::bad_alloc for one that is too large.
RGBA32iImage canvasFor(const RGBA32iImage &image, int margin)
{
    return newCanvas(image.Width() + 2 * qint64(margin), image.Height() + 2 * qint64(margin));
}

} // namespace

int shadowMargin(const KXFilterData &data, const KXShadowParams &params)
{
    return data.image.Rect().isEmpty() ? 0 : std::max(params.blurRadius, -farthest);
}

RGBA32iImage withMargin(const RGBA32iImage &image, int margin)
{
    RGBA32iImage grown = canvasFor(image, margin);
    ComposeSource(image, image.Rect(), grown, image.Rect().translated(margin, margin));
    return grown;
}

RGBA32iImage shadowShape(const KXFilterData &data, int margin)
{
    const QRect layer = data.image.Rect();
    if (data.maskInverted && data.mask.Rect().isEmpty())
        return withMargin(data.image, margin);
    RGBA32iImage shape = canvasFor(data.image, margin);
    const auto near = [](int position) { return std::clamp(position, -farthest, farthest); };
    // The rectangle of the mask is as large as the layer, so that a smaller mask counts wherever it lies.
    ComposeMaskOn(data.image, layer, KXCompositionMode::Source, shape, layer.translated(margin, margin), 1.0, data.mask,
        layer.translated(-near(data.maskOffset.x()), -near(data.maskOffset.y())), data.maskInverted, false);
    return shape;
}

} // namespace filters
