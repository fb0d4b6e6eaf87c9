#pragma once

#include "Failure.h"

#include <OPAdjustmentProcessing.h>

#include <atomic>
#include <mutex>
#include <string>

namespace tour {

/// A bar in the terminal, driven by a filter's signals; where the output is no terminal, a few percentages on a line.
/// May be called from any thread, and with values that overtake one another.
class ProgressBar {
public:
    explicit ProgressBar(const std::string &label);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void setRange(int maximum);
    void setValue(int value);

private:
    void show(int percent);

    std::mutex m_mutex;
    std::string m_label;
    bool m_terminal;
    int m_maximum = 0;
    int m_percent = -1; ///< the last one shown
};

/// Returns what @p run does, under a bar that follows the signals of @p filter. Throws Stopped where @p stop is set.
template <class Run>
auto withProgress(OPAdjustmentProcessing &filter, const std::string &label, const std::atomic<bool> &stop, Run run)
{
    ProgressBar bar(label);
    QObject::connect(
        &filter, &OPAdjustmentProcessing::RangeChanged, &filter, [&bar](int, int maximum) { bar.setRange(maximum); },
        Qt::DirectConnection);
    QObject::connect(
        &filter, &OPAdjustmentProcessing::ProgressChanged, &filter, [&bar](int value) { bar.setValue(value); },
        Qt::DirectConnection);
    auto result = run();
    if (stop)
        throw Stopped();
    return result;
}

} // namespace tour
