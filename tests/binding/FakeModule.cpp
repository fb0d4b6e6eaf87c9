// A kernel module for tests: its functions do nothing but note in `called` which of them ran.

#include "KXComposer.h"

using In = const RGBA32iImage &;
using Out = RGBA32iImage &;
using Mode = KXCompositionMode;
using Rect = const QRect &;

// The parameters that entries have in common.
#define ONTO In, Rect, Mode, Out, Rect
#define CLIP Out, Rect, Out, Rect, bool
#define MASK In, Rect, bool

Q_DECL_EXPORT int called = 0;

#define FAKE(number, name, ...)                                                                                        \
    extern "C" Q_DECL_EXPORT void name(__VA_ARGS__) { called = number; }

#ifndef ONLY_THE_LAST
FAKE(1, Compose_RGBA32iImage_RGBA32iImage_avx2, ONTO, double, bool)
FAKE(2, Compose_QImage_RGBA32iImage_avx2, const QImage &, Rect, Mode, Out, Rect, double, bool)
FAKE(3, Compose_RGBA32iImage_QImage_avx2, In, Rect, Mode, QImage &, Rect, double, bool)
FAKE(4, Compose_QImage_QImage_avx2, const QImage &, Rect, Mode, QImage &, Rect, double, bool)
FAKE(5, ComposeSource_RGBA32iImage_RGBA32iImage_avx2, In, Rect, Out, Rect)
FAKE(6, ComposeSource_QImage_RGBA32iImage_avx2, const QImage &, Rect, Out, Rect)
FAKE(7, ComposeSource_RGBA32iImage_QImage_avx2, In, Rect, QImage &, Rect)
FAKE(8, ComposeSource_QImage_QImage_avx2, const QImage &, Rect, QImage &, Rect)
FAKE(9, ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2, ONTO, double, MASK, bool)
FAKE(10, ComposeMaskOn_QImage_RGBA32iImage_avx2, const QImage &, Rect, Mode, Out, Rect, double, MASK, bool)
FAKE(11, ComposeAlphaDarken_avx2, const QImage &, Rect, Out, Rect, double, double, double)
FAKE(12, ComposeDualBrush_avx2, const QImage &, Rect, QImage &, Rect, Mode)
FAKE(13, ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2, ONTO, CLIP, double, bool)
FAKE(14, ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2, ONTO, double, CLIP, MASK, bool)
#endif
#ifndef NOTHING
FAKE(15, ComposeWithTransformation_RGBA32iImage_RGBA32iImage_avx2, ONTO, BaseTransformation *, double, bool)
FAKE(16, ComposeWithTransformationMaskOn_RGBA32iImage_RGBA32iImage_avx2, ONTO, double, MASK, BaseTransformation *, bool)
FAKE(17, ComposeWithTransformationClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2, ONTO, CLIP, BaseTransformation *,
    double, bool)
FAKE(18, ComposeWithTransformationClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2, ONTO, double, CLIP, MASK,
    BaseTransformation *, bool)
#endif
