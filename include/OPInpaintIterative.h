#pragma once

/// @file
/// Repairing a marked region of an image, sweep by sweep.

#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QRect>

#include <atomic>

/// Repairs the pixels of an image that a mask marks, in place, from what lies around them. Each call is one sweep, so
/// that the application can show what was done and stop.
///
/// @code
/// void repair(RGBA32iImage &image, RGBA32iImage &mask, const QRect &area)
/// {
///     for (int i = 0; i < OPInpaintIterative::GetIterationCount(); ++i) { // stage 1, 2 and 3
///         OPInpaintIterative sweep(image, mask, area, area);
///         while (sweep()) { } // here an application draws the image, or stops
///         sweep.NextIteration(); // after the last one it is 1 again
///     }
/// }
/// @endcode
///
/// Mask     A pixel of alpha 255 is *unknown* and to be repaired, one of any other alpha is known. **The mask is
///          written, though it is passed const**: a copy of an image shares its pixels, and each repaired pixel becomes
///          0 in the caller's mask. Pass a @c CopyTo to keep it.
/// Places   @p imageRect and @p maskRect give the place of the region in the image and in the mask; of the first one
///          only the top left corner counts. What lies outside of @p maskRect is not known, **but the frontier is found
///          as if nothing were unknown there**. With two different corners pixels are read and written at their place
///          in the image, and **the mask is asked at that place too**, which is not where the mark of the pixel stands.
///          So let both begin at the same place, or expect that.
/// Frontier The pixels to be visited: at first those at which the mask's alpha has a slope. A pixel that is visited and
///          known is taken off; so is one that is repaired, and its unknown neighbours are put on, **but not those in
///          the last column of @p maskRect**. **A single unknown pixel, and the inside of a line one pixel wide, have
///          no slope and are never visited** unless a neighbour is repaired; mark a pixel more on each side to repair
///          them.
/// Sweeps   From the top row down and from left to right, through the bounds of all pixels that the sweep before
///          visited. What a sweep puts on the frontier to the right or below it visits too, and what it has repaired
///          counts as known at once, so that a repair spreads right and down within a sweep.
/// Stages   In stage 1 a pixel is repaired when one of eight blocks of eight pixels beside it is all known: two rows or
///          two columns of three and the two pixels next to it, or the rest of a square of 3 by 3 of which it is a
///          corner. The first such block gives the mean, toward zero. **The second block, of the rows below, asks
///          whether the pixel two rows above is known where it takes the one two rows below**; this is intended. In
///          stages 2 and 3 a pixel gets the mean of the eight around it, **known or not, as they are**: (sum + 5) >> 3
///          for colours, sum >> 3 for alpha.
/// Stage    **One number for the whole process**, 1 at the start, which only @c NextIteration changes. Each repair
///          reads it anew.
/// Storage  Flat images alone, and their buffers are written, which copies share. **The pixels of the image may be
///          those of the mask**; nothing is kept aside.
/// Errors   A tiled mask: the constructor throws std::out_of_range. What reaches beyond the image or the mask, as
///          stages 2 and 3 do at the edge of the image, and any repair of a tiled image, **ends the sweep where it
///          is**, with the line "[include/OPTransformImageColors:line] Unexpected exception OPImage::GetColor" (or
///          SetColor) in the log; what was done until then stays and counts. An empty @p maskRect: every call returns
///          false. Where there is no memory for the frontier the constructor throws std::bad_alloc. The rectangles may
///          lie anywhere, however far outside.
/// Owner    Borrows the image, which must live as long as the object; shares the mask's pixels.
/// Threads  The calling thread. Objects on different images and masks may be used by different threads; the stage may
///          be read and changed by any of them at any time.
/// Cost     Four bytes for each pixel of the mask. A sweep reads the frontier within its bounds, and works where it is
///          marked.
class KX_EXPORT OPInpaintIterative {
public:
    OPInpaintIterative(RGBA32iImage &image, const RGBA32iImage &mask, const QRect &imageRect, const QRect &maskRect);
    /// A copy has its own bounds, and shares the image, the mask's pixels and **the frontier's**, so that a sweep of
    /// one takes off what the other would have visited.
    OPInpaintIterative(const OPInpaintIterative &) = default;
    OPInpaintIterative &operator=(const OPInpaintIterative &) = delete;
    ~OPInpaintIterative() = default;

    /// One sweep. False when it changed nothing, not even the frontier; then all further calls do nothing and return
    /// false, in whichever stage. True may be no more than that known pixels were taken off the frontier.
    bool operator()();

    /// The stage: 1, 2 or 3.
    static int GetIteration() { return m_iteraion; }
    /// How many stages there are: 3.
    static int GetIterationCount() { return 3; }
    /// Goes from stage 1 to 2, to 3, to 1, for all objects.
    void NextIteration();

private:
    friend class TestInpaintIterative; ///< which tests private members too

    /// A flat image of the mask's size, 0 but for alpha within @p rect: the steepness of the mask's alpha there, each
    /// neighbour weighing three times what it has. Outside of @p rect the mask's alpha counts as 0.
    RGBA32iImage Gradient(const RGBA32iImage &mask, const QRect &rect) const;

    RGBA32iImage *image;
    RGBA32iImage mask;
    RGBA32iImage frontier; ///< an alpha above 0: to be visited
    QRect imageRect, maskRect;
    QRect workRect; ///< of the next sweep
    qint32 offsetX, offsetY; ///< from places in the mask to places in the image
    bool active; ///< whether a sweep may change something

    static std::atomic<int> m_iteraion;
};
