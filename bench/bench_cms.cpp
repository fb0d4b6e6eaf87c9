#include "OPRGBA32ColorProfileTransform.h"

#include "../tests/cms/Profiles.h"

#include <benchmark/benchmark.h>

#include <QtGui/QImage>

#include <cstring>
#include <random>
#include <vector>

// Walks go pixel by pixel; Little CMS is given whole rows, on one thread. What counts is the colours: the same ones over
// and over, as in drawings and empty layers; those of a photograph; and colours without any order, the worst case.

namespace {

enum Content { Photo, Random, Uniform };
enum Kind { Matrix, Tables };

constexpr int side = 1024;
constexpr size_t pixelCount = size_t(side) * side;

const std::vector<OPRGBA32i> &pixelsOf(int content)
{
    static const auto make = [](Content kind) {
        std::mt19937 random(1);
        std::normal_distribution<double> noise(0, 1);
        std::vector<OPRGBA32i> pixels(pixelCount, OPRGBA32i(40, 120, 220, 255));
        const auto byte = [](double v) { return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v); };
        for (size_t i = 0; i < pixelCount && kind != Uniform; ++i) {
            if (kind == Random) {
                pixels[i] = OPRGBA32i(unsigned(random()));
                continue;
            }
            // Light that changes over the picture, some detail, noise mostly of brightness.
            const double x = double(i % side), y = double(i / side);
            const double light = 128 + 70 * std::sin(x * 0.004 + y * 0.002)
                + 25 * std::sin(x * 0.05) * std::sin(y * 0.043) + 2 * noise(random);
            const double tint = 10 * std::sin(y * 0.01) + 8 * std::cos(x * 0.007);
            pixels[i] = OPRGBA32i(byte(light * 0.8 + 10 - tint + 0.3 * noise(random)),
                byte(light * 0.9 + 0.3 * noise(random)), byte(light + tint + 0.3 * noise(random)), 255);
        }
        return pixels;
    };
    static const std::vector<OPRGBA32i> contents[] = { make(Photo), make(Random), make(Uniform) };
    return contents[content];
}

QByteArray source(int kind) { return kind == Matrix ? profiles::wideGamut() : profiles::rgbTables2(); }

KXCMSProfile loaded(const QByteArray &bytes)
{
    KXCMSProfile profile;
    profile.FromByteArray(bytes);
    return profile;
}

void restore(void *pixels, int content) { std::memcpy(pixels, pixelsOf(content).data(), pixelCount * 4); }

void report(benchmark::State &state)
{
    static const char *const contents[] = { "photo", "random", "uniform" };
    static const char *const kinds[] = { "matrix profiles", "profiles of tables" };
    state.SetLabel(std::string(contents[state.range(0)]) + ", " + kinds[state.range(1)]);
    state.SetItemsProcessed(state.iterations() * int64_t(pixelCount));
}

void cms_walk_flat(benchmark::State &state)
{
    const OPRGBA32ColorProfileTransform transform(loaded(source(int(state.range(1)))), loaded(profiles::srgb()));
    RGBA32iImage image(side, side, false);
    for (auto _ : state) {
        restore(image.Bits(), int(state.range(0)));
        transform(image);
    }
    report(state);
}

void cms_walk_bitmap(benchmark::State &state) // on the calling thread, like the peer
{
    const OPRGBA32ColorProfileTransform transform(loaded(source(int(state.range(1)))), loaded(profiles::srgb()));
    QImage image(side, side, QImage::Format_ARGB32);
    for (auto _ : state) {
        restore(image.bits(), int(state.range(0)));
        transform(image);
    }
    report(state);
}

void cms_rows_lcms2(benchmark::State &state)
{
    const QByteArray from = source(int(state.range(1))), to = profiles::srgb();
    cmsHPROFILE in = cmsOpenProfileFromMem(from.constData(), cmsUInt32Number(from.size()));
    cmsHPROFILE out = cmsOpenProfileFromMem(to.constData(), cmsUInt32Number(to.size()));
    cmsHTRANSFORM transform = cmsCreateTransform(in, TYPE_BGRA_8, out, TYPE_BGRA_8, INTENT_PERCEPTUAL, 0);
    std::vector<OPRGBA32i> pixels(pixelCount);
    for (auto _ : state) {
        restore(pixels.data(), int(state.range(0)));
        for (int y = 0; y < side; ++y)
            cmsDoTransform(transform, &pixels[size_t(y) * side], &pixels[size_t(y) * side], side);
    }
    cmsDeleteTransform(transform);
    cmsCloseProfile(in);
    cmsCloseProfile(out);
    report(state);
}

void cms_make_transform(benchmark::State &state)
{
    const KXCMSProfile from = loaded(source(int(state.range(0)))), to = loaded(profiles::srgb());
    for (auto _ : state)
        benchmark::DoNotOptimize(KXCMSTransform(from, to));
}

void cms_copy_transform(benchmark::State &state)
{
    const KXCMSTransform transform(loaded(source(int(state.range(0)))), loaded(profiles::srgb()));
    for (auto _ : state)
        benchmark::DoNotOptimize(KXCMSTransform(transform));
}

BENCHMARK(cms_walk_flat)->ArgsProduct({ { Photo, Random, Uniform }, { Matrix, Tables } })->UseRealTime();
BENCHMARK(cms_walk_bitmap)->ArgsProduct({ { Photo, Random, Uniform }, { Matrix, Tables } })->UseRealTime();
BENCHMARK(cms_rows_lcms2)->ArgsProduct({ { Photo, Random, Uniform }, { Matrix, Tables } })->UseRealTime();
BENCHMARK(cms_make_transform)->Arg(Matrix)->Arg(Tables);
BENCHMARK(cms_copy_transform)->Arg(Matrix)->Arg(Tables);

} // namespace
