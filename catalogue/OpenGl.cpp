#include "OpenGl.h"

#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

namespace catalogue {

OpenGl::OpenGl()
{
    RGBA32iImage pixel(1, 1, false);
    KXGpuService::make_instance();
    Begin(pixel);
    m_isThere = Draw({}).Rect() == pixel.Rect();
    if (!m_isThere)
        KXGpuService::destroy();
}

OpenGl::~OpenGl() { KXGpuService::destroy(); }

void OpenGl::Begin(RGBA32iImage &image)
{
    m_image = &image;
    if (KXGpuService *const gpu = KXGpuService::get_instance()) {
        gpu->end_filter();
        gpu->begin_filter(image.Width(), image.Height());
    }
}

RGBA32iImage OpenGl::Draw(const SelectiveParamsList &list)
{
    RGBA32iImage result;
    KXGpuService *const gpu = KXGpuService::get_instance();
    if (!gpu)
        return result;
    bool isAnswered = false;
    QEventLoop loop;
    QObject::connect(gpu, &KXGpuService::finished, &loop, [&](const RGBA32iImage &picture) {
        result = picture;
        isAnswered = true;
        loop.quit();
    });
    QObject::connect(gpu, &QObject::destroyed, &loop, &QEventLoop::quit);
    QTimer patience;
    QObject::connect(&patience, &QTimer::timeout, &loop, &QEventLoop::quit);
    patience.start(30000);
    gpu->process_selective_color(reinterpret_cast<uint8_t *>(m_image->Bits()), m_image->Width(), m_image->Height(),
        list.m_Params, list.m_Mode, nullptr, 0, 0, 0, 0, false);
    loop.exec();
    if (!isAnswered)
        KXGpuService::destroy(); // waits, so that the caller's picture may go
    return result;
}

} // namespace catalogue
