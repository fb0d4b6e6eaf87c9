#pragma once

#include "BaseTransformation.h"
#include "KXImage.h"

#include <atomic>
#include <functional>
#include <memory>

namespace color {

/// OPImageWalk::PositionAware, which for a tiled image waits for its workers as for a flat one.
void walkAtPositions(const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image, const QRect &rect,
    const std::atomic<bool> &cancel, const std::function<void()> &progress);

} // namespace color
