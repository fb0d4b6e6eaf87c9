#pragma once

#include "BaseTransformation.h"

#include <QtCore/QRect>

/// What the fake kernels were called with last.
struct FakeWalks {
    int plain = 0, iterative = 0, positionAware = 0; ///< calls so far
    OPRGBA32i *data = nullptr;
    int stride = 0;
    QRect rect;
    const BaseTransformation *transformation = nullptr;
    unsigned char *block = nullptr; ///< of the kernel of a transformation
    bool flag = false;
};
