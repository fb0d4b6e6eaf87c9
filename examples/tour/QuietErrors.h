#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace tour {

/// While it lives nothing reaches stderr: the libraries below Qt's image plug-ins print there in their own words.
class QuietErrors {
public:
    QuietErrors()
        : m_kept(dup(STDERR_FILENO))
    {
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(nowhere, STDERR_FILENO);
        close(nowhere);
    }
    ~QuietErrors()
    {
        dup2(m_kept, STDERR_FILENO);
        close(m_kept);
    }
    QuietErrors(const QuietErrors &) = delete;
    QuietErrors &operator=(const QuietErrors &) = delete;

private:
    int m_kept;
};

} // namespace tour
