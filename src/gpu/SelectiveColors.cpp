#include "KXGpuService.h"
#include "KXImage.h"
#include "KXSelectiveColorsTransformation.h"

#include "support/Arithmetic.h"

using arithmetic::wrappingAdd, arithmetic::wrappingSubtract;

// Not beside the rest of the class in src/color, which knows no GPU.

void KXSelectiveColorsTransformation::operator()(RGBA32iImage &image, const QRect &rect, bool useGpu)
{
    KXGpuService *const service = useGpu ? KXGpuService::get_instance() : nullptr;
    const auto length = [](int first, int last) { return wrappingAdd(wrappingSubtract(last, first), 1); };
    const int width = length(rect.left(), rect.right()), height = length(rect.top(), rect.bottom());
    const bool isInside = !image.IsTiled() && qint64(width) * height <= qint64(image.Width()) * image.Height();
    if (!service || !isInside)
        return;
    const auto bytes = reinterpret_cast<uint8_t *>(image.Bits());
    Q_EMIT service->begin_filter(width, height);
    Q_EMIT service->process_selective_color(bytes, width, height, m_Params, m_Mode, nullptr, 0, 0, 0, 0, true);
    Q_EMIT service->end_filter();
}

void KXSelectiveColorsTransformation::operator()(QImage &, const QRect &, bool) { }
