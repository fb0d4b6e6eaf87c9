#include "Scene.h"
#include "Suite.h"

#include <vips/vips.h>

namespace bench {

namespace {

/// Draws @p made into memory, on all processors, and lets it go.
void evaluate(VipsImage *made)
{
    size_t size = 0;
    g_free(vips_image_write_to_memory(made, &size));
    g_object_unref(made);
}

VipsImage *picture(Scene scene)
{
    return vips_image_new_from_memory(
        pixelsOf(scene), size_t(pixels) * sizeof(OPRGBA32i), width, height, 4, VIPS_FORMAT_UCHAR);
}

} // namespace

/// libvips' Gaussian on four bands of 8 bits, without weighting by alpha, and its composition of straight pixels.
void addVips(Suite &suite)
{
    if (VIPS_INIT("kxcore_bench"))
        return;
    vips_cache_set_max(0); // each run is a new one
    const auto prepare = [] {};
    for (const int sigma : gaussianSigmas)
        suite.addPeer(gaussianName(sigma), Column::Vips, sigma < 20 ? 3 : 1, prepare, [=] {
            VipsImage *const source = picture(layer), *made = nullptr;
            if (!vips_gaussblur(source, &made, double(sigma), "precision", VIPS_PRECISION_INTEGER, nullptr))
                evaluate(made);
            g_object_unref(source);
        });
    for (const Resizing &resizing : resizings)
        if (resizing.filter == Resizing::Lanczos)
            suite.addPeer(resizing.name, Column::Vips, 3, prepare, [=] {
                VipsImage *const source = picture(photoLayer), *made = nullptr;
                if (!vips_resize(source, &made, resizing.factor, "kernel", VIPS_KERNEL_LANCZOS3, nullptr))
                    evaluate(made);
                g_object_unref(source);
            });
    suite.addPeer(composeName(KXCompositionMode::SourceOver), Column::Vips, 3, prepare, [] {
        VipsImage *const over = picture(layer), *const under = picture(canvas), *made = nullptr;
        VipsImage *const base = vips_image_copy_memory(under);
        over->Type = base->Type = VIPS_INTERPRETATION_sRGB;
        if (!vips_composite2(base, over, &made, VIPS_BLEND_MODE_OVER, nullptr))
            evaluate(made);
        g_object_unref(base);
        g_object_unref(under);
        g_object_unref(over);
    });
}

} // namespace bench
