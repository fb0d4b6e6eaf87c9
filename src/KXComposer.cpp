#include "KXComposer.h"

#include "compose/Composer.h"
#include "support/Kernels.h"

#include <functional>
#include <type_traits>

namespace {

using KX = RGBA32iImage;
using Default = compose::Composers<compose::PlainRows>;

template <class Src, class Dst>
kernels::Slot<decltype(Compose<Src, Dst>)> composeSlot;
template <class Src, class Dst>
kernels::Slot<decltype(ComposeSource<Src, Dst>)> sourceSlot;
template <class Src, class Dst>
kernels::Slot<decltype(ComposeMaskOn<Src, Dst>)> maskSlot;
kernels::Slot<decltype(ComposeAlphaDarken)> alphaDarkenSlot;
kernels::Slot<decltype(ComposeDualBrush)> dualBrushSlot;
kernels::Slot<decltype(ComposeClippingMaskOn<KX, KX>)> clippingSlot;
kernels::Slot<decltype(ComposeClippingMaskAndMaskOn<KX, KX>)> clippingAndMaskSlot;
kernels::Slot<decltype(ComposeWithTransformation<KX, KX>)> transformSlot;
kernels::Slot<decltype(ComposeWithTransformationMaskOn<KX, KX>)> transformMaskSlot;
kernels::Slot<decltype(ComposeWithTransformationClippingMaskOn<KX, KX>)> transformClippingSlot;
kernels::Slot<decltype(ComposeWithTransformationClippingMaskAndMaskOn<KX, KX>)> transformClippingAndMaskSlot;

/// Calls @p visit(slot, symbol, default) for each slot in order; the last four have no default.
template <class Visit>
void forEachSlot(Visit visit)
{
    visit(composeSlot<KX, KX>, KX_SYMBOL(Compose_RGBA32iImage_RGBA32iImage_avx2), Default::Compose<KX, KX>);
    visit(composeSlot<QImage, KX>, KX_SYMBOL(Compose_QImage_RGBA32iImage_avx2), Default::Compose<QImage, KX>);
    visit(composeSlot<KX, QImage>, KX_SYMBOL(Compose_RGBA32iImage_QImage_avx2), Default::Compose<KX, QImage>);
    visit(composeSlot<QImage, QImage>, KX_SYMBOL(Compose_QImage_QImage_avx2), Default::Compose<QImage, QImage>);
    visit(sourceSlot<KX, KX>, KX_SYMBOL(ComposeSource_RGBA32iImage_RGBA32iImage_avx2), Default::ComposeSource<KX, KX>);
    visit(
        sourceSlot<QImage, KX>, KX_SYMBOL(ComposeSource_QImage_RGBA32iImage_avx2), Default::ComposeSource<QImage, KX>);
    visit(
        sourceSlot<KX, QImage>, KX_SYMBOL(ComposeSource_RGBA32iImage_QImage_avx2), Default::ComposeSource<KX, QImage>);
    visit(sourceSlot<QImage, QImage>, KX_SYMBOL(ComposeSource_QImage_QImage_avx2),
        Default::ComposeSource<QImage, QImage>);
    visit(maskSlot<KX, KX>, KX_SYMBOL(ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2), Default::ComposeMaskOn<KX, KX>);
    visit(maskSlot<QImage, KX>, KX_SYMBOL(ComposeMaskOn_QImage_RGBA32iImage_avx2), Default::ComposeMaskOn<QImage, KX>);
    visit(alphaDarkenSlot, KX_SYMBOL(ComposeAlphaDarken_avx2), Default::ComposeAlphaDarken);
    visit(dualBrushSlot, KX_SYMBOL(ComposeDualBrush_avx2), Default::ComposeDualBrush);
    visit(
        clippingSlot, KX_SYMBOL(ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2), Default::ComposeClippingMaskOn);
    visit(clippingAndMaskSlot, KX_SYMBOL(ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2),
        Default::ComposeClippingMaskAndMaskOn);
    visit(transformSlot, KX_SYMBOL(ComposeWithTransformation_RGBA32iImage_RGBA32iImage_avx2), nullptr);
    visit(transformMaskSlot, KX_SYMBOL(ComposeWithTransformationMaskOn_RGBA32iImage_RGBA32iImage_avx2), nullptr);
    visit(transformClippingSlot, KX_SYMBOL(ComposeWithTransformationClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2),
        nullptr);
    visit(transformClippingAndMaskSlot,
        KX_SYMBOL(ComposeWithTransformationClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2), nullptr);
}

} // namespace

void loadAVX2Functions(bool enable)
{
    if (!enable)
        return;
    const AVX2LIB *const module = AVX2LIB::Instance();
    bool complete = true;
    forEachSlot([&](auto &slot, auto symbol, auto) {
        slot.Set(symbol.In(module));
        complete = complete && slot;
    });
    if (complete)
        return;
    support::logLine({ compose::logPath, __LINE__ }, "AVX2 functions cannot be loaded, use default");
    forEachSlot([](auto &slot, auto, auto defaultForm) {
        if constexpr (!std::is_null_pointer_v<decltype(defaultForm)>)
            slot.Set(defaultForm);
    });
}

QVector<KXCompositionMode> KXCompositionModes()
{
    QVector<KXCompositionMode> modes;
    for (const auto &entry : compose::modeTable<compose::PlainRows>)
        if (entry.mode != compose::noMode)
            modes << entry.mode;
    return modes;
}

const char *KXCompositionModeName(KXCompositionMode mode)
{
    return compose::findMode(compose::modeTable<compose::PlainRows>, mode).name;
}

OPBlend::GenericRGBABlendFunction::~GenericRGBABlendFunction() = default;

template <class Src, class Dst>
void Compose(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst, const QRect &dstRect,
    double opacity, bool lockAlpha)
{
    composeSlot<Src, Dst>(src, srcRect, mode, dst, dstRect, opacity, lockAlpha);
}

template <class Src, class Dst>
void ComposeSource(const Src &src, const QRect &srcRect, Dst &dst, const QRect &dstRect)
{
    sourceSlot<Src, Dst>(src, srcRect, dst, dstRect);
}

template <class Src, class Dst>
void ComposeMaskOn(const Src &src, const QRect &srcRect, KXCompositionMode mode, Dst &dst, const QRect &dstRect,
    double opacity, const KX &mask, const QRect &maskRect, bool outsideVisible, bool lockAlpha)
{
    maskSlot<Src, Dst>(src, srcRect, mode, dst, dstRect, opacity, mask, maskRect, outsideVisible, lockAlpha);
}

template <>
void ComposeClippingMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst, const QRect &dstRect,
    KX &clip, const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect, bool outsideVisible, double opacity,
    bool lockAlpha)
{
    clippingSlot(
        src, srcRect, mode, dst, dstRect, clip, clipRect, clipMask, clipMaskRect, outsideVisible, opacity, lockAlpha);
}

template <>
void ComposeClippingMaskAndMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
    const QRect &dstRect, double opacity, KX &clip, const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect,
    bool outsideVisible, const KX &mask, const QRect &maskRect, bool maskOutsideVisible, bool lockAlpha)
{
    clippingAndMaskSlot(src, srcRect, mode, dst, dstRect, opacity, clip, clipRect, clipMask, clipMaskRect,
        outsideVisible, mask, maskRect, maskOutsideVisible, lockAlpha);
}

template <>
void ComposeWithTransformation(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
    const QRect &dstRect, BaseTransformation *transformation, double opacity, bool lockAlpha)
{
    if (transformSlot)
        transformSlot(src, srcRect, mode, dst, dstRect, transformation, opacity, lockAlpha);
}

template <>
void ComposeWithTransformationMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
    const QRect &dstRect, double opacity, const KX &mask, const QRect &maskRect, bool outsideVisible,
    BaseTransformation *transformation, bool lockAlpha)
{
    if (transformMaskSlot)
        transformMaskSlot(
            src, srcRect, mode, dst, dstRect, opacity, mask, maskRect, outsideVisible, transformation, lockAlpha);
}

template <>
void ComposeWithTransformationClippingMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode, KX &dst,
    const QRect &dstRect, KX &clip, const QRect &clipRect, KX &clipMask, const QRect &clipMaskRect, bool outsideVisible,
    BaseTransformation *transformation, double opacity, bool lockAlpha)
{
    if (transformClippingSlot)
        transformClippingSlot(src, srcRect, mode, dst, dstRect, clip, clipRect, clipMask, clipMaskRect, outsideVisible,
            transformation, opacity, lockAlpha);
}

template <>
void ComposeWithTransformationClippingMaskAndMaskOn(const KX &src, const QRect &srcRect, KXCompositionMode mode,
    KX &dst, const QRect &dstRect, double opacity, KX &clip, const QRect &clipRect, KX &clipMask,
    const QRect &clipMaskRect, bool outsideVisible, const KX &mask, const QRect &maskRect, bool maskOutsideVisible,
    BaseTransformation *transformation, bool lockAlpha)
{
    if (transformClippingAndMaskSlot)
        transformClippingAndMaskSlot(src, srcRect, mode, dst, dstRect, opacity, clip, clipRect, clipMask, clipMaskRect,
            outsideVisible, mask, maskRect, maskOutsideVisible, transformation, lockAlpha);
}

void ComposeAlphaDarken(const QImage &src, const QRect &srcRect, KX &dst, const QRect &dstRect, double opacity,
    double averageOpacity, double flow)
{
    alphaDarkenSlot(src, srcRect, dst, dstRect, opacity, averageOpacity, flow);
}

void ComposeDualBrush(
    const QImage &src, const QRect &srcRect, QImage &dst, const QRect &dstRect, KXCompositionMode mode)
{
    dualBrushSlot(src, srcRect, dst, dstRect, mode);
}

#define KX_INSTANTIATE(Src, Dst)                                                                                       \
    template void Compose(const Src &, const QRect &, KXCompositionMode, Dst &, const QRect &, double, bool);          \
    template void ComposeSource(const Src &, const QRect &, Dst &, const QRect &);
KX_INSTANTIATE(RGBA32iImage, RGBA32iImage)
KX_INSTANTIATE(RGBA32iImage, QImage)
KX_INSTANTIATE(QImage, RGBA32iImage)
KX_INSTANTIATE(QImage, QImage)
#undef KX_INSTANTIATE

template void ComposeMaskOn(
    const KX &, const QRect &, KXCompositionMode, KX &, const QRect &, double, const KX &, const QRect &, bool, bool);
template void ComposeMaskOn(const QImage &, const QRect &, KXCompositionMode, KX &, const QRect &, double, const KX &,
    const QRect &, bool, bool);
