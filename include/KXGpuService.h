#pragma once

/// @file
/// Selective colours by OpenGL, for a preview that follows a slider: the picture goes to the GPU once, and is drawn
/// again with each change. docs/behaviour/gpu.md has an example.

#include "KXGlobal.h"
#include "KXGpuProcessor.h"

#include <QtCore/QObject>
#include <QtCore/QThread>

/// The one object through which an application reaches the GPU. It owns a thread and a @c KXGpuProcessor that lives
/// there; **its signals are what an application emits to have something done**, but for @c finished, which it connects.
/// What the calls do, and how long pointers must live, stands at the processor's slots of the same names.
///
/// Threads  Everything here is for the GUI thread, which @c finished comes to as well. Calls return at once; they are
///          done one after the other, in their order.
/// Errors   **Where there is no OpenGL 3.3, or no thread to be had, the service destroys itself**: soon after
///          @c make_instance, once the event loop of the GUI thread runs, @c get_instance is null and stays so until
///          the next @c make_instance. Calls before that do nothing and get no @c finished. Ask @c get_instance each
///          time, or watch @c destroyed.
class KX_EXPORT KXGpuService : public QObject {
    Q_OBJECT

public:
    /// Makes the service, unless there is one. Needs a QGuiApplication.
    static void make_instance();

    /// The service, or null.
    static KXGpuService *get_instance();

    /// Ends the thread and deletes the service, if there is one; before the QGuiApplication ends at the latest. Waits
    /// until the thread is done: afterwards nothing uses a pointer that a call was given, and of the calls that were
    /// still waiting some may have been dropped.
    static void destroy();

Q_SIGNALS:
    /// A call that was not final is done, and this is what it gave.
    void finished(RGBA32iImage result);

    /// Calls the processor's slots of these names.
    void begin_filter(int width, int height);
    void end_filter();
    void process_selective_color(uint8_t *input, int width, int height, const QList<SelectiveParams> &params, int mode,
        uint8_t *mask, int mask_width, int mask_height, int mask_offset_x, int mask_offset_y, bool final);

private:
    KXGpuService();
    ~KXGpuService() override;

    static KXGpuService *m_instance;

    QThread m_Thread;
    KXGpuProcessor *m_Processor = nullptr;
    QOffscreenSurface *m_Surface = nullptr;
};
