#pragma once

/// @file
/// Everything that the library offers.

#include "AVX2LIB.h"
#include "BaseTransformation.h"
#include "KXBlend.h"
#include "KXBlur.h"
#include "KXCMSProfile.h"
#include "KXCMSTransform.h"
#include "KXComposer.h"
#include "KXConverter.h"
#include "KXEXIFElement.h"
#include "KXGaussianBase.h"
#include "KXGlobal.h"
#include "KXImage.h"
#include "KXIterativeConvolution.h"
#include "KXKernels.h"
#include "KXPixels.h"
#include "KXTileManager64.h"
#include "OPAdjustmentProcessing.h"
#include "OPBoxBlurProcessing.h"
#include "OPColorTransformBase.h"
#include "OPColorTransformStack.h"
#include "OPGaussianBlurProcessing.h"
#include "OPImageUtils.h"
#include "OPRGBA32ColorProfileTransform.h"
#include "OPTransformImageColors.h"
