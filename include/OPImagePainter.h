#pragma once

/// @file
/// Drawing into images: masks made of layers, and what QPainter draws, shapes and text. Here into a flat layer:
///
/// @code
/// QPainterPath balloon;
/// balloon.addEllipse(QRectF(20, 10, 200, 120));
/// FillPath(layer, QPainter::CompositionMode_SourceOver, balloon, QColor(255, 255, 255), true); // with an outline
/// QTextOption centred(Qt::AlignCenter);
/// DrawTextW(layer, QPainter::CompositionMode_SourceOver, 0.8, balloon.boundingRect(), "Hello", QColor(40, 40, 40),
///     font, -10, centred); // opacity 0.8, turned by 10 degrees to the left
/// @endcode
///
/// What holds for all of them:
///
/// Shape    Coordinates are pixels of the image, x to the right, y down; the pixel (0, 0) covers 0..1. What lies
///          outside of the image is cut off.
/// Storage  @c DrawImage and @c FillPath take flat and tiled images, and the two masks that are filled alike any
///          source. **@c DrawPath, @c DrawTextW and @c InvertImage do nothing on a tiled image**, in silence.
/// Shares   What is drawn into a flat image shows in all copies of it. Of a tiled one, tiles are copied where they are
///          written.
/// QPainter It computes with premultiplied colours of eight bits: a pixel that is not opaque may come back with
///          slightly other colours where something is drawn over it. It draws as far as 32,767 pixels to the right and
///          down of its image, or of its tile. A mode that is none of QPainter's draws nothing; see QPainter for what
///          each does.
/// Numbers  A path, rectangle or angle with infinite or NaN numbers draws nothing, and so does a pen of such a width.
/// Errors   A std::exception, std::bad_alloc too, ends a function; it is logged as "[src/OPImagePainter:line]
///          Unexpected exception text" and does not leave. What was drawn before stays. Anything else is logged and
///          thrown on. Where QPainter itself lacks memory, Qt may end the program.
/// Threads  The calling thread, but for @c DrawImage, which is a @c Compose, and @c FillPath on tiles. Any number of
///          calls may run at once, on images that share no flat buffer; they may share paths, pens, brushes and fonts.
///          QPainter's own needs hold: a brush with a QPixmap is for the main thread, and text is drawn only in a
///          program with a QGuiApplication, which Qt ends otherwise.
/// Owner    Borrows everything for the call.

#include "KXBlend.h"
#include "KXGlobal.h"
#include "KXImage.h"

#include <QtGui/QPainter>

class QBrush;
class QFont;
class QImage;
class QPainterPath;
class QPen;
class QPoint;
class QRectF;
class QString;
class QTextOption;

/// @name Masks
///
/// Each makes @p dst a new flat image of the size of @p src, without profile, resolution and EXIF elements: **images
/// that shared its pixels keep theirs.** Both may be one image. Where memory lacks, @p dst stays as it was.
/// @{

/// What the mask shows is the grey of the source, (R * 11 + G * 16 + B * 5) >> 5, as alpha; its colour is black. **The
/// alpha of the source counts for nothing**: what is transparent shows by its hidden colour. Of a tiled source nothing
/// is read, and the mask hides all.
KX_EXPORT void CreateFromSourceMask(RGBA32iImage &dst, const RGBA32iImage &src);

/// The alpha of the source as alpha, and black. Of a tiled source nothing is read, and the mask hides all.
KX_EXPORT void CreateFromTransparancyMask(RGBA32iImage &dst, const RGBA32iImage &src);

/// Transparent black: as a mask it hides all.
KX_EXPORT void CreateHideAllMask(RGBA32iImage &dst, const RGBA32iImage &src);

/// Opaque black: as a mask it shows all.
KX_EXPORT void CreateRevealAllMask(RGBA32iImage &dst, const RGBA32iImage &src);

/// @}

/// Composes all of @p src with its top left corner at @p at, as @c Compose does; see there for storage and opacity.
///
/// **The area is as large as @p dst and begins at @p at.** A negative position therefore leaves as many columns at the
/// right, and rows at the bottom, as it is negative, also where the source would reach.
///
/// Errors   Before @c loadAVX2Functions(true) nothing is drawn: the std::bad_function_call is logged like any other.
KX_EXPORT void DrawImage(RGBA32iImage &dst, KXCompositionMode mode, const QPoint &at, const RGBA32iImage &src,
    double opacity, bool lockAlpha);

/// The same with a QImage::Format_ARGB32; of any other format nothing is drawn, and @c Compose says so in the log.
KX_EXPORT void DrawImage(
    RGBA32iImage &dst, KXCompositionMode mode, const QPoint &at, const QImage &src, double opacity, bool lockAlpha);

/// Strokes @p path with @p pen, without antialiasing: as QPainter does at first. Nothing is filled. Does nothing on a
/// tiled image.
///
/// Dashes   A dashed pen draws nothing where a number of the path, its width, a dash or the offset of the dashes is
///          beyond 1,000,000 on either side of 0: Qt would not come to an end.
KX_EXPORT void DrawPath(RGBA32iImage &dst, QPainter::CompositionMode mode, const QPainterPath &path, const QPen &pen);

/// Inverts channels, every byte b of them becoming 255 - b. @p channels is a sum of 1 for red, 2 for green, 4 for blue
/// and 8 for alpha; other bits count for nothing. Does nothing on a tiled image.
KX_EXPORT void InvertImage(RGBA32iImage &img, unsigned channels);

/// Fills @p path with @p brush, antialiased; with @p withOutline it strokes it too, with the same brush, one pixel
/// wide, with square caps and bevelled joins. Half of the outline lies on what was filled: a translucent brush shows
/// twice there.
///
/// Tiles    **Every tile of a tiled image becomes private, wherever the path lies**, and is no longer fake: composition
///          skips none of them then, and each takes 64 KiB. @c RGBA32iImage::MakeTransparentTilesFake gives back those
///          that stayed transparent. A flat window is hidden by that. Null tiles stay null, and nothing is drawn there.
///          QPainter draws each tile by itself: at its edge coverage may differ by rounding from that in a flat image.
/// Threads  Rows of tiles on the global pool, one worker fewer than there are processors, and waited for. **With a
///          single processor nothing happens on a tiled image.** The path is drawn by one worker at a time.
KX_EXPORT void FillPath(
    RGBA32iImage &dst, QPainter::CompositionMode mode, const QPainterPath &path, const QBrush &brush, bool withOutline);

/// Draws @p text into a box that is turned by @p angle degrees, clockwise, about the centre of @p rect; alignment,
/// wrapping and tabulators are those of @p option. Does nothing on a tiled image.
///
/// Box      **Turned, it is the rectangle around the turned @p rect**: larger, but of the same centre. A text that is
///          centred stays in place; one that is aligned to a side moves to the side of the larger box.
/// Opacity  Clamped to 0..1; NaN counts as 0.
KX_EXPORT void DrawTextW(RGBA32iImage &dst, QPainter::CompositionMode mode, double opacity, const QRectF &rect,
    const QString &text, const QBrush &brush, const QFont &font, double angle, const QTextOption &option);
