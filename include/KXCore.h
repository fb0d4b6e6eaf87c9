#pragma once

/// @file
/// Everything that the library offers.

#include "AVX2LIB.h"
#include "BaseTransformation.h"
#include "KXBlend.h"
#include "KXCMSProfile.h"
#include "KXComposer.h"
#include "KXEXIFElement.h"
#include "KXGlobal.h"
#include "KXImage.h"
#include "KXPixels.h"
#include "KXTileManager64.h"
#include "OPColorTransformBase.h"
#include "OPTransformImageColors.h"
