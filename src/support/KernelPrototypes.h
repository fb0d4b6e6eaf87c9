#pragma once

/// @file
/// Each kernel of the module as a C prototype. The module defines them under these declarations, so that a signature
/// that drifts does not compile; the library takes the types of its slots from them and never calls them directly: it
/// does not link the module (Kernels.h).

#include "KXImage.h"

#include <atomic>
#include <functional>
#include <vector>

class BaseTransformation;
class KXLinearVignette;
class KXParabolicVignette;
class KXSelectiveColorsTransformation;
class KXWBTransformation;
class OPAlphaThreshold;
class OPBlackAndWhiteTransformation;
class OPBrightnessContrastTransformation;
class OPColorBalanceTransformation;
class OPColorEnhancerTransformation;
class OPColorizeThreshold;
class OPColorizeTransformation;
class OPCurvesTransformation;
class OPExposureTransformation;
class OPGammaCorrectionTransformation;
class OPGaussianAlpha1D;
class OPGaussianNoise;
class OPHueSaturationTransformation;
class OPKernelBase;
class OPLevelsTransformation;
class OPPhotoFilterTransformation;
class OPPosterizeTransformation;
class OPRGBABlurAccumulatorBase;
class OPTemperatureCorrection;
class OPThresholdRGB32;
class OPUniformNoise;
class QImage;
class QTransform;
enum class KXCompositionMode : int;
namespace lines {
struct ColumnPixels;
}
namespace pixels {
template <class Pixel>
struct Rows;
}
namespace transform {
struct ResizeTaps;
}

#define KX_KERNEL(symbol, ...) extern "C" Q_DECL_EXPORT void symbol(__VA_ARGS__);
#include "KernelList.h"
#undef KX_KERNEL
