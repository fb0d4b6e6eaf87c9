// A kernel module for tests: its walks change nothing, note what they are called with, and tell one row of progress.

#include "fake_walks.h"

#include <functional>

#define FAKE_SYMBOL extern "C" Q_DECL_EXPORT

FAKE_SYMBOL FakeWalks fakeWalks;
FakeWalks fakeWalks;

using Cancel = std::atomic<bool>;
using Progress = std::function<void()>;

static void note(char call, OPRGBA32i *data, int stride, const QRect &rect, const Cancel *cancel = nullptr,
    const Progress &progress = nullptr)
{
    fakeWalks = { fakeWalks.calls + call, data, stride, rect, cancel };
    if (progress)
        progress();
}

FAKE_SYMBOL void VectorProcess(OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *)
{
    note('P', data, stride, rect);
}

FAKE_SYMBOL void IterativeVectorProcess(
    OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *, const Cancel &cancel, Progress progress)
{
    note('I', data, stride, rect, &cancel, progress);
}

FAKE_SYMBOL void PixelTransformIterativeVectorProcess(
    OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *, const Cancel &cancel, Progress progress)
{
    note('L', data, stride, rect, &cancel, progress);
}
