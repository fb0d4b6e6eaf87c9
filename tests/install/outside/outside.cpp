#include <KXCore.h>

#include <cstdio>
#include <cstring>

namespace {

int failures = 0;

void check(bool holds, const char *what)
{
    failures += !holds;
    if (!holds)
        std::puts(what);
}

} // namespace

/// Uses the installed library as a stranger would. With the argument "module" the kernel module must have been found
/// beside the installed library, unless the processor cannot run it.
int main(int argc, char **argv)
{
    const bool expected = argc > 1 && std::strcmp(argv[1], "module") == 0 && __builtin_cpu_supports("avx2");
    check((AVX2LIB::Instance() != nullptr) == expected, "the module is not where it was installed, or where none was");

    const OPRGBA32i grey(100, 100, 100, 255);
    RGBA32iImage layer(300, 200, true), canvas(300, 200, true);
    layer.TileData(4, true)[0] = grey;
    loadAVX2Functions(true);
    Compose(layer, layer.Rect(), KXCompositionMode::Multiply, canvas, canvas.Rect(), 0.9, false);
    check(canvas.TileData(4)[0].b == 100 && canvas.IsFakeTile(0), "composition gives something else");

    check(std::strlen(OPTMSwapError().what()) > 0, "an exported exception has no text");

    const std::atomic<bool> cancel { false };
    std::atomic<int> calls { 0 };
    OPGaussianBlurProcessing filter(cancel);
    QObject::connect(
        &filter, &OPAdjustmentProcessing::ProgressChanged, &filter, [&calls](int) { ++calls; }, Qt::DirectConnection);
    OPGaussianBlurProcessing::BlurData data;
    data.image = RGBA32iImage(20, 10, false);
    data.image.Fill(grey);
    check(filter.run(data).Bits()[105] == grey && calls == 30, "the filter or its signals do not work");

    std::puts(expected ? "with the module" : "without a module");
    return failures;
}
