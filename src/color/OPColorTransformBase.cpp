#include "OPColorTransformBase.h"

OPColorTransformBase::~OPColorTransformBase() = default;
