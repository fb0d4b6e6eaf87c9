#pragma once

#include "BaseTransformation.h"

#include <memory>

namespace color {

/// An adjustment that changes a run of pixels in one call. The walks, the module's too, give it what lies together of
/// each row. The bytes are those of the form for one pixel.
class RunTransformation : public BaseTransformation {
public:
    virtual void Run(OPRGBA32i *pixels, int count) const = 0;
};

/// @p transformation as a walk is to use it: a RunTransformation for a class that offers such a form, otherwise itself.
std::shared_ptr<BaseTransformation> inRuns(const std::shared_ptr<BaseTransformation> &transformation);

} // namespace color
