#pragma once

/// @file
/// A histogram that several threads count, and the range of tones that it shows.

#include "KXGlobal.h"
#include "KXPixels.h"

#include <QtCore/QMutex>

#include <vector>

/// Counts how often each value of red, green and blue occurs among the pixels that it is called with, and how often
/// each value occurs in any of the three. From that @c Threshold tells which range of tones a picture makes use of.
///
/// @code
/// int red[256] = {}, green[256] = {}, blue[256] = {}, all[256] = {};
/// OPHistogrammCalculator count;
/// count.SetOutput(red, green, blue, all);
/// for (int i = 0; i < photo.Width() * photo.Height(); ++i)
///     count(photo.Bits()[i]);
/// const std::vector<int> used = OPHistogrammCalculator::Threshold(all);
/// @endcode
/// Automatic levels spread that range over the whole one. With @c used as the master's input of an
/// OPLevelsTransformation all channels are stretched alike and colours stay; the ranges of @c red, @c green and
/// @c blue, each as the input of its own channel, take a veil of one colour off as well. An
/// OPColorEnhancerTransformation fades such levels as a slider moves.
///
/// Owner    The arrays are the caller's, 256 counters each, and are not cleared here. A copy counts into the same ones,
///          but under a lock of its own: only one of the two may be used at a time.
/// Threads  Any number of threads may call one object. The arrays are read when they are done.
/// Cost     A lock for each pixel. Where one thread counts a whole picture, KXRGBHistogram is many times faster.
/// Errors   An object without arrays must not be called; a debug build asserts that. A counter that overflows wraps.
class KX_EXPORT OPHistogrammCalculator {
public:
    OPHistogrammCalculator() = default;
    OPHistogrammCalculator(const OPHistogrammCalculator &other);

    /// Where to count from now on. No other thread may use the object meanwhile.
    void SetOutput(int *red, int *green, int *blue, int *all);

    /// **Counts three times in the fourth array**, once for each channel.
    void operator()(const OPRGBA32i &pixel) const;

    /// The ends {low, high} of the tones in @p histogram, of 256 bins, without the outer 0.1 per cent on each side: low
    /// is the last value such that it and all below it are no more than that, and high the first one such that it and
    /// all above it are. So both lie just outside of what is left, except at 0 and 255. A range of less than 16 is
    /// widened to 16 around its middle, or as near to it as 0 and 255 allow. Counters are added up in 64 bits, and only
    /// read.
    ///
    /// **An empty histogram gives {255, 0}**, which as the input of levels makes all values below 255 black: ask
    /// whether there are pixels.
    static std::vector<int> Threshold(int *histogram);
    /// The same of counters as KXRGBHistogram has them.
    static std::vector<int> Threshold(const unsigned int *histogram);

private:
    mutable QMutex m_Mutex;
    int *m_HistR = nullptr;
    int *m_HistG = nullptr;
    int *m_HistB = nullptr;
    int *m_HistAll = nullptr;
};
