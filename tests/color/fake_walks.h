#pragma once

#include "BaseTransformation.h"

#include <QtCore/QRect>

#include <atomic>

/// What the fake kernels were called with last.
struct FakeWalks {
    QByteArray calls; ///< a letter for each: Plain, Iterative or Located
    OPRGBA32i *data = nullptr;
    int stride = 0;
    QRect rect;
    const std::atomic<bool> *cancel = nullptr;
};
