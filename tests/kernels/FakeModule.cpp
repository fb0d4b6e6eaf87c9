// A kernel module for tests: its kernels note what they were given, and write a mark.

#include "BaseTransformation.h"
#include "KXKernels.h"

#include "support/KernelPrototypes.h"

#include <QtCore/QRect>
#include <QtCore/QString>

extern "C" Q_DECL_EXPORT QString kernelNotes;
QString kernelNotes;

constexpr unsigned mark = 0xFF332211;

#define FAKE_WALK(symbol, name, ...)                                                                                   \
    void symbol(OPRGBA32i *data, int stride, const QRect &r, __VA_ARGS__)                                              \
    {                                                                                                                  \
        kernelNotes += QString::asprintf(name " %d: %d, %d, %d by %d; ", stride, r.x(), r.y(), r.width(), r.height()); \
        data[0] = OPRGBA32i(mark);                                                                                     \
    }
#define STEPS const std::atomic<bool> &, std::function<void()>

FAKE_WALK(VectorProcess, "plain", BaseTransformation *)
FAKE_WALK(IterativeVectorProcess, "iterative", BaseTransformation *, STEPS)
FAKE_WALK(PixelTransformIterativeVectorProcess, "located", BaseTransformation *, STEPS)

void LineHandlerAVX2(OPRGBABlurAccumulatorBase *accumulator, OPRGBA32i *, OPRGBA32i *destination, int readFirst,
    int readLast, int first, int last, int radius)
{
    kernelNotes += QString::asprintf(
        "slide %d: %d-%d %d-%d %d; ", accumulator->GetRadius(), readFirst, readLast, first, last, radius);
    destination[0] = OPRGBA32i(mark);
}

void LineHandlerConvolutionAVX2(OPKernelBase *kernel)
{
    kernelNotes += QString("kernel %1; ").arg(int(kernel->Type()));
}

void KXIterativeConvolutionFast1DAVX2Convolve(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &taps)
{
    kernelNotes += QString("convolve %1 by").arg(length);
    for (const short tap : taps)
        kernelNotes += QString(" %1").arg(tap);
    kernelNotes += "; ";
    destination[0] = source[0] == source[1] ? mark : 0; // the first pixel is repeated before the line
}
