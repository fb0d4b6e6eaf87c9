#include "OPBoxBlurProcessing.h"
#include "OPGaussianBlurProcessing.h"

#include "Scene.h"
#include "Suite.h"

#include <cstring>
#include <vector>

namespace bench {

namespace {

constexpr unsigned layer = 1;
std::atomic<bool> cancel { false };

RGBA32iImage &image()
{
    static RGBA32iImage flat = flatPicture(layer);
    return flat;
}

template <class Filter, class Set>
void add(Suite &suite, const std::string &name, int repetitions, Set set)
{
    suite.addOurs(
        name, repetitions, [] { restore(image(), layer)(); },
        [set] {
            Filter filter(cancel);
            typename Filter::BlurData data;
            data.image = image();
            set(data.params);
            filter.run(data);
        });
}

} // namespace

std::string gaussianName(int sigma) { return "gaussian blur, sigma " + std::to_string(sigma); }
std::string boxName(int radius) { return "box blur, radius " + std::to_string(radius); }

void addFilters(Suite &suite)
{
    // The speed of the memory, to hold the rest against: the time in which an image can be copied at all.
    suite.addRow("copy of the image");
    suite.addOurs(
        "copy of the image", 9, [] {},
        [] {
            static std::vector<OPRGBA32i> copy(static_cast<size_t>(pixels));
            std::memcpy(static_cast<void *>(copy.data()), pixelsOf(layer), size_t(pixels) * sizeof(OPRGBA32i));
        });

    const struct {
        int sigma;
        double ratio;
        int repetitions;
    } gaussians[] = { { 1, 1, 9 }, { 5, 1.8, 9 }, { 20, 3, 5 }, { 100, 6, 3 } };
    for (const auto &g : gaussians) {
        suite.addRow(gaussianName(g.sigma), { Column::OpenCV, {}, g.ratio });
        add<OPGaussianBlurProcessing>(
            suite, gaussianName(g.sigma), g.repetitions, [s = g.sigma](auto &params) { params.sigma = s; });
    }
    for (const int radius : { 5, 50 }) {
        suite.addRow(boxName(radius), { Column::OpenCV, {}, 0.8 });
        add<OPBoxBlurProcessing>(suite, boxName(radius), 9, [radius](auto &params) { params.radius = radius; });
    }
}

} // namespace bench
