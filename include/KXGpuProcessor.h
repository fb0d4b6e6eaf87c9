#pragma once

/// @file
/// Selective colours by OpenGL: the worker. Applications use KXGpuService, which owns one and its thread.
///
/// A run goes from @c begin_filter to @c end_filter. The picture is uploaded by the first call between them, and each
/// call draws it again with other parameters:
///
/// | call | what it leaves |
/// |---|---|
/// | @c begin_filter | targets of that size; the next call uploads |
/// | @c process_selective_color, not final | @c finished with the result; the caller's pixels as they were |
/// | @c process_selective_color, final | the result in the caller's pixels, and no signal |
/// | @c end_filter | nothing on the GPU; the next @c begin_filter may have another size |
///
/// Threads   Everything but the constructor, @c setSurface and @c moveToThread is for the thread that the object lives
///           in, the destructor too; a debug build asserts it. The service's signals are emitted from the GUI thread;
///           the slots here run later, one after the other and in the order of the signals.
/// Pointers  `input` and `mask` are the caller's. **Until the call is done both must live, nobody may write what they
///           point to, and nobody may read the `input` of a final call.** It is done when its @c finished arrives; a
///           final call, when the @c finished of a later call arrives or @c KXGpuService::destroy returns. A call that
///           warns gives no @c finished, and has not touched them. Parameters are copied with the signal; what
///           @c finished brings is the receiver's own.
/// Log       "[src/KXGpuProcessor:line] text" by qDebug, and the warnings of @c process_selective_color by qWarning.

#include "KXGlobal.h"
#include "KXImage.h"
#include "SelectiveParams.h"

#include <QtCore/QList>
#include <QtCore/QObject>

#include <cstdint>

QT_BEGIN_NAMESPACE
class QOffscreenSurface;
class QOpenGLContext;
class QOpenGLFunctions_3_3_Core;
class QOpenGLShaderProgram;
QT_END_NAMESPACE

/// Runs selective colours in an OpenGL context of its own.
///
/// The results are those of @c KXSelectiveColorsTransformation: single precision there and here, with the same
/// operations in the same order. A driver that contracts multiplications and additions may move a channel by 1, in one
/// of a hundred thousand at most. An ink that is infinite or a NaN, which gives defined results there, need not here.
class KX_EXPORT KXGpuProcessor : public QObject {
    Q_OBJECT

public:
    KXGpuProcessor();
    ~KXGpuProcessor() override;

    /// Where the context is made current; nothing is ever drawn on it. The caller's: made and created on the GUI
    /// thread, it outlives this object.
    void setSurface(QOffscreenSurface *surface);

    /// Makes the context and the program, unless they are there. Where that fails, it logs why ("Failed to create GL
    /// 3.3 context", "OpenGL 3.x not supported", "makeCurrent failed", "Failed to get GL 3.3 functions", or what the
    /// compiler says and "Shader link failed") and emits @c initializedFailed; the next call tries again.
    void ensureInitialized();

Q_SIGNALS:
    /// A call that is not final is done. @p result has the size of the run; nobody shares its pixels.
    void finished(RGBA32iImage result);

    /// There is no OpenGL 3.3 here.
    void initializedFailed();

public Q_SLOTS:
    /// Begins a run with pictures of @p width by @p height: the next call uploads its `input`.
    ///
    /// A run that is still on keeps its targets: **begin anew only with the same size**, or end it before.
    ///
    /// A run cannot draw with sizes of 0 and below, with those beyond what the context takes, logged as "Size 70000 x
    /// 20 is beyond the limit of 16384", and with those that there is no memory for. Then the log says "FBO incomplete"
    /// or what was thrown, calls change nothing, and what @c finished brings has no pixels, or transparent ones where
    /// it was the memory of the GPU that did not suffice.
    void begin_filter(int width, int height);

    /// Ends the run, and frees what it had on the GPU. Nothing happens outside of one.
    void end_filter();

    /// Draws the picture of this run with these parameters.
    ///
    /// Input   @p width * @p height pixels, B, G, R, A each, of the size of @c begin_filter; a call of another size
    ///         draws nothing, and says so. Read by the first call of a run alone: later calls draw the same picture,
    ///         whatever has become of it. A final call writes the result there, and there is no signal; otherwise the
    ///         result goes into @c finished, and @p input stays.
    /// Inks    By @c SelectiveParamsList::Range, in per cent; missing ones count as 0. A @p mode of 0 is relative, any
    ///         other absolute.
    /// Mask    @p mask_width * @p mask_height pixels, whose fourth byte says how much of the effect comes through; null
    ///         for all of it. Its top left pixel lies on (@p mask_offset_x, @p mask_offset_y) of the picture, and parts
    ///         of it may lie outside. **Outside of the mask nothing changes**: a final call does not write there, and
    ///         the first call, if it has a mask, puts the picture around it into the results of the run. A run whose
    ///         first call has none shows its earlier results around later masks.
    /// Errors  Outside of a run it warns "Call beginFilter() first!", and where the context is lost "makeCurrent
    ///         failed"; nothing else happens then. A mask beyond what the context takes is logged as a size, and the
    ///         call draws nothing.
    /// Cost    One upload in each run, of the mask in each call; one draw; one readback, of the mask's rectangle alone
    ///         where there is one; and a copy of the whole result for @c finished.
    void process_selective_color(uint8_t *input, int width, int height, const QList<SelectiveParams> &params, int mode,
        uint8_t *mask, int mask_width, int mask_height, int mask_offset_x, int mask_offset_y, bool final);

private:
    static constexpr int RangeCount = SelectiveParamsList::Blacks + 1;
    struct Mask;

    bool makeCurrent();
    void fail(int line, const char *text);
    bool initShaders();
    void initQuad();
    void cacheUniformLocations();
    bool isWithinLimit(int width, int height);
    void createRenderTargets(int width, int height);
    void cleanupRenderTargets();
    void setParams(const QList<SelectiveParams> &params, int mode);
    QRect setMask(const Mask &mask);
    void draw(uint8_t *input, const QList<SelectiveParams> &params, int mode, const Mask &mask, bool isFinal);

    QOpenGLContext *m_Context = nullptr;
    QOffscreenSurface *m_Surface = nullptr;
    QOpenGLShaderProgram *m_Program = nullptr;
    QOpenGLFunctions_3_3_Core *m_Functions = nullptr; // the context's
    unsigned int m_Vao = 0, m_Vbo = 0;
    bool m_Initialized = false;
    unsigned int m_InputTexture = 0;
    unsigned int m_OutputTexture = 0;
    unsigned int m_Fbo = 0;
    bool m_FilterActive = false;
    int m_Width = 0, m_Height = 0; // of the targets
    bool m_TargetsReady = false;
    bool m_NeedUpload = true;
    int m_ModeLocation = -1, m_TextureLocation = -1;
    int m_CyanLocations[RangeCount] {}, m_MagentaLocations[RangeCount] {};
    int m_YellowLocations[RangeCount] {}, m_BlackLocations[RangeCount] {};
    unsigned int m_MaskTexture = 0;
    int m_UseMaskLocation = -1, m_SelectionMaskLocation = -1, m_MaskOffsetLocation = -1, m_MaskSizeLocation = -1;
    RGBA32iImage m_Result;
};
