#pragma once

#include <csetjmp>
#include <exception>

#include <lcms2.h>

namespace tint {

/// The contexts of Little CMS that we use, so that its messages and settings are kept apart from those of an
/// application that uses Little CMS too. They live as long as the process. The first writes messages to the debug log,
/// the second drops them.
cmsContext loggingContext();
cmsContext silentContext();

/// The time during which a thread calls Little CMS, for what must not pass through its C frames.
///
/// Little CMS follows null pointers in places where it gets no memory, and answers in others as it does for bad data.
/// So it never sees that: it is left where it stands, by a jump, and what it allocated since the call began is freed.
class EngineCall {
public:
    EngineCall();
    ~EngineCall();
    EngineCall(const EngineCall &) = delete;
    EngineCall &operator=(const EngineCall &) = delete;

    /// Runs @p body, which calls functions of Little CMS and has nothing that needs to be destroyed. Throws
    /// std::bad_alloc where there is no memory, and what a message handler threw; the call is abandoned then.
    template <class Body>
    void Do(Body body)
    {
        Run([](void *given) { (*static_cast<Body *>(given))(); }, &body);
    }

    /// Whether all that Little CMS made since the call began is gone.
    bool IsAbandoned() const { return m_isAbandoned; }

private:
    friend class Blocks;

    void Run(void (*body)(void *), void *given);
    void Abandon();

    EngineCall *m_outer;
    struct Block *m_first = nullptr; ///< what was allocated and not freed
    std::jmp_buf m_jump;
    bool m_isRunning = false, m_isAbandoned = false;
    std::exception_ptr m_thrown;

    friend void keepForCaller(const std::exception_ptr &exception);
};

} // namespace tint
