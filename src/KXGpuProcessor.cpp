#include "KXGpuProcessor.h"

#include "support/Log.h"

#include <QtCore/QThread>
#include <QtGui/QOffscreenSurface>
#include <QtGui/QOpenGLContext>
#include <QtGui/QOpenGLFunctions_3_3_Core>
#include <QtGui/QOpenGLShaderProgram>

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

namespace {

constexpr char sourcePath[] = "src/KXGpuProcessor";

/// Runs @p body, which may lack memory: nothing that is thrown may leave a slot.
template <class Body>
void guarded(int line, const Body &body)
{
    support::guarded({ sourcePath, line }, body, support::OnException::Swallow);
}

} // namespace

/// What limits the effect: nothing where there are no pixels.
struct KXGpuProcessor::Mask {
    const uint8_t *pixels;
    QSize size;
    QPoint offset;

    /// The part of a picture under it; of no area where there is none.
    QRect inside(const QSize &picture) const
    {
        if (size.isEmpty())
            return QRect();
        const QRect whole(QPoint(0, 0), picture), own(QPoint(0, 0), size);
        // The size of the last rectangle does not count, as long as it reaches beyond the picture.
        const auto overlap = ClipRects(own, own, whole, QRect(offset, QPoint(INT_MAX, INT_MAX)));
        return overlap ? QRect(overlap->destinationX, overlap->destinationY, overlap->width, overlap->height) : QRect();
    }
};

KXGpuProcessor::KXGpuProcessor()
{
    qRegisterMetaType<RGBA32iImage>("RGBA32iImage");
    qRegisterMetaType<SelectiveParams>("SelectiveParams");
    qRegisterMetaType<QList<SelectiveParams>>("QList<SelectiveParams>");
}

KXGpuProcessor::~KXGpuProcessor()
{
    if (makeCurrent()) {
        cleanupRenderTargets();
        m_Functions->glDeleteBuffers(1, &m_Vbo);
        m_Functions->glDeleteVertexArrays(1, &m_Vao);
        m_Context->doneCurrent();
    }
    delete m_Context;
    delete m_Program;
}

void KXGpuProcessor::setSurface(QOffscreenSurface *surface) { m_Surface = surface; }

/// A context without a surface would report success and be current nowhere.
bool KXGpuProcessor::makeCurrent()
{
    Q_ASSERT_X(
        !m_Context || thread() == QThread::currentThread(), "KXGpuProcessor", "another thread than that of the object");
    return m_Context && m_Surface && m_Context->makeCurrent(m_Surface);
}

void KXGpuProcessor::ensureInitialized()
{
    if (m_Initialized)
        return;
    QSurfaceFormat format;
    format.setVersion(3, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    m_Context = new QOpenGLContext;
    m_Context->setFormat(format);
    if (!m_Context->create())
        return fail(__LINE__, "Failed to create GL 3.3 context");
    format = m_Context->format();
    support::logLine({ sourcePath, __LINE__ },
        QString("Created GL: %1 %2 %3").arg(format.majorVersion()).arg(format.minorVersion()).arg(format.profile()));
    if (format.majorVersion() < 3)
        return fail(__LINE__, "OpenGL 3.x not supported");
    m_Context->moveToThread(QThread::currentThread());
    if (!makeCurrent())
        return fail(__LINE__, "makeCurrent failed");
    m_Functions = m_Context->versionFunctions<QOpenGLFunctions_3_3_Core>();
    if (!m_Functions || !m_Functions->initializeOpenGLFunctions())
        return fail(__LINE__, "Failed to get GL 3.3 functions");
    m_Program = new QOpenGLShaderProgram;
    if (!initShaders())
        return fail(__LINE__, "Shader link failed");
    initQuad();
    cacheUniformLocations();
    m_Functions->glEnable(GL_FRAMEBUFFER_SRGB); // changes nothing with targets of GL_RGBA8
    m_Functions->glDisable(GL_DITHER); // what is drawn are bytes already
    m_Context->doneCurrent();
    m_Initialized = true;
}

/// Leaves nothing of what was made so far, so that another attempt begins anew.
void KXGpuProcessor::fail(int line, const char *text)
{
    support::logLine({ sourcePath, line }, text);
    m_Functions = nullptr;
    delete std::exchange(m_Context, nullptr);
    delete std::exchange(m_Program, nullptr);
    Q_EMIT initializedFailed();
}

bool KXGpuProcessor::initShaders()
{
    const auto logged = [this](bool success, int line) {
        if (!success)
            support::logLine({ sourcePath, line }, m_Program->log());
        return success;
    };
    const bool vertex =
        logged(m_Program->addShaderFromSourceFile(QOpenGLShader::Vertex, ":shaders/pass.vert"), __LINE__);
    const bool fragment =
        logged(m_Program->addShaderFromSourceFile(QOpenGLShader::Fragment, ":shaders/selective_colors.frag"), __LINE__);
    return logged(m_Program->link(), __LINE__) && vertex && fragment;
}

/// Row 0 of a picture is row 0 of its texture and of the target: nothing is turned upside down.
void KXGpuProcessor::initQuad()
{
    const float corners[] = { -1, -1, 0, 0, 1, -1, 1, 0, -1, 1, 0, 1, 1, 1, 1, 1 }; // x, y, u, v
    m_Functions->glGenVertexArrays(1, &m_Vao);
    m_Functions->glGenBuffers(1, &m_Vbo);
    m_Functions->glBindVertexArray(m_Vao);
    m_Functions->glBindBuffer(GL_ARRAY_BUFFER, m_Vbo);
    m_Functions->glBufferData(GL_ARRAY_BUFFER, sizeof corners, corners, GL_STATIC_DRAW);
    for (const GLuint attribute : { 0u, 1u }) {
        m_Functions->glEnableVertexAttribArray(attribute);
        m_Functions->glVertexAttribPointer(attribute, 2, GL_FLOAT, GL_FALSE, 4 * sizeof(float),
            reinterpret_cast<const void *>(attribute * 2 * sizeof(float)));
    }
    m_Functions->glBindVertexArray(0);
}

void KXGpuProcessor::cacheUniformLocations()
{
    m_Program->bind();
    m_ModeLocation = m_Program->uniformLocation("uMode");
    m_TextureLocation = m_Program->uniformLocation("uTexture");
    m_UseMaskLocation = m_Program->uniformLocation("uUseMask");
    m_SelectionMaskLocation = m_Program->uniformLocation("uSelectionMask");
    m_MaskOffsetLocation = m_Program->uniformLocation("uMaskOffset");
    m_MaskSizeLocation = m_Program->uniformLocation("uMaskSize");
    for (int range = 0; range < RangeCount; ++range) {
        m_CyanLocations[range] = m_Program->uniformLocation(QString("uCyan[%1]").arg(range));
        m_MagentaLocations[range] = m_Program->uniformLocation(QString("uMagenta[%1]").arg(range));
        m_YellowLocations[range] = m_Program->uniformLocation(QString("uYellow[%1]").arg(range));
        m_BlackLocations[range] = m_Program->uniformLocation(QString("uBlack[%1]").arg(range));
    }
}

/// Whether the context takes textures of this size; logged if not.
bool KXGpuProcessor::isWithinLimit(int width, int height)
{
    GLint limit = 0;
    m_Functions->glGetIntegerv(GL_MAX_TEXTURE_SIZE, &limit);
    if (std::max(width, height) <= limit)
        return true;
    support::logLine(
        { sourcePath, __LINE__ }, QString("Size %1 x %2 is beyond the limit of %3").arg(width).arg(height).arg(limit));
    return false;
}

void KXGpuProcessor::createRenderTargets(int width, int height)
{
    const auto texture = [&](GLenum format) {
        GLuint name = 0;
        m_Functions->glGenTextures(1, &name);
        m_Functions->glBindTexture(GL_TEXTURE_2D, name);
        m_Functions->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, format, GL_UNSIGNED_BYTE, nullptr);
        m_Functions->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        m_Functions->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        return name;
    };
    m_InputTexture = texture(GL_BGRA);
    m_OutputTexture = texture(GL_RGBA);
    m_Functions->glGenFramebuffers(1, &m_Fbo);
    m_Functions->glBindFramebuffer(GL_FRAMEBUFFER, m_Fbo);
    m_Functions->glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_OutputTexture, 0);
    if (m_Functions->glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE)
        support::logLine({ sourcePath, __LINE__ }, "FBO incomplete");
    m_Functions->glBindFramebuffer(GL_FRAMEBUFFER, 0);
    m_Width = width;
    m_Height = height;
    m_TargetsReady = true;
}

/// GL passes over names of 0.
void KXGpuProcessor::cleanupRenderTargets()
{
    const GLuint textures[] = { m_MaskTexture, m_OutputTexture, m_InputTexture };
    m_Functions->glDeleteFramebuffers(1, &m_Fbo);
    m_Functions->glDeleteTextures(3, textures);
    m_MaskTexture = m_Fbo = m_OutputTexture = m_InputTexture = 0;
    m_TargetsReady = false;
}

void KXGpuProcessor::begin_filter(int width, int height)
{
    ensureInitialized();
    if (!makeCurrent())
        return;
    m_FilterActive = true;
    if (QSize(width, height).isEmpty() || !isWithinLimit(width, height)) // not all drivers survive such textures
        width = height = 0;
    if (!m_TargetsReady)
        createRenderTargets(width, height);
    m_Result = RGBA32iImage();
    guarded(__LINE__, [&] { m_Result = RGBA32iImage(width, height, false); });
    m_NeedUpload = true;
    m_Context->doneCurrent();
}

void KXGpuProcessor::end_filter()
{
    if (!m_FilterActive || !makeCurrent())
        return;
    cleanupRenderTargets();
    m_FilterActive = false;
    m_NeedUpload = true;
    m_Context->doneCurrent();
}

void KXGpuProcessor::process_selective_color(uint8_t *input, int width, int height,
    const QList<SelectiveParams> &params, int mode, uint8_t *mask, int mask_width, int mask_height, int mask_offset_x,
    int mask_offset_y, bool final)
{
    if (!m_FilterActive) {
        qWarning("Call beginFilter() first!");
        return;
    }
    ensureInitialized();
    if (!makeCurrent()) {
        qWarning("makeCurrent failed");
        return;
    }
    const QSize size(width, height), ofResult(m_Result.Width(), m_Result.Height());
    if (!input || !m_Result.Bits() || size != ofResult || size != QSize(m_Width, m_Height))
        support::logLine({ sourcePath, __LINE__ }, "Nothing to draw: no pixels, or another size than in begin_filter");
    else if (!mask || isWithinLimit(mask_width, mask_height))
        draw(input, params, mode, { mask, { mask_width, mask_height }, { mask_offset_x, mask_offset_y } }, final);
    m_Context->doneCurrent();
    if (final)
        return;
    RGBA32iImage result;
    guarded(__LINE__, [&] { m_Result.CopyTo(result, false); });
    Q_EMIT finished(result);
}

void KXGpuProcessor::setParams(const QList<SelectiveParams> &params, int mode)
{
    m_Program->setUniformValue(m_ModeLocation, mode);
    for (int range = 0; range < RangeCount; ++range) {
        const SelectiveParams inks = params.value(range); // zeros where there are fewer
        m_Program->setUniformValue(m_CyanLocations[range], inks.cyan);
        m_Program->setUniformValue(m_MagentaLocations[range], inks.magenta);
        m_Program->setUniformValue(m_YellowLocations[range], inks.yellow);
        m_Program->setUniformValue(m_BlackLocations[range], inks.black);
    }
}

/// Leaves the mask on texture unit 1. Gives the part of the picture that it lets the effect through to.
QRect KXGpuProcessor::setMask(const Mask &mask)
{
    const QSize picture(m_Width, m_Height);
    m_Program->setUniformValue(m_UseMaskLocation, mask.pixels ? 1 : 0);
    if (!mask.pixels)
        return QRect(QPoint(0, 0), picture);
    m_Functions->glActiveTexture(GL_TEXTURE1);
    if (m_MaskTexture == 0)
        m_Functions->glGenTextures(1, &m_MaskTexture);
    m_Functions->glBindTexture(GL_TEXTURE_2D, m_MaskTexture);
    m_Functions->glTexImage2D(
        GL_TEXTURE_2D, 0, GL_RGBA8, mask.size.width(), mask.size.height(), 0, GL_RGBA, GL_UNSIGNED_BYTE, mask.pixels);
    m_Functions->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    m_Functions->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    m_Program->setUniformValue(m_SelectionMaskLocation, 1);
    m_Program->setUniformValue(m_MaskOffsetLocation, float(mask.offset.x()), float(mask.offset.y()));
    m_Program->setUniformValue(m_MaskSizeLocation, float(mask.size.width()), float(mask.size.height()));
    return mask.inside(picture);
}

/// Into @p input if @p isFinal, into the result if not. Both, and the targets, are of one size.
void KXGpuProcessor::draw(
    uint8_t *input, const QList<SelectiveParams> &params, int mode, const Mask &mask, bool isFinal)
{
    uint8_t *const result = reinterpret_cast<uint8_t *>(m_Result.Bits());
    m_Functions->glActiveTexture(GL_TEXTURE0);
    m_Functions->glBindTexture(GL_TEXTURE_2D, m_InputTexture);
    if (m_NeedUpload) {
        m_Functions->glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, m_Width, m_Height, GL_BGRA, GL_UNSIGNED_BYTE, input);
        m_NeedUpload = false;
        if (mask.pixels)
            std::memcpy(result, input, size_t(m_Width) * size_t(m_Height) * 4);
    }

    m_Functions->glBindFramebuffer(GL_FRAMEBUFFER, m_Fbo);
    m_Functions->glViewport(0, 0, m_Width, m_Height);
    m_Program->bind();
    m_Program->setUniformValue(m_TextureLocation, 0);
    setParams(params, mode);
    const QRect changed = setMask(mask);
    m_Functions->glActiveTexture(GL_TEXTURE0);
    m_Functions->glBindVertexArray(m_Vao);
    m_Functions->glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);

    const size_t first = size_t(changed.y()) * size_t(m_Width) + size_t(changed.x());
    m_Functions->glPixelStorei(GL_PACK_ROW_LENGTH, m_Width);
    m_Functions->glReadPixels(changed.x(), changed.y(), changed.width(), changed.height(), GL_BGRA, GL_UNSIGNED_BYTE,
        (isFinal ? input : result) + first * 4);
    m_Functions->glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    m_Functions->glBindFramebuffer(GL_FRAMEBUFFER, 0);
}
