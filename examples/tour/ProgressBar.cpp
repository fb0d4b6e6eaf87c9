#include "ProgressBar.h"

#include <cstdint>
#include <cstdio>

#include <unistd.h>

namespace tour {

ProgressBar::ProgressBar(const std::string &label)
    : m_label(label)
    , m_terminal(isatty(STDOUT_FILENO))
{
    if (!m_terminal)
        std::printf("    %s", m_label.c_str());
}

ProgressBar::~ProgressBar()
{
    if (m_terminal)
        std::printf("\r\033[K");
    else
        std::printf("\n");
    std::fflush(stdout);
}

void ProgressBar::setRange(int maximum)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_maximum = maximum;
}

void ProgressBar::setValue(int value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const int percent = m_maximum > 0 ? int(std::int64_t(value) * 100 / m_maximum) : 100;
    if (percent > m_percent)
        show(percent);
}

void ProgressBar::show(int percent)
{
    if (m_terminal) {
        const int filled = percent * 30 / 100;
        std::printf("\r    %s [%s%s] %3d %%", m_label.c_str(), std::string(size_t(filled), '#').c_str(),
            std::string(size_t(30 - filled), ' ').c_str(), percent);
    } else if (percent / 20 > m_percent / 20 || m_percent < 0) {
        std::printf(" %d %%", percent);
    }
    m_percent = percent;
    std::fflush(stdout);
}

} // namespace tour
