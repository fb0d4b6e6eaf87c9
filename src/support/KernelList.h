// The kernels of the module, one line each: KX_KERNEL(symbol, parameters). All of them return nothing.
//
// This is the only place where the symbols are listed. Whoever includes it defines KX_KERNEL before and undefines it
// after: KernelPrototypes.h declares the functions, a fake module of the tests defines each of them. The linker map of
// the module is made from it too.

// Composition: the entries of KXComposer.h of the same names, in the order in which they are looked up.
KX_KERNEL(Compose_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src, const QRect &srcRect, KXCompositionMode mode,
    RGBA32iImage &dst, const QRect &dstRect, double opacity, bool lockAlpha)
KX_KERNEL(Compose_QImage_RGBA32iImage_avx2, const QImage &src, const QRect &srcRect, KXCompositionMode mode,
    RGBA32iImage &dst, const QRect &dstRect, double opacity, bool lockAlpha)
KX_KERNEL(Compose_RGBA32iImage_QImage_avx2, const RGBA32iImage &src, const QRect &srcRect, KXCompositionMode mode,
    QImage &dst, const QRect &dstRect, double opacity, bool lockAlpha)
KX_KERNEL(Compose_QImage_QImage_avx2, const QImage &src, const QRect &srcRect, KXCompositionMode mode, QImage &dst,
    const QRect &dstRect, double opacity, bool lockAlpha)
KX_KERNEL(ComposeSource_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src, const QRect &srcRect,
    RGBA32iImage &dst, const QRect &dstRect)
KX_KERNEL(ComposeSource_QImage_RGBA32iImage_avx2, const QImage &src, const QRect &srcRect, RGBA32iImage &dst,
    const QRect &dstRect)
KX_KERNEL(ComposeSource_RGBA32iImage_QImage_avx2, const RGBA32iImage &src, const QRect &srcRect, QImage &dst,
    const QRect &dstRect)
KX_KERNEL(ComposeSource_QImage_QImage_avx2, const QImage &src, const QRect &srcRect, QImage &dst, const QRect &dstRect)
KX_KERNEL(ComposeMaskOn_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src, const QRect &srcRect,
    KXCompositionMode mode, RGBA32iImage &dst, const QRect &dstRect, double opacity, const RGBA32iImage &mask,
    const QRect &maskRect, bool outsideVisible, bool lockAlpha)
KX_KERNEL(ComposeMaskOn_QImage_RGBA32iImage_avx2, const QImage &src, const QRect &srcRect, KXCompositionMode mode,
    RGBA32iImage &dst, const QRect &dstRect, double opacity, const RGBA32iImage &mask, const QRect &maskRect,
    bool outsideVisible, bool lockAlpha)
KX_KERNEL(ComposeAlphaDarken_avx2, const QImage &src, const QRect &srcRect, RGBA32iImage &dst, const QRect &dstRect,
    double opacity, double averageOpacity, double flow)
KX_KERNEL(ComposeDualBrush_avx2, const QImage &src, const QRect &srcRect, QImage &dst, const QRect &dstRect,
    KXCompositionMode mode)
KX_KERNEL(ComposeClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src, const QRect &srcRect,
    KXCompositionMode mode, RGBA32iImage &dst, const QRect &dstRect, RGBA32iImage &clip, const QRect &clipRect,
    RGBA32iImage &clipMask, const QRect &clipMaskRect, bool outsideVisible, double opacity, bool lockAlpha)
KX_KERNEL(ComposeClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src, const QRect &srcRect,
    KXCompositionMode mode, RGBA32iImage &dst, const QRect &dstRect, double opacity, RGBA32iImage &clip,
    const QRect &clipRect, RGBA32iImage &clipMask, const QRect &clipMaskRect, bool outsideVisible,
    const RGBA32iImage &mask, const QRect &maskRect, bool maskOutsideVisible, bool lockAlpha)
KX_KERNEL(ComposeWithTransformation_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src, const QRect &srcRect,
    KXCompositionMode mode, RGBA32iImage &dst, const QRect &dstRect, BaseTransformation *transformation, double opacity,
    bool lockAlpha)
KX_KERNEL(ComposeWithTransformationMaskOn_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src, const QRect &srcRect,
    KXCompositionMode mode, RGBA32iImage &dst, const QRect &dstRect, double opacity, const RGBA32iImage &mask,
    const QRect &maskRect, bool outsideVisible, BaseTransformation *transformation, bool lockAlpha)
KX_KERNEL(ComposeWithTransformationClippingMaskOn_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src,
    const QRect &srcRect, KXCompositionMode mode, RGBA32iImage &dst, const QRect &dstRect, RGBA32iImage &clip,
    const QRect &clipRect, RGBA32iImage &clipMask, const QRect &clipMaskRect, bool outsideVisible,
    BaseTransformation *transformation, double opacity, bool lockAlpha)
KX_KERNEL(ComposeWithTransformationClippingMaskAndMaskOn_RGBA32iImage_RGBA32iImage_avx2, const RGBA32iImage &src,
    const QRect &srcRect, KXCompositionMode mode, RGBA32iImage &dst, const QRect &dstRect, double opacity,
    RGBA32iImage &clip, const QRect &clipRect, RGBA32iImage &clipMask, const QRect &clipMaskRect, bool outsideVisible,
    const RGBA32iImage &mask, const QRect &maskRect, bool maskOutsideVisible, BaseTransformation *transformation,
    bool lockAlpha)

// Resampling: interpolates area of the target between the pixels of a source, see transform::interpolate.
KX_KERNEL(SampleBilinearAVX2, const pixels::Rows<const OPRGBA32i> &source, const QTransform &inverse,
    const pixels::Rows<OPRGBA32i> &target, const QRect &area)
KX_KERNEL(SampleBicubicAVX2, const pixels::Rows<const OPRGBA32i> &source, const QTransform &inverse,
    const pixels::Rows<OPRGBA32i> &target, const QRect &area)

// The walks over a flat image whose first pixel is data[0], with rows of stride pixels. The last two stop between rows
// once cancel is set, and call progress, if there is one, after each row.
KX_KERNEL(VectorProcess, OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *transformation)
KX_KERNEL(IterativeVectorProcess, OPRGBA32i *data, int stride, const QRect &rect, BaseTransformation *transformation,
    const std::atomic<bool> &cancel, std::function<void()> progress)
KX_KERNEL(PixelTransformIterativeVectorProcess, OPRGBA32i *data, int stride, const QRect &rect,
    BaseTransformation *transformation, const std::atomic<bool> &cancel, std::function<void()> progress)

// Slides a window along a line. All positions are those in the image: the source begins at readFirst and the
// destination at first.
KX_KERNEL(LineHandlerAVX2, OPRGBABlurAccumulatorBase *accumulator, OPRGBA32i *source, OPRGBA32i *destination,
    int readFirst, int readLast, int first, int last, int radius)
// Does all of a destination line, from the lines that its kernel object is set to.
KX_KERNEL(LineHandlerConvolutionAVX2, OPKernelBase *kernel)
// Sharpens columns side by side, by an amount such that lines::sharpening::fits. Where there is no row above or below
// them, their end pixels count as repeated.
KX_KERNEL(SharpenColumnsAVX2, const lines::ColumnPixels &pixels, int amount)
// Slides a window of alphas down columns side by side, of a radius such that lines::alphawindows::fits. Writes color
// under the mean, which is complemented if complement is 255.
KX_KERNEL(SlideAlphaColumnsAVX2, const lines::ColumnPixels &pixels, int radius, unsigned complement, unsigned color)

// Convolves a line of length pixels; source[i + j] lies under tap j for output i.
KX_KERNEL(KXIterativeConvolutionFast1DAVX2Convolve, const unsigned *source, unsigned *destination, unsigned length,
    const std::vector<short> &taps)
// The same from straight pixels, which it premultiplies itself, for taps such that lines::rows::fits.
KX_KERNEL(KXIterativeConvolutionFast1DAVX2ConvolvePremultiplied, const unsigned *source, unsigned *destination,
    unsigned length, const std::vector<short> &taps)
// Convolves up to lines::columns::width columns side by side, in place, by taps such that lines::columns::fits. pixels
// is the first pixel of the first column, and the next row lies stride pixels further; the end pixels of a column count
// as repeated. The results in the first straightRows rows are unpremultiplied as by KXBlur::ReturnAlpha.
KX_KERNEL(KXIterativeConvolutionFast1DAVX2ConvolveColumns, unsigned *pixels, qptrdiff stride, int columns, int rows,
    const std::vector<short> &taps, int straightRows)

// Resizing, as the functions in src/transform/ResizeLines.h: of a row, and of columns.
KX_KERNEL(ResizeRowAVX2, const OPRGBA32i *source, OPRGBA32i *destination, int length, int paddedLength,
    const transform::ResizeTaps *taps, const short *coefficients)
KX_KERNEL(ResizeColumnsAVX2, const OPRGBA32i *const *rows, OPRGBA32i *destination, int width, const short *coefficients,
    int count)

// A convolution with cells of any shape: count pixels of a row, from rowCount rows of samples, four doubles each, the
// first of which lies under the last of the columns of cells for the first pixel.
KX_KERNEL(ConvolveCellsAVX2, const double *const *rows, int rowCount, const double *cells, int columns,
    OPRGBA32i *destination, int count)

// Makes the next 624 words of a Mersenne Twister from its state, which moves on.
KX_KERNEL(MersenneTwisterAVX2, unsigned *state, unsigned *words)
// Noise: adjustments, as below.
KX_KERNEL(UniformNoiseAVX2, const OPUniformNoise &self, unsigned char *pixels, bool flag)
KX_KERNEL(GaussianNoiseAVX2, const OPGaussianNoise &self, unsigned char *pixels, bool flag)
// Lays count pixels over others as OPBlend::OPSourceOver does.
KX_KERNEL(
    BlendWithOpacityAVX2, const OPRGBA32i *source, OPRGBA32i *destination, int count, unsigned opacity, bool lockAlpha)

// Merges length filtered pixels of a row into it by the alphas of a selection: see filters::SelectionMerge.
KX_KERNEL(MergeSelectionAVX2, OPRGBA32i *row, const OPRGBA32i *filtered, const OPRGBA32i *selection, int length)

// Stages of the vignette: one block of pixels each, the first of which stands at (x, y).
KX_KERNEL(LinearAVX2, const KXLinearVignette &self, int x, int y, unsigned char *pixels, bool flag)
KX_KERNEL(ParabolicAVX2, const KXParabolicVignette &self, int x, int y, unsigned char *pixels, bool flag)

// The hard masks of a glow: adjustments, as below.
KX_KERNEL(AlphaThresholdAVX2, const OPAlphaThreshold &self, unsigned char *pixels, bool flag)
KX_KERNEL(ColorizeThresholdAVX2, const OPColorizeThreshold &self, unsigned char *pixels, bool flag)

// The mask of a glow where it is a plane of bytes. Makes it of what is bright: 0 for a luminance below the threshold,
// otherwise 255.
KX_KERNEL(BrightMaskAVX2, const OPRGBA32i *pixels, unsigned char *mask, int count, int threshold)
// Blurs a row of it by a Gaussian such that lines::mask::fits: makes length bytes from lines::mask::rowRoom samples, of
// which the first lies the Gaussian's reach before the first byte, and writes lines::mask::wholeWidths of them.
KX_KERNEL(GaussianMaskRowAVX2, const OPGaussianAlpha1D &gaussian, const unsigned char *samples, unsigned char *means,
    int length)
// Blurs up to lines::mask::width columns of it by such a Gaussian, in place; reads rowsAbove and rowsBelow around them,
// and all of the width. Unless the level is lines::mask::everyLevel, bytes need only be right as to whether they reach
// it, and may otherwise be one more.
KX_KERNEL(GaussianMaskColumnsAVX2, const OPGaussianAlpha1D &gaussian, unsigned char *mask, qptrdiff stride, int columns,
    int rows, int rowsAbove, int rowsBelow, int level)

// The alpha of length pixels, from samples that lie stride apart under its taps: see filters::sumAlphaTaps.
KX_KERNEL(SumAlphaTapsAVX2, const float *samples, qptrdiff stride, const float *taps, int tapCount, OPRGBA32i *pixels,
    int length)

// Adjustments: one block of pixels each, as src/color/Blocks.h says. What a class hands over of itself comes first.
KX_KERNEL(BlackAndWhiteTransformationAVX2, const OPBlackAndWhiteTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(BrightnessContrastTransformationAVX2, const OPBrightnessContrastTransformation &self, unsigned char *pixels,
    bool flag)
KX_KERNEL(ColorBalanceTransformationAVX2, const OPColorBalanceTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(ColorEnhancerTransformationAVX2, const OPColorEnhancerTransformation &self,
    const OPLevelsTransformation &levels, unsigned char *pixels, bool flag)
KX_KERNEL(ColorizeOPRGBA32iAVX2, const OPRGBA32i &color, unsigned char *pixels, bool flag)
KX_KERNEL(ColorizeTransformationAVX2, const OPColorizeTransformation &self,
    const OPHueSaturationTransformation &hueSaturation, unsigned char *pixels, bool flag)
KX_KERNEL(CurvesTransformationAVX2, const OPCurvesTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(DesaturateTransformationAVX2, unsigned char *pixels, bool flag)
KX_KERNEL(ExposureTransformationAVX2, const OPExposureTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(
    GammaCorrectionTransformationAVX2, const OPGammaCorrectionTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(HueSaturationTransformationAVX2, const OPHueSaturationTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(InvertColorAlphaOPRGBA32iAVX2, unsigned char *pixels, bool flag)
KX_KERNEL(InvertColorOPRGBA32iAVX2, unsigned char *pixels, bool flag)
KX_KERNEL(InvertTransformationAVX2, unsigned char *pixels, bool flag)
KX_KERNEL(LevelsTransformationAVX2, const OPLevelsTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(PhotoFilterTransformationAVX2, const OPPhotoFilterTransformation &self, const OPLevelsTransformation &levels,
    unsigned char *pixels, bool flag)
KX_KERNEL(PosterizeTransformationAVX2, const OPPosterizeTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(PremultiplyAlphaAVX2, unsigned char *pixels, bool flag)
KX_KERNEL(ReturnAlphaAVX2, unsigned char *pixels, bool flag)
KX_KERNEL(SelectiveColorsAVX2, const KXSelectiveColorsTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(TemperatureCorrectionAVX2, const OPTemperatureCorrection &self, unsigned char *pixels, bool flag)
KX_KERNEL(ThresholdAVX2, const OPThresholdRGB32 &self, unsigned char *pixels, bool flag)
KX_KERNEL(TintAVX2, const OPLevelsTransformation &levels, unsigned char *pixels, bool flag)
KX_KERNEL(WhiteBalanceAutoAVX2, const KXWBTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(WhiteBalanceOverExposureAVX2, const KXWBTransformation &self, unsigned char *pixels, bool flag)
KX_KERNEL(WhiteBalanceUnderExposureAVX2, const KXWBTransformation &self, unsigned char *pixels, bool flag)
