#pragma once

/// @file
/// White balance.

#include "BaseTransformation.h"
#include "KXGlobal.h"
#include "KXImage.h"
#include "KXIterative.h"
#include "KXTableTransformation.h"

#include <QtCore/QRect>
#include <QtGui/QImage>

#include <array>
#include <functional>
#include <memory>
#include <vector>

/// What a white balance has measured of its picture. Channels and histograms are in 0..255. Of a picture without pixels
/// every value is 0 but @c table, which is the one for a @c keyPercent of 0.
struct WBData {
    double meanY = 0; ///< mean of Y, which is 16 for black and 235 for white
    double meanR = 0, meanG = 0, meanB = 0; ///< means of the channels
    double hueShift = 0; ///< 15 minus the hue of the mean colour in whole degrees, plus 360 if that is negative
    double meanCb = 0, meanCr = 0; ///< means of the chroma components, 128 for grey
    double minL = 0, maxL = 0; ///< extent of the luminance, which weighs **red with 11 and blue with 30** of 100 here
    double minR = 0, minG = 0, minB = 0; ///< the smallest values of the channels
    double maxR = 0, maxG = 0, maxB = 0; ///< the largest ones
    double stdR = 0, stdG = 0, stdB = 0; ///< standard deviations
    double gainR = 0, gainG = 0, gainB = 0; ///< mean of the three deviations over that of the channel; 0 for one of 0
    double offsetR = 0, scaleG = 0, offsetB = 0; ///< what makes greys of what is nearly grey: see @c KXWBTransformation
    double stretchLow = 0, stretchHigh = 0; ///< the smallest and the largest value of all channels
    double mix = 0; ///< weight of the stretched channel against the one that was moved to the mean; may exceed 1
    QRect rect; ///< the whole picture
    double keyY = 0, keyYCopy = 0; ///< both @c meanY
    double shadowLevel = 0, highlightLevel = 0; ///< from extents and spread; nothing reads them
    double key = 0; ///< which tone curve comes closest to a stretched histogram, 0..1
    int keyPercent = 0; ///< @c key in per cent, truncated
    std::vector<unsigned char> table; ///< the tone curve, 256 entries
};

/// Takes a colour cast off, and mends the tones: the one adjustment that looks at a picture before it acts. The
/// constructor measures; what is measured stays in the object, which then serves other copies of the picture, and its
/// tiles, without looking again.
///
/// @code
/// const KXWBTransformation balance(photo, KXWBTransformation::BalanceFunction::Auto, 100); // photo is flat
/// OPIterativeTransformImageColors(balance, &photo, QRect(), cancel, progress)();
/// @endcode
///
/// @c Auto, for a channel c:
/// 1. c is corrected: green is multiplied by @c scaleG, its gain but at most 1, and red and blue get @c offsetR and
///    @c offsetB times 255 added. These are searched for such that up to 2049 pixels of little colour, the first ones
///    of the picture, become grey in the mean.
/// 2. That is stretched: its place between the channel's smallest and largest value, times @c stretchHigh, plus
///    @c stretchLow.
/// 3. In another way the channel is moved to the mean: c + @c meanY - the mean of the channel.
/// 4. Both, cut at 0 and 255, are mixed by @c mix, and truncated. Then the amount fades between c and that, and the
///    tone curve maps the result.
///
/// @c OverExposure darkens, to c * c / 255, and @c UnderExposure lightens, to 255 - ((255 - c) * (255 - c) >> 8). They
/// use nothing of the measurements, which are taken for them too.
///
/// Surprising, and intended:
/// - **The kernel follows the object made last.** All objects share one kernel, and each constructor sets it to its own
///   function. So a block that an older object is given (@c operator()(unsigned char *, bool), by which the kernel
///   module walks) is changed by the function of the object that was made last, with the measurements and the amount of
///   the one that is called. Single pixels always get the object's own function. An application makes the object that
///   it is about to use; copies and assignments choose nothing.
/// - **Assignment shares the measurements**, so that both objects show the same @c Measurements, at one address; a copy
///   has its own. Nothing changes them once they are made, and they live as long as any object that has them.
/// - With an amount of 0 @c Auto still maps through the tone curve; the two others then change nothing.
/// - The stretch is not one to @c stretchHigh - @c stretchLow: the result may exceed @c stretchHigh, and is cut at 255.
/// - Green of a picture whose green is all one value is corrected to 0, as its gain is 0.
///
/// Amount   In per cent of the way from the unchanged channel; a dialog offers 0 to 100. Nothing is limited beyond:
///          products wrap, and a result outside of 0..255 takes its low byte.
/// Function One that is none of the three is kept, and **such an object must not be called** for a pixel: a debug build
///          asserts, and a release build leaves the pixel. It chooses no kernel.
/// Errors   A picture without pixels gives what @c WBData tells. A tiled image is a mistake of the caller: a debug
///          build asserts, and a release build measures no pixels. std::bad_alloc.
/// Threads  The constructor runs on the calling thread alone, also for large pictures. Objects may be made on several
///          threads, and used meanwhile; which of them is the last one is then up to chance.
/// Cost     Three looks at every pixel of the picture, the last one up to the 2049th of little colour; what follows
///          depends little on its size. Then three loads a pixel. An object has about 2400 bytes.
class KX_EXPORT KXWBTransformation : public BaseTransformation {
public:
    enum class BalanceFunction : int { Auto = 0, OverExposure = 1, UnderExposure = 2 };

    /// Measures a flat image. Its alpha does not count.
    KXWBTransformation(const RGBA32iImage &image, BalanceFunction function, int amount);

    /// Measures an image of Format_ARGB32 where it lies, and one of any other format as QImage::convertToFormat makes
    /// that of it.
    KXWBTransformation(const QImage &image, BalanceFunction function, int amount);

    KXWBTransformation(const KXWBTransformation &other);
    KXWBTransformation &operator=(const KXWBTransformation &other);
    ~KXWBTransformation() override;

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// What was measured.
    const WBData &Measurements() const { return *m_Data; }

    /// What @p function, one of the three, makes of each value, with the measurements and the amount of this object.
    const KXChannelTables &Tables(BalanceFunction function) const
    {
        Q_ASSERT(size_t(function) < m_Tables.size());
        return m_Tables[size_t(function)];
    }

    /// The kernel of the class: that of the object made last, whatever an application has put here before. A copy of
    /// this function object goes on following too.
    static std::function<void(const KXWBTransformation &, unsigned char *, bool)> m_WhiteBalanceTransformationAVX2;
    /// "WhiteBalanceOverExposureAVX2"
    static std::function<void(const KXWBTransformation &, unsigned char *, bool)> m_WhiteBalanceOverExposureAVX2;
    /// "WhiteBalanceUnderExposureAVX2"
    static std::function<void(const KXWBTransformation &, unsigned char *, bool)> m_WhiteBalanceUnderExposureAVX2;
    /// "WhiteBalanceAutoAVX2"
    static std::function<void(const KXWBTransformation &, unsigned char *, bool)> m_WhiteBalanceAutoAVX2;

private:
    KXWBTransformation(WBData data, BalanceFunction function, int amount);

    KXChannelTables Auto() const;
    KXChannelTables OverExposure() const;
    KXChannelTables UnderExposure() const;
    void GetFunction();
    bool IsKnown() const { return size_t(m_Function) < m_Tables.size(); }

    int m_Amount; ///< in parts of 255000
    BalanceFunction m_Function;
    std::shared_ptr<const WBData> m_Data;
    std::array<KXChannelTables, 3> m_Tables; ///< of each BalanceFunction: a kernel may be given any object
};

using KXIterativeWBTransformation = KXIterative<KXWBTransformation>;
