#include "OPAdjustmentProcessing.h"

OPAdjustmentProcessing::OPAdjustmentProcessing() = default;
OPAdjustmentProcessing::~OPAdjustmentProcessing() = default;

void OPAdjustmentProcessing::IncrementProgress() { Q_EMIT ProgressChanged(static_cast<int>(++m_progress)); }

void OPAdjustmentProcessing::SetProgress(unsigned int value)
{
    m_progress = value;
    Q_EMIT ProgressChanged(static_cast<int>(value));
}

void OPAdjustmentProcessing::SetRange(unsigned int value)
{
    m_range = value;
    Q_EMIT RangeChanged(0, static_cast<int>(value));
}
