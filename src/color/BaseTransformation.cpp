#include "BaseTransformation.h"

BaseTransformation::~BaseTransformation() = default;
