#pragma once

/// @file
/// Selective colours.

#include "BaseTransformation.h"
#include "KXGlobal.h"
#include "KXImage.h"
#include "KXIterative.h"
#include "SelectiveParams.h"

#include <array>
#include <functional>

class QImage;

/// Adds ink to some colours of a picture and takes it from others, as a printer would: more yellow in the greens, less
/// cyan in the reds, black in the blacks alone. There are nine ranges of colours, and each has its own cyan, magenta,
/// yellow and black. Alpha stays.
///
/// @code
/// SelectiveParamsList list;
/// list.m_Params[SelectiveParamsList::Blues].cyan = 40; // deeper skies
/// list.m_Params[SelectiveParamsList::Reds] = { -20, 0, 10, 0 }; // warmer skin
/// const KXSelectiveColorsTransformation adjust(list);
/// @endcode
///
/// **Every pixel lies in several ranges, with soft weights**, and what they ask for is added up. With channels from 0
/// to 1, the largest and the smallest of them called max and min:
///
/// | range | weight |
/// |---|---|
/// | reds, greens, blues | how far the channel of that name is above both others |
/// | yellows, cyans, magentas | how far the two channels of which the colour is made are above the third |
/// | whites | 1.1 * (2 * (min - 0.5))^2 where all three are above 0.5 |
/// | neutrals | 1 - (abs(min - 0.5) + abs(max - 0.5)) |
/// | blacks | 1.1 * 2 * (0.5 - max) * max where all three are below 0.5 |
///
/// So a pixel has at most one of the first three colours, one of the next three, neutrals, and whites or blacks. A
/// weight of up to 0.00001 does not count. **Pure black has no weight in blacks**, and no other: it always stays as it
/// is. Grey 128 lies in whites already, by a hair, and grey 127 in blacks.
///
/// A range lowers red by cyan, green by magenta and blue by yellow, and all of them by black. As fractions, the two
/// inks p and k that act on a channel are worth (1 + p) * (1 + k) - 1, times
/// - **relative** (mode 0): the ink that the colour has there already, which is 1 minus the channel. **A channel of 255
///   has none and does not move**, with inks of either sign.
/// - **absolute** (any other mode): 1.
///
/// Each range by itself moves a channel to 0 or to 255 at most; that times its weight is what it adds, and the sum is
/// cut at 0 and 255 and rounded. Parameters beyond 100 per cent are not limited. Where the arithmetic gives no
/// number, as with a NaN, or an infinite ink that meets a factor of 0, the channel becomes 0.
///
/// Cost     Up to four ranges a pixel and three channels each. Parameters of 0 are not faster than others. Copies share
///          the records.
class KX_EXPORT KXSelectiveColorsTransformation : public BaseTransformation {
public:
    /// How many ranges there are, in every object.
    static constexpr int RangeCount = SelectiveParamsList::Blacks + 1;

    /// A number for each range, by @c SelectiveParamsList::Range.
    using PerRange = std::array<float, RangeCount>;

    /// Leaves every pixel as it is.
    KXSelectiveColorsTransformation();

    /// @p params has a record for each range; those beyond the ninth do not count. Missing records are the caller's
    /// mistake, which a debug build asserts; they count as 0.
    explicit KXSelectiveColorsTransformation(const SelectiveParamsList &params);

    /// The weight of a colour in a range of @c SelectiveParamsList::Range, for channels from 0 to 1; 0 for a @p range
    /// that is none.
    float weight(const int &range, const float &r, const float &g, const float &b) const;

    /// What a range adds to a channel of @p value, from 0 to 1: @p colour and @p black are its inks as fractions.
    float phi(const float &value, const float &colour, const float &black, const float &weight) const;

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// Adjusts all of the flat @p image on the GPU, if @p useGpu is set and there is a @c KXGpuService; otherwise, and
    /// for a tiled image, nothing happens: the processor's way is a walk, such as @c OPIterativeTransformImageColors.
    /// **Returns before the work is done.** Until then the image, or a copy that shares its pixels, must live, and
    /// nobody may touch the pixels. There is no notice; KXGpuProcessor.h tells which calls show that it is done.
    ///
    /// @p rect has the size of the image; its position does not count. With more pixels than the image nothing happens.
    /// GUI thread, and no other run of the service may be on.
    void operator()(RGBA32iImage &image, const QRect &rect, bool useGpu);

    /// Leaves every QImage as it is.
    void operator()(QImage &image, const QRect &rect, bool useGpu);

    /// The nine records, as they were given; none in an object of the default constructor.
    const QList<SelectiveParams> &Params() const { return m_Params; }

    /// The inks of each range, as fractions.
    const PerRange &Cyan() const { return m_Cyan; }
    const PerRange &Magenta() const { return m_Magenta; }
    const PerRange &Yellow() const { return m_Yellow; }
    const PerRange &Black() const { return m_Black; }
    int Mode() const { return m_Mode; } ///< 0 relative, anything else absolute

    /// "SelectiveColorsAVX2"
    static std::function<void(const KXSelectiveColorsTransformation &, unsigned char *, bool)> m_SelectiveColorsAVX2;

private:
    QList<SelectiveParams> m_Params;
    PerRange m_Cyan {}, m_Magenta {}, m_Yellow {}, m_Black {};
    int m_Mode = 0;
};

using KXIterativeSelectiveColorsTransformation = KXIterative<KXSelectiveColorsTransformation>;
