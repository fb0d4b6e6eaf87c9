#include "Avx2Rows.h"
#include "Kernel.h"
#include "compose/Composer.h"

// The composition entries of the module: the library's walks with the rows of Avx2Rows.

using KX = RGBA32iImage;
using Vector = compose::Composers<compose::Avx2Rows>;

#define KX_COMPOSE(symbol, Src, Dst)                                                                                   \
    KXCORE_KERNEL void symbol(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst,                  \
        const QRect &dstRect, double opacity, bool lockAlpha)                                                          \
    {                                                                                                                  \
        Vector::Compose(src, srcRect, mode, dst, dstRect, opacity, lockAlpha);                                         \
    }
KX_COMPOSE(Compose_RGBA32iImage_RGBA32iImage_avx2, KX, KX)
KX_COMPOSE(Compose_QImage_RGBA32iImage_avx2, QImage, KX)
KX_COMPOSE(Compose_RGBA32iImage_QImage_avx2, KX, QImage)
KX_COMPOSE(Compose_QImage_QImage_avx2, QImage, QImage)
#undef KX_COMPOSE

#define KX_COMPOSE_SOURCE(symbol, Src, Dst)                                                                            \
    KXCORE_KERNEL void symbol(const Src &src, const QRect &srcRect, Dst &dst, const QRect &dstRect)                    \
    {                                                                                                                  \
        Vector::ComposeSource(src, srcRect, dst, dstRect);                                                             \
    }
KX_COMPOSE_SOURCE(ComposeSource_RGBA32iImage_RGBA32iImage_avx2, KX, KX)
KX_COMPOSE_SOURCE(ComposeSource_QImage_RGBA32iImage_avx2, QImage, KX)
KX_COMPOSE_SOURCE(ComposeSource_RGBA32iImage_QImage_avx2, KX, QImage)
KX_COMPOSE_SOURCE(ComposeSource_QImage_QImage_avx2, QImage, QImage)
#undef KX_COMPOSE_SOURCE

#define KX_COMPOSE_MASK(symbol, Src)                                                                                   \
    KXCORE_KERNEL void symbol(const Src &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,                   \
        const QRect &dstRect, double opacity, const KX &mask, const QRect &maskRect, bool outsideVisible,              \
        bool lockAlpha)                                                                                                \
    {                                                                                                                  \
        Vector::ComposeMaskOn(src, srcRect, mode, dst, dstRect, opacity, mask, maskRect, outsideVisible, lockAlpha);   \
    }
KX_COMPOSE_MASK(ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2, KX)
KX_COMPOSE_MASK(ComposeMaskOn_QImage_RGBA32iImage_avx2, QImage)
#undef KX_COMPOSE_MASK

KXCORE_KERNEL void ComposeAlphaDarken_avx2(const QImage &src, const QRect &srcRect, KX &dst, const QRect &dstRect,
    double opacity, double averageOpacity, double flow)
{
    Vector::ComposeAlphaDarken(src, srcRect, dst, dstRect, opacity, averageOpacity, flow);
}

KXCORE_KERNEL void ComposeDualBrush_avx2(
    const QImage &src, const QRect &srcRect, QImage &dst, const QRect &dstRect, KXCompositionMode mode)
{
    Vector::ComposeDualBrush(src, srcRect, dst, dstRect, mode);
}

KXCORE_KERNEL void ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2(const KX &src, const QRect &srcRect,
    KXCompositionMode mode, KX &dst, const QRect &dstRect, KX &clip, const QRect &clipRect, KX &clipMask,
    const QRect &clipMaskRect, bool outsideVisible, double opacity, bool lockAlpha)
{
    Vector::ComposeClippingMaskOn(
        src, srcRect, mode, dst, dstRect, clip, clipRect, clipMask, clipMaskRect, outsideVisible, opacity, lockAlpha);
}

KXCORE_KERNEL void ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2(const KX &src, const QRect &srcRect,
    KXCompositionMode mode, KX &dst, const QRect &dstRect, double opacity, KX &clip, const QRect &clipRect,
    KX &clipMask, const QRect &clipMaskRect, bool outsideVisible, const KX &mask, const QRect &maskRect,
    bool maskOutsideVisible, bool lockAlpha)
{
    Vector::ComposeClippingMaskAndMaskOn(src, srcRect, mode, dst, dstRect, opacity, clip, clipRect, clipMask,
        clipMaskRect, outsideVisible, mask, maskRect, maskOutsideVisible, lockAlpha);
}
