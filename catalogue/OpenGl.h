#pragma once

#include "KXGpuService.h"

namespace catalogue {

/// Selective colours by OpenGL, one call after the other, with an event loop for each answer. The GUI thread's; while
/// one lives, nobody else uses the service.
class OpenGl {
public:
    /// Starts the service, and has it draw a pixel.
    OpenGl();
    ~OpenGl();
    OpenGl(const OpenGl &) = delete;
    OpenGl &operator=(const OpenGl &) = delete;

    /// Whether there is an OpenGL 3.3.
    bool IsThere() const { return m_isThere; }

    /// Begins a run with the flat @p image, which outlives it.
    void Begin(RGBA32iImage &image);

    /// Draws the image of the run. Without pixels where there is no OpenGL, or no answer in half a minute; then the
    /// service is gone.
    RGBA32iImage Draw(const SelectiveParamsList &list);

private:
    RGBA32iImage *m_image = nullptr; // of the run
    bool m_isThere = false;
};

} // namespace catalogue
