#include "Avx2Rows.h"
#include "BaseTransformation.h"
#include "Kernel.h"
#include "color/Blocks.h"
#include "compose/Composer.h"

#include <algorithm>

// Composition of a source whose pixels go through a colour adjustment first.

namespace {

using KX = RGBA32iImage;
using Layers = compose::Layers<KX, KX>;

/// Blends adjusted copies of the source's pixels, block by block, so that the source is never written.
class TransformingBlender {
public:
    TransformingBlender(const compose::Blender<compose::Avx2Rows> &blender, const BaseTransformation &transformation)
        : m_blender(blender)
        , m_transformation(transformation)
    {
    }

    void Row(const compose::LayerRows &rows, int count) const
    {
        ForEachBlock(rows, count, [&](const compose::LayerRows &adjusted, int n) { m_blender.Row(adjusted, n); });
    }

    void MaskedRow(const compose::LayerRows &rows, int count) const
    {
        ForEachBlock(rows, count, [&](const compose::LayerRows &adjusted, int n) { m_blender.MaskedRow(adjusted, n); });
    }

private:
    template <class Blend>
    void ForEachBlock(const compose::LayerRows &rows, int count, Blend blend) const
    {
        alignas(memory::lineBytes) OPRGBA32i block[blocks::length]; // no vector across two lines
        for (int i = 0; i < count; i += blocks::length) {
            const int n = std::min(blocks::length, count - i);
            compose::LayerRows adjusted = rows.From(i);
            std::copy_n(adjusted.source, n, block);
            blocks::apply(m_transformation, block, n);
            adjusted.source = block;
            blend(adjusted, n);
        }
    }

    compose::Blender<compose::Avx2Rows> m_blender;
    const BaseTransformation &m_transformation;
};

auto transforming(const BaseTransformation &transformation)
{
    return [&transformation](KXCompositionMode mode, const compose::Blending &blending) {
        return TransformingBlender(compose::Blender<compose::Avx2Rows>(mode, blending), transformation);
    };
}

} // namespace

KXCORE_KERNEL void ComposeWithTransformation_RGBA32iImage_RGBA32iImage_avx2(const KX &src, const QRect &srcRect,
    KXCompositionMode mode, KX &dst, const QRect &dstRect, BaseTransformation *transformation, double opacity,
    bool lockAlpha)
{
    if (transformation)
        compose::composePlain(
            Layers { { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha }, transforming(*transformation));
}

KXCORE_KERNEL void ComposeWithTransformationMaskOn_RGBA32iImage_RGBA32iImage_avx2(const KX &src, const QRect &srcRect,
    KXCompositionMode mode, KX &dst, const QRect &dstRect, double opacity, const KX &mask, const QRect &maskRect,
    bool outsideVisible, BaseTransformation *transformation, bool lockAlpha)
{
    if (transformation)
        compose::composeMaskOn(Layers { { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha },
            { { mask, maskRect }, outsideVisible }, transforming(*transformation));
}

KXCORE_KERNEL void ComposeWithTransformationClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2(const KX &src,
    const QRect &srcRect, KXCompositionMode mode, KX &dst, const QRect &dstRect, KX &clip, const QRect &clipRect,
    KX &clipMask, const QRect &clipMaskRect, bool outsideVisible, BaseTransformation *transformation, double opacity,
    bool lockAlpha)
{
    if (transformation)
        compose::composeClippingMaskOn({ { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha },
            { clip, clipRect }, { { clipMask, clipMaskRect }, outsideVisible }, transforming(*transformation));
}

KXCORE_KERNEL void ComposeWithTransformationClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2(const KX &src,
    const QRect &srcRect, KXCompositionMode mode, KX &dst, const QRect &dstRect, double opacity, KX &clip,
    const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect, bool outsideVisible, const KX &mask,
    const QRect &maskRect, bool maskOutsideVisible, BaseTransformation *transformation, bool lockAlpha)
{
    if (transformation)
        compose::composeClippingMaskAndMaskOn({ { src, srcRect }, { dst, dstRect }, mode, opacity, lockAlpha },
            { clip, clipRect }, { { clipMask, clipMaskRect }, outsideVisible },
            { { mask, maskRect }, maskOutsideVisible }, transforming(*transformation));
}
