#pragma once

#include <exception>

#include <lcms2.h>

namespace tint {

/// The contexts of Little CMS that we use, so that its messages and settings are kept apart from those of an
/// application that uses Little CMS too. They live as long as the process. The first writes messages to the debug log,
/// the second drops them. Used within an EngineCall.
cmsContext loggingContext();
cmsContext silentContext();

/// The time during which a thread calls Little CMS: what must not leave through its C frames is kept here, for Finish.
///
/// Little CMS gives up where it gets no memory, and answers as it does for bad data, or goes on without something that
/// is not essential. Either way the answer is not that of the data.
class EngineCall {
public:
    EngineCall();
    ~EngineCall();
    EngineCall(const EngineCall &) = delete;
    EngineCall &operator=(const EngineCall &) = delete;

    /// Throws what a message handler threw, or std::bad_alloc where there was no memory, since the call began.
    void Finish() const;

    /// The calling thread's innermost call; null outside of one.
    static EngineCall *OfThread();

    void Lacks() { m_lacksMemory = true; }
    void Threw(const std::exception_ptr &exception) { m_thrown = exception; }

private:
    EngineCall *m_outer;
    std::exception_ptr m_thrown;
    bool m_lacksMemory = false;
};

} // namespace tint
