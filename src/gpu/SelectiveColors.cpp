#include "KXGpuService.h"
#include "KXImage.h"
#include "KXSelectiveColorsTransformation.h"

// Not beside the rest of the class in src/color, which knows no GPU.

void KXSelectiveColorsTransformation::operator()(RGBA32iImage &image, const QRect &rect, bool useGpu)
{
    KXGpuService *const service = useGpu ? KXGpuService::get_instance() : nullptr;
    const bool isInside =
        !image.IsTiled() && qint64(rect.width()) * rect.height() <= qint64(image.Width()) * image.Height();
    if (!service || !isInside)
        return;
    const auto bytes = reinterpret_cast<uint8_t *>(image.Bits());
    Q_EMIT service->begin_filter(rect.width(), rect.height());
    Q_EMIT service->process_selective_color(
        bytes, rect.width(), rect.height(), m_Params, m_Mode, nullptr, 0, 0, 0, 0, true);
    Q_EMIT service->end_filter();
}

void KXSelectiveColorsTransformation::operator()(QImage &, const QRect &, bool) { }
