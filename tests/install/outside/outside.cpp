#include <KXCore.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <stdexcept>

namespace {

int failures = 0;

void check(bool holds, const char *what)
{
    if (holds)
        return;
    std::printf("%s\n", what);
    ++failures;
}

template <class Exception, class Body>
bool throws(Body body)
{
    try {
        body();
    } catch (const Exception &) {
        return true;
    }
    return false;
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
    const auto compose = [&] {
        Compose(layer, layer.Rect(), KXCompositionMode::Multiply, canvas, canvas.Rect(), 0.9, false);
    };
    check(throws<std::bad_function_call>(compose), "composition works before it is set up");
    loadAVX2Functions(true);
    compose();
    check(canvas.TileData(4)[0].b == 100 && canvas.IsFakeTile(0), "composition gives something else");

    check(throws<std::invalid_argument>([&] { ConvertImage<RGBA32iImage, QImage>(layer); }), "no exception gets out");
    check(throws<std::exception>([] { throw OPTMSwapError(); }), "an exported exception is not known by its base");

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
