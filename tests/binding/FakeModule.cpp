// A kernel module for tests: its functions do nothing but note in `called` which of them ran.

#include "KXComposer.h"

#define HAS(number) ((number) >= FIRST && (number) != MISSING)

using KX = RGBA32iImage;
using Mode = KXCompositionMode;
using Rect = const QRect &;

extern "C" Q_DECL_EXPORT int called;
int called = 0;

#define FAKE(number, name, ...)                                                                                        \
    extern "C" Q_DECL_EXPORT void name(__VA_ARGS__) { called = number; }

#if HAS(1)
FAKE(1, Compose_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &, Rect, double, bool)
#endif
#if HAS(2)
FAKE(2, Compose_QImage_RGBA32iImage_avx2, const QImage &, Rect, Mode, KX &, Rect, double, bool)
#endif
#if HAS(3)
FAKE(3, Compose_RGBA32iImage_QImage_avx2, const KX &, Rect, Mode, QImage &, Rect, double, bool)
#endif
#if HAS(4)
FAKE(4, Compose_QImage_QImage_avx2, const QImage &, Rect, Mode, QImage &, Rect, double, bool)
#endif
#if HAS(5)
FAKE(5, ComposeSource_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, KX &, Rect)
#endif
#if HAS(6)
FAKE(6, ComposeSource_QImage_RGBA32iImage_avx2, const QImage &, Rect, KX &, Rect)
#endif
#if HAS(7)
FAKE(7, ComposeSource_RGBA32iImage_QImage_avx2, const KX &, Rect, QImage &, Rect)
#endif
#if HAS(8)
FAKE(8, ComposeSource_QImage_QImage_avx2, const QImage &, Rect, QImage &, Rect)
#endif
#if HAS(9)
FAKE(9, ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &, Rect, double, const KX &, Rect,
    bool, bool)
#endif
#if HAS(10)
FAKE(10, ComposeMaskOn_QImage_RGBA32iImage_avx2, const QImage &, Rect, Mode, KX &, Rect, double, const KX &, Rect, bool,
    bool)
#endif
#if HAS(11)
FAKE(11, ComposeAlphaDarken_avx2, const QImage &, Rect, KX &, Rect, double, double, double)
#endif
#if HAS(12)
FAKE(12, ComposeDualBrush_avx2, const QImage &, Rect, QImage &, Rect, Mode)
#endif
#if HAS(13)
FAKE(13, ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &, Rect, KX &, Rect, KX &,
    Rect, bool, double, bool)
#endif
#if HAS(14)
FAKE(14, ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &, Rect, double, KX &,
    Rect, KX &, Rect, bool, const KX &, Rect, bool, bool)
#endif
#if HAS(15)
FAKE(15, ComposeWithTransformation_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &, Rect,
    BaseTransformation *, double, bool)
#endif
#if HAS(16)
FAKE(16, ComposeWithTransformationMaskOn_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &, Rect, double,
    const KX &, Rect, bool, BaseTransformation *, bool)
#endif
#if HAS(17)
FAKE(17, ComposeWithTransformationClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &, Rect,
    KX &, Rect, KX &, Rect, bool, BaseTransformation *, double, bool)
#endif
#if HAS(18)
FAKE(18, ComposeWithTransformationClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2, const KX &, Rect, Mode, KX &,
    Rect, double, KX &, Rect, KX &, Rect, bool, const KX &, Rect, bool, BaseTransformation *, bool)
#endif
