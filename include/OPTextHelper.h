#pragma once

/// @file
/// The engine of text layers: lays out a text, bends it, paints it, and tells the editing view where caret, selection
/// and characters are. `docs/behaviour/text.md` shows a small text tool made of it.
///
/// **The order of calls.** Set, lay out, ask.
/// 1. Set the box, the paragraphs, spacing, stretch and deformation; then font and text. Only @c SetFont and @c SetText
///    make the layout stale: after any other setter of what is laid out, call `SetText(GetText())`.
/// 2. Lay out. @c GetTextRect does so always. Images, paths, @c GetCharPath and @c FindSelectedChar do so where the
///    layout is stale. **Caret, selection, underline, box and centring mark do not**; they use what the last layout
///    left, and of a deformed text also the rectangle of its outlines, which only a deformed image or path measures. So
///    ask for one of these first.
/// 3. Ask. An image uses up the two markup strokes of a layout (see @c CreateImageByText); lay out again before the
///    next one.
///
/// **Paragraph settings grow.** Before a layout there is an entry per paragraph, of those that were set; after it one
/// per line, each line of a paragraph having a copy of its entry. The next layout in a box begins from these and
/// inserts again. So set the paragraphs, by @c SetParagraphParameters, whenever the text is to be laid out anew.
///
/// **Coordinates.** x to the right, y down, in pixels.
/// - *Layout*: lines begin at x = 0 or where their settings say, and the first line's ascent at y = 0. So is
///   @c GetTextRect.
/// - *Stretched*: layout coordinates times the two stretches, and bent where the text is. So is all that the editing
///   view draws over a text (caret, selection, underline, box, mark, the path of characters), and the point of a click.
/// - *Layer*: stretched coordinates through @c GetTransform.
///
/// The path of a text is stretched and then moved to have its top left corner at (0, 0); @c UnsetTransformOffset takes
/// the way that it was moved back, in whole pixels. Two strokes make its rectangle that of the whole lines, from the
/// ascent of the first to the descent of the last; **of lines that begin to the right of 0, as centred ones do, it is
/// wider than they are**.
///
/// **Placing a picture.** @c CreatePathByTextWithDeformationWithRect gives path and rectangle of a text, deformed or
/// not, and @c TransformAndCreateImage paints them. The picture's top left corner belongs at
/// `position + rect.topLeft()` of the layer: exactly where the rectangle has whole corners, as one from
/// QRectF::toAlignedRect has, and otherwise within a pixel.
///
/// @code
/// OPTextHelper text;
/// text.SetRenderMode(2); // smooth
/// text.SetColor(Qt::white);
/// text.SetTransform(QMatrix4x4(QTransform::fromTranslate(200, 60))); // where the layer has the text's corner
/// text.SetFont(QFont("Sans", 40));
/// text.SetText("Evening");
/// QPainterPath path;
/// QRectF rect, mapped;
/// QPointF position, unused;
/// text.CreatePathByTextWithDeformationWithRect(path, rect, mapped, unused); // lays out
/// const RGBA32iImage picture = text.TransformAndCreateImage(path, rect, position);
/// const QRect there = picture.Rect().translated((position + rect.topLeft()).toPoint());
/// Compose(picture, picture.Rect(), KXCompositionMode::SourceOver, canvas, there, 255.0 / 256, false);
/// @endcode
///
/// **Positions** lie between UTF-16 units; 0 is before the first one. The editing view counts in the *wrapped* text,
/// which has a newline where a line was broken. @c GetPositionWithWrap leads there from the text as it was typed and
/// @c GetPositionWithoutWrap back. A click becomes a position by @c FindSelectedChar, a position a caret by
/// @c GetVerticalLine and two of them a selection by @c GetSelectionRect.
///
/// **A text that does not fit.** In a box lines that overflow its height are not there: neither painted nor in the
/// wrapped text. Where a line is too wide, which takes indents or a box narrower than a character, no line is there.
/// @c IsTextOutsideArea tells. A box whose width or height is 0 is none: then nothing is broken into lines.
///
/// **What comes out of other scripts.** Lines are broken behind spaces, and where there are none between any two UTF-16
/// units: also within a pair of surrogates or before a combining mark. Outlines are Qt's, right-to-left text included;
/// but places along a line are widths of what precedes them, counted from the left, so that caret and selection in such
/// a text lie where they would in one from left to right.
///
/// **Cost.** A layout, and what asks for the places of all positions, take a time that grows with the length of the
/// text: for 10,000 characters a few hundredths of a second. The times for words that are broken, and for the places
/// along a line, grow with the square of their length if they hold other characters than those of Latin, Greek,
/// Cyrillic, Chinese, Japanese and Korean scripts; so do those for a line of several scripts above 4096 characters.
///
/// **Limits.** Whole numbers that overflow wrap around. A path is cut into 4,194,304 pieces at most, besides the edges
/// that it has; where it would be more, the pieces become longer. An image of more than 2^31 - 1 pixels throws
/// std::bad_alloc, as every KXImage.

#include "KXGlobal.h"
#include "KXImage.h"

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QPair>
#include <QtCore/QPointF>
#include <QtCore/QRectF>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtGui/QColor>
#include <QtGui/QFont>
#include <QtGui/QFontMetrics>
#include <QtGui/QMatrix4x4>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>
#include <QtGui/QTransform>

/// How a paragraph is set; after a layout, how one line is.
struct TextParagraphParams {
    int alignment = 1; ///< an OPTextHelper::AlignmentMode; any other number counts as Left
    int leftIndent = 0; ///< moves lines to the right and makes them shorter
    int rightIndent = 0; ///< **moves lines to the left and makes them longer**
    int firstLineIndent = 0; ///< moves the first line to the right and makes it shorter
    int spaceBefore = 0; ///< moves down this line alone, and not those after it
    int spaceAfter = 0; ///< moves down the lines after this one
    bool isFirstLine = true; ///< false for lines that were broken off another
};

/// One text object: text, font, settings, and the layout made of them. See the top of the file.
///
/// Owner    A value: a copy has all of it, the layout included.
/// Threads  One thread that may use fonts; there is a QGuiApplication.
/// Errors   None. Bad input gives empty paths or is clamped, as it says where it matters. Without memory it throws
///          std::bad_alloc; where Qt's own fonts and paths lack it, Qt may end the program.
class KX_EXPORT OPTextHelper {
public:
    enum AlignmentMode : int { Left = 1, Centre = 2, Right = 3 };

    /// @p maxSegmentLength is the longest straight piece that a path is left with before it is bent; with 0 or less
    /// nothing is cut.
    explicit OPTextHelper(float maxSegmentLength = 2.0f);
    OPTextHelper(const OPTextHelper &other);
    OPTextHelper(OPTextHelper &&other) noexcept;
    OPTextHelper &operator=(const OPTextHelper &other);
    OPTextHelper &operator=(OPTextHelper &&other) noexcept;
    ~OPTextHelper();

    /// @name What is laid out
    /// SetText and SetFont make the layout stale, the others do not.
    /// @{
    QString GetText() const { return m_text; } ///< as it was typed; newlines separate paragraphs
    void SetText(const QString &text);
    QFont GetFont() const { return m_font; }
    void SetFont(const QFont &font); ///< of one that does not exist Qt takes what it has
    QRect GetTextArea() const { return m_textArea; }
    void SetTextArea(const QRect &area) { m_textArea = area; } ///< the box; its corner is not read, only its size
    void SetParagraphParameters(const QList<TextParagraphParams> &paragraphs) { m_paragraphs = paragraphs; }
    int GetLineSpacing() const { return m_lineSpacing; }
    void SetLineSpacing(int pixels) { m_lineSpacing = pixels; } ///< between lines, besides their heights
    int GetLetterSpacing() const { return m_letterSpacing; }
    void SetLetterSpacing(int spacing) { m_letterSpacing = spacing; } ///< kept for the caller; no layout reads it
    int GetHorizontalStretch() const { return m_horizontalStretch; }
    void SetHorizontalStretch(int percent) { m_horizontalStretch = percent; }
    int GetVerticalStretch() const { return m_verticalStretch; }
    void SetVerticalStretch(int percent) { m_verticalStretch = percent; }
    /// @}

    /// @name How it is deformed, placed and painted
    /// Read whenever a path or an image is made.
    /// @{
    int GetStyle() const { return m_style; }
    /// 0 is plain and 1 deformed. Of other numbers the text is deformed and what the editing view draws is not.
    void SetStyle(int style) { m_style = style; }
    void SetOrientation(bool vertical) { m_vertical = vertical; } ///< in which direction the wave runs
    void SetBend(double percent) { m_bend = percent; } ///< height of the wave; 100: half the height of a line
    void SetHDistortion(double percent) { m_hDistortion = percent; }
    void SetVDistortion(double percent) { m_vDistortion = percent; }
    QMatrix4x4 GetTransform() const { return m_transform; }
    void SetTransform(const QMatrix4x4 &transform) { m_transform = transform; } ///< the layer's placement
    QColor GetColor() const { return m_color; }
    void SetColor(const QColor &color) { m_color = color; } ///< of pen and brush
    void SetRenderHint(QPainter::RenderHint hint, bool on) { m_renderHints[hint] = on; }
    /// Mode 1 sets the hints for antialiasing (of all kinds) and smooth pictures to false, mode 2 to true; any other
    /// number does nothing.
    void SetRenderMode(int mode);
    /// @}

    /// @name Lines and their settings
    /// @{

    /// The bounding rectangle of the outlines, in layout coordinates and without the markup strokes. Lays out, always.
    QRectF GetTextRect();
    /// Whether the last layout did not fit the box.
    bool IsTextOutsideArea() const { return m_textOutsideArea; }
    /// Of each entry: of the paragraphs that were set, after a layout of the lines.
    QList<AlignmentMode> GetAlignmentModes() const;
    /// Gives the lines of @c GetSelectedLines the alignments that @p modes has at their places. Where there is no such
    /// entry, or no such mode, all entries are replaced instead: by one with default settings for each mode.
    void SetAlignmentMode(const QList<int> &modes);
    /// The paragraphs, by their numbers, of caret or selection: of the caret where the selection's ends are equal, none
    /// where it ends before it starts.
    QSet<int> GetSelectedLines() const;
    /// How many paragraphs the text has: 1 and more.
    int GetLinesCount() const;
    /// @p text in lines of the width of the box, as a layout without indents breaks them; nothing where the box is
    /// narrower than 1. The font is that of the last layout.
    QString MakeWrappedText(const QString &text) const;
    /// The text as the last layout broke it into lines; without a box the text.
    QString GetWrappedText() const;
    /// Puts into @p point's x where the line @p line begins in the layout, if it is line number @p index and measured
    /// with @p metrics. Below 0 it is the first; beyond the entries a default one is appended for it.
    void SetLineAlignment(const QFontMetrics &metrics, const QString &line, int index, QPoint &point);
    /// @}

    /// @name Positions
    /// Where nothing else is said, what lies behind the end counts as the end, and so does what is below 0.
    /// @{

    /// The line of a position in the wrapped text with @p useWrapped, where a layout in a box has made one; otherwise
    /// in the text.
    int GetLineByPosition(int position, bool useWrapped) const;
    int GetLineByPositionForWrappedText(int position) const;
    /// From the text to the wrapped text. At the place where a line is broken that is the end of the line. Below 0: 0.
    int GetPositionWithWrap(int position) const;
    /// From the wrapped text to the text, or to @p source if that is not empty: a text that differs from the wrapped
    /// one by newlines only. Below 0: 0. Without a wrapped text the position itself.
    int GetPositionWithoutWrap(int position, const QString &source) const;
    /// @p position less the number of lines that were broken before it, by counting newlines up to the same position in
    /// @p unwrapped and in the wrapped text; a rough way back to the text.
    int GetSelectedCharFromWrappedText(const QString &unwrapped, int position) const;
    /// For each position in @p string how many pixels it is from the beginning of its line, in layout coordinates.
    QList<int> GetTextPoints(const QString &string, const QFontMetrics &metrics) const;
    /// The selection's ends, in the wrapped text, as they were set here or by @c GetSelectionRect.
    QPair<int, int> GetStartEndPositions() const { return { m_selectionStart, m_selectionEnd }; }
    void SetStartEndPositions(int start, int end);
    /// @}

    /// @name Images and paths
    /// All of them lay out where the layout is stale. **The markup strokes of a layout are taken out once**: the first
    /// image after a layout shrinks them to a point (of a text without visible characters it is empty), and the next
    /// one shows them, as two strokes of a pixel at the corners of the block. So call `SetText(GetText())`, and
    /// @c SetParagraphParameters where there is a box, before every image but the first. A deformed text that is
    /// stretched so much that a stroke is two pieces long, as from 400 per cent on with pieces of 2 pixels, shows what
    /// its cut strokes have besides their last four points in the first image too.
    ///
    /// Images are flat, straight colour, as large as the path's bounding rectangle in whole pixels or the rectangle
    /// that is given; transparent where a stretch is 0.
    /// @{

    /// The text through the transform. @p position is by how much its top left corner moves, from where the undeformed
    /// block has it, so that the block's centre stays under a scaling or a rotation about the corner; what the
    /// transform itself moves is **subtracted**. To place a picture in a layer see the top of the file.
    RGBA32iImage CreateImageByText(QPointF &position);
    /// The same of a deformed text. It has another @p position: the one given, less the whole pixels by which the
    /// deformed outlines begin further right and further down than the block, which the transform does not enter.
    RGBA32iImage CreateImageByTextWithDeformation(QPointF &position);
    /// As @c CreateImageByTextWithDeformation; the selection is not looked at.
    RGBA32iImage CreateImageByTextWithSelectionAndDeformation(QPointF &position, int start, int length);
    /// A path of this text, which has the rectangle @p rect, through the transform: what lies in the mapped rectangle.
    /// @p position is how far that begins from the corner of @p rect.
    RGBA32iImage TransformAndCreateImage(const QPainterPath &path, const QRectF &rect, QPointF &position);

    /// The text's path, its rectangle, and that through the transform. @p position is not touched.
    QPainterPath CreatePathByTextWithRect(QRectF &pathRect, QRectF &mappedRect, QPointF &position);
    /// The same, deformed unless the style is 0; then @p position changes as in @c CreateImageByTextWithDeformation.
    /// The shear takes its measures before the wave here, and after it there.
    void CreatePathByTextWithDeformationWithRect(
        QPainterPath &path, QRectF &pathRect, QRectF &mappedRect, QPointF &position);

    /// Stretches a path by the two percentages.
    void StretchPath(QPainterPath &path) const;
    /// Lets @p transform take a stretched path to where it was before it was moved to (0, 0).
    void UnsetTransformOffset(QTransform &transform) const;
    /// @}

    /// @name What the editing view draws
    /// In stretched coordinates. Positions are those of the wrapped text. All but the first three need a layout before
    /// them. Points that are called unused are not read.
    /// @{

    /// A polyline through all positions, in the middle of the lines and moved by @p point. It is what clicks are
    /// measured against.
    QPainterPath GetCharPath(const QPoint &point);
    /// The position next to @p point, a click, where the text is drawn at @p origin: the number of the element of
    /// @c GetCharPath that is nearest to it. Of positions at one place the polyline has the first alone, so that behind
    /// characters without a width of their own the number is too low by one for each. -1 without a polyline.
    int FindSelectedChar(const QPoint &origin, const QPoint &point);
    /// A rectangle from one position to another on a line, as high as the block, and deformed as the text; empty for a
    /// length of 0 or -1. Newlines count as characters of the line: it is for texts of a single line that begins at 0
    /// and is not stretched horizontally, for it lies where the text's path does, along the line in unstretched pixels.
    /// @p position changes as in @c CreateImageByTextWithDeformation, and in a plain text not at all.
    QPainterPath CreateSelectionAndDeformationPath(QPointF &position, int start, int length);

    /// The selection between two positions, in any order, as a rectangle for each line; it also becomes the one of
    /// @c GetStartEndPositions. Empty, with nothing else done, if one of them is -1; what is below counts as 0.
    QPainterPath GetSelectionRect(int start, int end);
    /// The underline of all the text, a stroke for each line.
    QPainterPath GetUnderLine();
    /// The caret: a stroke from the bottom of the line to its top. It also sets the caret of @c GetSelectedLines. Empty
    /// behind the end; below 0 counts as the end, which of a text that its box does not hold is the beginning of its
    /// last paragraph, with nothing but the spaces of paragraphs above it. @p point and @p last are unused.
    QPainterPath GetVerticalLine(const QPoint &point, int position, int last);
    /// A small square where the text begins, at its ascent; empty for lines lower than 20 pixels.
    QPainterPath GetCenteringMark();
    /// The outline of a rectangle that is given in layout coordinates, the box mostly.
    QPainterPath GetTextArea(const QRect &rect);
    /// @}

private:
    // Wrapping and layout.
    QStringList splitWordToWidth(const QString &word, int width) const;
    QStringList wrapTextToWidth(const QString &text, int width, int indent) const;
    void CreateTextPath();
    void SetMarkupPoints(QPainterPath &path, int x1, int y1, int x2, int y2);

    // Deformation.
    void CreateHeavyTextPath();
    QPainterPath PreparePath(const QPainterPath &path) const;
    void PreparePath();
    void FlagFunction(QPointF &position, QPainterPath &path, const QRectF &rect) const;
    void FlagFunction(
        QPointF &position, QPainterPath &path, const QPointF &origin, float halfSpan, double amplitude) const;
    void Distortion(QPainterPath &path, int flags, float hFactor, float vFactor) const;
    void Distortion(QPainterPath &path, int flags, float halfWidth, float halfHeight, float hFactor, float vFactor,
        const QPointF &centre) const;

    // Placing and painting.
    void TranslateMarkupPoints(QPainterPath &path);
    QPainterPath TransformPath(const QPainterPath &path, const QRectF &rect) const;
    QPainterPath TransformPath(const QPainterPath &path, const QRectF &rect, QPointF &delta) const;
    void TransformPath(const QPainterPath &path, const QTransform &transform, QPainterPath &out) const;
    QPainterPath TransformPathWithRect(const QPainterPath &path, const QRectF &rect) const;
    QPainterPath TransformPathWithRect(
        const QPainterPath &path, const QRectF &rect, QRectF &mappedRect, QPointF &delta, bool withOffset) const;
    RGBA32iImage CreateImage(QPainterPath &path);
    RGBA32iImage CreateImage(QPainterPath &path, const QRectF &rect);
    RGBA32iImage TransformImage(const RGBA32iImage &image) const;
    RGBA32iImage CreateImageByTextWithSelection(QPointF &position, int start, int length);

    // The editing view.
    QPainterPath CreateSelectionPath(QPointF &position, int start, int length);
    QPainterPath CreateSelectionPath(const QPointF &topLeft, const QSize &size, size_t count) const;
    QPainterPath GetUpperLine(const QPoint &point);
    QPainterPath GetUpperLine(const QPoint &point, const QRect &rect);
    QPainterPath GetUnderLine(const QPoint &point, size_t start, size_t count) const;
    QPainterPath GetUnderLine(const QPoint &point, size_t start, size_t count, const QRect &rect) const;

    // What several of them share.
    enum class Measured { BeforeWave, AfterWave };
    void MakeStale();
    void LayOutIfStale();
    /// The lines of the last layout, joined.
    QString WrappedText() const { return m_wrappedLines.join('\n'); }
    /// What the editing view draws over: the lines of the last layout in a box, and otherwise the paragraphs.
    QStringList ShownLines() const;
    /// The text of these lines, but nothing where a box holds nothing.
    QString ShownText() const;
    /// Runs @p ask on the places of positions in a text of @p length.
    template <class Ask>
    QPainterPath OnPlaces(int length, const Ask &ask);
    /// The distortions, of what has that rectangle.
    void Shear(QPainterPath &path, const QRectF &rect) const;
    /// The text, deformed. Gives the rectangle that the shear was measured by.
    QPainterPath DeformedText(QPointF &position, Measured measured, QRectF &shearRect);
    /// The wave and then the shear of what has these rectangles; a wave of an empty one is that of the whole text.
    void Deform(QPainterPath &path, const QRectF &waveRect, const QRectF &shearRect) const;
    /// The same, of style 1 alone, for a path in stretched coordinates.
    void DeformInPlace(QPainterPath &path, const QRectF &waveRect, const QRectF &shearRect) const;
    /// From layout coordinates to where the text shows: stretched, cut into pieces, and deformed.
    QPainterPath Overlay(QPainterPath path, const QRectF &waveRect, const QRectF &shearRect) const;
    QPainterPath Overlay(const QPainterPath &path) const { return Overlay(path, m_heavyRect, m_heavyRect); }
    /// Where characters are in a text of a single line, which is as high as the block.
    QRectF StretchOfLine(const QString &line, int start, int length) const;
    /// The transform from the text's path to the layer.
    QTransform LayerTransform(bool withOffset) const;

    QString m_text;
    QFont m_font;
    QColor m_color;
    QPainterPath m_textPath; ///< stretched, its top left corner at (0, 0)
    QRectF m_textRect; ///< bounding rectangle of m_textPath
    QPainterPath m_heavyPath; ///< m_textPath cut into short pieces, to be deformed
    QRectF m_heavyRect; ///< bounding rectangle of m_heavyPath
    bool m_textDirty = true; ///< m_textPath is to be made anew
    bool m_heavyDirty = true; ///< m_heavyPath too; a layout that is asked for leaves it as it is
    int m_markupCount = 0; ///< elements of the markup strokes at the end of the path, until an image has used them up
    float m_maxSegmentLength;
    int m_style = 0;
    bool m_vertical = false;
    double m_bend = 0;
    double m_hDistortion = 0;
    double m_vDistortion = 0;
    QMatrix4x4 m_transform;
    int m_caretPosition = 0;
    int m_selectionStart = 0;
    int m_selectionEnd = 0;
    int m_lineSpacing = 0;
    int m_letterSpacing = 0;
    int m_horizontalStretch = 100;
    int m_verticalStretch = 100;
    int m_offsetX = 0; ///< where the stretched path began before it was moved, in whole pixels
    int m_offsetY = 0;
    QFontMetrics m_metrics; ///< of the last layout's font
    int m_ascent = 0; ///< 0 before a layout, as is the height
    int m_lineHeight = 0;
    QList<TextParagraphParams> m_paragraphs; ///< one per line after a layout
    QMap<QPainter::RenderHint, bool> m_renderHints;
    QRect m_textArea; ///< empty: no box
    QStringList m_wrappedLines; ///< of the last layout in a box
    QRectF m_pathRect; ///< of the lines before they were stretched
    bool m_textOutsideArea = false;
};
