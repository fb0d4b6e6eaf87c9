#include "KXGpuService.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QOffscreenSurface>
#include <QtGui/QSurfaceFormat>

#include <utility>

KXGpuService *KXGpuService::m_instance = nullptr;

void KXGpuService::make_instance()
{
    Q_ASSERT_X(qGuiApp && qGuiApp->thread() == QThread::currentThread(), "KXGpuService",
        "not the GUI thread of a QGuiApplication");
    if (!m_instance)
        m_instance = new KXGpuService;
}

KXGpuService *KXGpuService::get_instance() { return m_instance; }

void KXGpuService::destroy() { delete std::exchange(m_instance, nullptr); }

KXGpuService::KXGpuService()
    : m_Processor(new KXGpuProcessor)
    , m_Surface(new QOffscreenSurface)
{
    m_Surface->setFormat(QSurfaceFormat::defaultFormat());
    m_Surface->create();
    m_Processor->setSurface(m_Surface);
    m_Processor->moveToThread(&m_Thread);

    connect(&m_Thread, &QThread::started, m_Processor, &KXGpuProcessor::ensureInitialized);
    connect(m_Processor, &KXGpuProcessor::finished, this, &KXGpuService::finished);
    connect(m_Processor, &KXGpuProcessor::initializedFailed, this, &KXGpuService::destroy, Qt::QueuedConnection);
    connect(&m_Thread, &QThread::finished, m_Processor, &QObject::deleteLater);
    connect(this, &KXGpuService::process_selective_color, m_Processor, &KXGpuProcessor::process_selective_color);
    connect(this, &KXGpuService::begin_filter, m_Processor, &KXGpuProcessor::begin_filter);
    connect(this, &KXGpuService::end_filter, m_Processor, &KXGpuProcessor::end_filter);
    m_Thread.start(QThread::InheritPriority);
    if (!m_Thread.isRunning()) // the system gives no thread
        Q_EMIT m_Processor->initializedFailed();
}

/// The thread deletes the processor, with the context, as its last act: the surface is still there then.
KXGpuService::~KXGpuService()
{
    if (m_Thread.isRunning()) {
        m_Thread.quit();
        m_Thread.wait();
    } else {
        delete m_Processor;
    }
    delete m_Surface;
}
