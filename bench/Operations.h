#pragma once

#include "catalogue/Operation.h"

namespace bench {

/// The operation of the catalogue with this name for people, or null.
const catalogue::Operation *operationNamed(const std::string &name);

} // namespace bench
