#include "fake_walks.h"

#include <atomic>
#include <functional>

#define FAKE_SYMBOL extern "C" Q_DECL_EXPORT

FAKE_SYMBOL FakeWalks fakeWalks;
FakeWalks fakeWalks;

namespace {

void record(OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *transformation)
{
    fakeWalks.data = data;
    fakeWalks.stride = stride;
    fakeWalks.rect = rect;
    fakeWalks.transformation = transformation;
}

} // namespace

// What the library's own walks do, in one thread.

FAKE_SYMBOL void VectorProcess(OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *transformation)
{
    record(data, stride, rect, transformation);
    ++fakeWalks.plain;
    for (int y = rect.top(); y < rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x)
            (*transformation)(data[y * stride + x]);
}

FAKE_SYMBOL void IterativeVectorProcess(OPRGBA32i *data, int stride, const QRect &rect,
    BaseTransformation *transformation, const std::atomic<bool> &cancel, std::function<void()> progress)
{
    record(data, stride, rect, transformation);
    ++fakeWalks.iterative;
    for (int y = rect.top(); y <= rect.bottom() && !cancel; ++y) {
        for (int x = rect.left(); x <= rect.right(); ++x)
            (*transformation)(data[y * stride + x]);
        if (progress)
            progress();
    }
}

FAKE_SYMBOL void PixelTransformIterativeVectorProcess(OPRGBA32i *data, int stride, const QRect &rect,
    BaseTransformation *transformation, const std::atomic<bool> &cancel, std::function<void()> progress)
{
    record(data, stride, rect, transformation);
    ++fakeWalks.positionAware;
    for (int y = rect.top(); y <= rect.bottom() && !cancel; ++y) {
        for (int x = rect.left(); x <= rect.right(); ++x)
            (*transformation)(x, y, data[y * stride + x]);
        if (progress)
            progress();
    }
}

FAKE_SYMBOL void AddOneAVX2(const BaseTransformation &self, unsigned char *pixels, bool flag)
{
    fakeWalks.transformation = &self;
    fakeWalks.block = pixels;
    fakeWalks.flag = flag;
    pixels[0] = 99;
}
