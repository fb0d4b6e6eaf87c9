#pragma once

/// @file
/// A histogram of red, green and blue.

#include "KXGlobal.h"
#include "KXPixels.h"

/// Counts how often each value of red, green and blue occurs among the pixels that it is called with. What to do with
/// the counts stands at OPHistogrammCalculator, which several threads may feed at once; this one is for one thread, and
/// faster. @c OPHistogrammCalculator::Threshold takes these counters as well, and only reads them.
///
/// Owner    The arrays are the caller's, 256 counters each, and are not cleared here. Copies count into the same ones.
/// Threads  One thread, or an object with arrays of its own for each.
/// Cost     Three additions a pixel.
/// Errors   An object without arrays must not be called; a debug build asserts that.
class KX_EXPORT KXRGBHistogram {
public:
    KXRGBHistogram() = default;
    /// As @c SetOutput on that.
    KXRGBHistogram(unsigned int *red, unsigned int *green, unsigned int *blue) { SetOutput(red, green, blue); }

    /// Where to count from now on.
    void SetOutput(unsigned int *red, unsigned int *green, unsigned int *blue)
    {
        m_HistR = red;
        m_HistG = green;
        m_HistB = blue;
    }

    void operator()(const OPRGBA32i &pixel) const
    {
        Q_ASSERT(m_HistR && m_HistG && m_HistB);
        ++m_HistR[pixel.r];
        ++m_HistG[pixel.g];
        ++m_HistB[pixel.b];
    }

private:
    unsigned int *m_HistR = nullptr;
    unsigned int *m_HistG = nullptr;
    unsigned int *m_HistB = nullptr;
};
