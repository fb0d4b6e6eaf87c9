#pragma once

/// @file
/// Filling the holes of a QImage from what lies around them.

#include "KXGlobal.h"
#include "KXPixels.h"

#include <QtCore/QRect>
#include <QtGui/QImage>
#include <QtGui/QVector2D>

/// Fills holes of a QImage, in place. A hole is made of all pixels whose alpha is below 255; all others are *known*.
///
/// @code
/// for (QImage before; before != picture;) { // until nothing closes any more
///     before = picture.copy();
///     OPInpaint fill(picture); // takes note of the holes
///     fill(0); // closes what it can; the argument is not looked at
/// }
/// @endcode
///
/// Pixels   A pixel of a hole is filled when it lies in a block of 3 by 3 pixels whose other eight are known: with the
///          mean of these, (sum + 4) >> 3 in each channel, alpha too. Nine such blocks are tried: the one around the
///          pixel, those that reach from it up, down, to the left, to the right, and at last those of which it is the
///          bottom right, bottom left, top left and top right corner. The first that is all known decides.
/// Passes   A call works in passes over a rectangle, at first that of all pixels along the edges of holes, the
///          *frontier*. What a pass fills is known from the next pass on. When a pass changes nothing the call ends.
/// Rows     **A pass works a row of its rectangle from end to end or not at all**, as the frontier is in the row's
///          first pixel within the rectangle when the pass begins. That column is done after one pass. So **a call
///          fills no more than the corners of a rectangular hole** of 3 by 3 pixels or more that lies well inside the
///          picture, and all of one that begins in column 0. This is intended, and relied on.
/// Rect     **The rectangle of the next pass is looked for further left than it is**: the columns from 0 on are
///          searched, as many as the rectangle has, and what is found there counts as found that much further right. A
///          rectangle in which nothing is found stays as it is. This is intended too: a hole nearer to the left edge
///          than it is wide, and three columns more, may stay as it is.
/// Complete A new object on the same picture begins with the holes that are left. So the loop above closes a single
///          hole without dents that lies far enough from the left edge. For all others take OPInpaintIterative.
/// Formats  Any. The holes are found in a copy as Format_ARGB32; pixels are read and written as QImage::pixel and
///          setPixel do in the picture's own format. An image without alpha has no holes. In a format that does not
///          hold the mean, as one with a colour table, the pixel is left, counts as known, and Qt warns.
/// Shares   A picture that shares its pixels with other QImages gets a copy of its own before the first pixel is
///          filled, as with every write to a QImage.
/// Owner    Borrows the picture, which must live as long as the object and neither change its size nor its format.
///          A copy of the object goes on from the same state with the same picture; each has its own idea of what is
///          known, so call only one of them. An object that was moved from does nothing.
/// Again    A second call goes on where the first one ended, and for a finished one that is one pass without a change.
/// Errors   A null picture is left alone. Where there is no memory, std::bad_alloc is thrown: by the constructor, or by
///          a call before it has filled anything.
/// Threads  The calling thread; no state is shared between objects.
/// Cost     Twice four bytes for each pixel of the picture, and as many as one of these again while the object is made
///          of a picture in another format than Format_ARGB32. A pass reads the rows that it works and those
///          beside them, and tests the blocks of those pixels of a hole that have a known neighbour on both axes.
///          **There may be half as many passes as a hole has pixels**: one that begins in column 0 gives way by a pixel
///          in each of two rows.
class KX_EXPORT OPInpaint {
public:
    /// Takes note of the holes of @p image, and of where their edges are. Nothing is written.
    OPInpaint(QImage &image);
    OPInpaint(const OPInpaint &) = default;
    OPInpaint(OPInpaint &&) = default;
    OPInpaint &operator=(const OPInpaint &) = delete;
    OPInpaint &operator=(OPInpaint &&) = delete;
    ~OPInpaint() = default;

    /// Fills what can be filled by the rules above. A pass that leaves all as it was, known pixels, frontier and
    /// rectangle, is the last one, since all that follow would do the same.
    void operator()(int);

private:
    friend class TestInpaint; ///< which tests private members too

    static constexpr qint32 neighbourhoodRadius = 3; ///< of @c inpaint

    struct Rows;
    /// One pass. Whether there is to be another one. All passes of a call are given the same @p rows.
    bool Pass(Rows &rows);
    /// Whether (x, y) lies in the mask and is known there. The mask has alpha 255 where @c image has less, and 0
    /// elsewhere.
    bool IsKnown(int x, int y) const;
    /// Fills (x, y) from the first of its nine blocks whose other pixels are known. False when there is none.
    bool inpaint0(int x, int y);
    /// Green, with the steepness of the alpha of @p mask (Format_ARGB32) in alpha: by Sobel's weights, edges repeated.
    /// Of a mask's pixels those have 255 that touch an edge of a hole, at a corner too, and the others 0; **but the two
    /// sides of a line one pixel wide cancel out**, so that its own pixels have 0.
    QImage gradient(const QImage &mask) const;
    /// The bounds of what is not transparent in @p rect of @p image, or in all of it if @p rect is empty, by the rule
    /// "Rect" above. @p rect lies in the image, which is Format_ARGB32.
    QRect maskRect(const QImage &image, const QRect &rect) const;
    /// The mask of @p image: 0xFFFF0000 where its alpha is below 255 and 0 elsewhere.
    QImage makeMask(const QImage &image) const;

    // What follows fills by fast marching: pixels by their distance from the known ones. operator() does not use it.

    /// Sobel's slopes of @c image at (x, y), edges repeated, of each channel whose pointer is not null. y is upwards.
    void grad(int x, int y, QVector2D *red, QVector2D *green, QVector2D *blue, QVector2D *alpha) const;
    /// The pixel of these sums of eight: (sum + 4) / 8 toward zero, of which the low byte stays.
    OPRGBA32i color(int a, int r, int g, int b);
    /// Adds the channels of @c image at (x, y).
    void sum(int x, int y, int &a, int &r, int &g, int &b);
    /// Makes the field: 10000000 in holes and 0 elsewhere.
    void initializeField();
    /// The field at (x, y); 10000000 outside of it, and so everywhere before @c initializeField.
    double field(int x, int y) const;
    /// Sets the field, in single precision; does nothing outside of it.
    void setField(int x, int y, double value);
    /// The step of the field to the next column and to the next row, of length 1 unless it is at most 0.0001. **The
    /// step along x is written to out's y and the one along y to its x.** Along x it is 0 in the last column, along y
    /// in the last row.
    void gradField(int x, int y, QVector2D *out) const;
    /// The distance of a pixel by its two neighbours at (x1, y1) and (x2, y2): from the field at both where both are
    /// known, and one more than the field at the only known one. 1000000 when they give none.
    double solve(int x1, int y1, int x2, int y2) const;
    /// Fills (x, y) with the weighted mean of the known pixels up to 3 columns and 3 rows away, **without those in its
    /// own row and column**.
    void inpaint(int x, int y);

    QImage *image;
    QImage mask; ///< Format_ARGB32
    QImage frontier; ///< Format_ARGB32; alpha 255: to be visited, 0: done
    QRect rect; ///< of the next pass
    QImage distanceField; ///< a float in each pixel's four bytes
};
