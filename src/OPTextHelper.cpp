#include "OPTextHelper.h"

#include "OPImageTransformation.h"
#include "support/Arithmetic.h"
#include "text/Deformation.h"
#include "text/LineBreaking.h"
#include "text/LineLayout.h"
#include "text/Overlays.h"
#include "text/Painting.h"
#include "text/TextPositions.h"

#include <QtGui/QVector2D>

#include <algorithm>
#include <limits>

namespace {

/// Advances of strings, as text:: functions want them.
auto advances(const QFontMetrics &metrics)
{
    return [exact = QFontMetricsF(metrics)](const QString &string) { return exact.horizontalAdvance(string); };
}

/// Outlines of a line. Of small capitals Qt takes them from the fonts of whole capitals, and crashes where it has not
/// loaded one of these yet that it falls back on; measuring loads them.
void addLine(QPainterPath &path, int x, int baseline, const QFont &font, const QString &line)
{
    if (font.capitalization() == QFont::SmallCaps) {
        QFont capitals = font;
        capitals.setCapitalization(QFont::AllUppercase);
        QFontMetrics(capitals).horizontalAdvance(line);
    }
    path.addText(x, baseline, font, line);
}

QString stretchOf(const QString &string, size_t start, size_t count)
{
    const auto clamped = [](size_t n) { return int(std::min(n, size_t(std::numeric_limits<int>::max()))); };
    return string.mid(clamped(start), clamped(count));
}

/// Strokes below lines that lie one under the other, the first one from @p point on and @p tightHeight high.
QPainterPath underline(const QStringList &lines, int tightHeight, const QPoint &point, const QFontMetrics &metrics)
{
    QPainterPath path;
    double y = 2.0 * point.y() + tightHeight - 1; // the last row, once more below the point
    for (const QString &line : lines) {
        path.moveTo(point.x(), y);
        for (int k = 1; k <= line.length(); ++k)
            path.lineTo(double(point.x()) + metrics.horizontalAdvance(line.left(k)), y);
        y += metrics.height();
    }
    return path;
}

} // namespace

OPTextHelper::OPTextHelper(float maxSegmentLength)
    : m_maxSegmentLength(maxSegmentLength)
    , m_metrics(QFont())
{
}

OPTextHelper::OPTextHelper(const OPTextHelper &other) = default;
OPTextHelper::OPTextHelper(OPTextHelper &&other) noexcept = default;
OPTextHelper &OPTextHelper::operator=(const OPTextHelper &other) = default;
OPTextHelper &OPTextHelper::operator=(OPTextHelper &&other) noexcept = default;
OPTextHelper::~OPTextHelper() = default;

void OPTextHelper::SetText(const QString &text)
{
    m_text = text;
    MakeStale();
}

void OPTextHelper::SetFont(const QFont &font)
{
    m_font = font;
    MakeStale();
}

void OPTextHelper::MakeStale()
{
    m_textDirty = true;
    m_heavyDirty = true;
}

void OPTextHelper::SetRenderMode(int mode)
{
    if (mode != 1 && mode != 2)
        return;
    for (const auto hint : { QPainter::Antialiasing, QPainter::TextAntialiasing, QPainter::SmoothPixmapTransform,
             QPainter::RenderHint(8) }) // HighQualityAntialiasing, whose name Qt has put aside
        SetRenderHint(hint, mode == 2);
}

// --- Layout ----------------------------------------------------------------------------------------------------------

QStringList OPTextHelper::splitWordToWidth(const QString &word, int width) const
{
    return text::splitWord(word, width, advances(m_metrics));
}

QStringList OPTextHelper::wrapTextToWidth(const QString &text, int width, int indent) const
{
    return text::wrap(text, width, indent, advances(m_metrics));
}

void OPTextHelper::CreateTextPath()
{
    m_metrics = QFontMetrics(m_font);
    const text::LineMetrics metrics { m_metrics.ascent(), m_metrics.descent(), m_lineSpacing };
    m_ascent = metrics.ascent;
    m_lineHeight = metrics.lineHeight();

    QStringList lines = text::linesOf(m_text);
    m_wrappedLines.clear();
    if (!m_textArea.isEmpty())
        lines = m_wrappedLines = text::breakLines(lines, m_textArea, m_paragraphs, advances(m_metrics));

    QPainterPath path;
    path.swap(m_textPath); // for its memory
    path.clear();
    const text::Extent extent = text::placeLines(lines, m_textArea, m_paragraphs, metrics, advances(m_metrics),
        [&](int x, int baseline, const QString &line) { addLine(path, x, baseline, m_font, line); });
    m_textOutsideArea = extent.fit != text::Extent::Inside;
    if (extent.fit == text::Extent::TooHigh)
        m_wrappedLines = lines.mid(0, extent.placed);
    if (extent.fit == text::Extent::TooWide) {
        m_wrappedLines.clear();
        path = QPainterPath();
    }
    m_pathRect = path.boundingRect();

    SetMarkupPoints(path, extent.left, 0, extent.right, extent.bottom);
    StretchPath(path);
    const QPointF corner = path.boundingRect().topLeft();
    m_offsetX = arithmetic::truncate(corner.x());
    m_offsetY = arithmetic::truncate(corner.y());
    path.translate(-corner);
    m_textRect = path.boundingRect();
    m_textPath.swap(path);
    m_textDirty = false;
}

void OPTextHelper::SetMarkupPoints(QPainterPath &path, int x1, int y1, int x2, int y2)
{
    QPainterPath strokes;
    for (const QPointF &start : { QPointF(x1, y1), QPointF(x2, y2) }) {
        strokes.moveTo(start);
        strokes.lineTo(start + QPointF(1, 0));
    }
    path.addPath(strokes);
    m_markupCount = strokes.elementCount();
}

void OPTextHelper::LayOutIfStale()
{
    if (m_textDirty)
        CreateTextPath();
}

QRectF OPTextHelper::GetTextRect()
{
    CreateTextPath();
    return m_pathRect;
}

QString OPTextHelper::MakeWrappedText(const QString &text) const
{
    QStringList lines;
    for (const QString &paragraph : text::linesOf(text))
        lines << wrapTextToWidth(paragraph, text::widthOf(m_textArea), 0);
    return lines.join('\n');
}

QString OPTextHelper::GetWrappedText() const { return m_textArea.isEmpty() ? m_text : WrappedText(); }

// --- Settings of lines -----------------------------------------------------------------------------------------------

QList<OPTextHelper::AlignmentMode> OPTextHelper::GetAlignmentModes() const
{
    QList<AlignmentMode> modes;
    for (const TextParagraphParams &entry : m_paragraphs)
        modes << AlignmentMode(entry.alignment);
    return modes;
}

void OPTextHelper::SetAlignmentMode(const QList<int> &modes)
{
    const QSet<int> selected = GetSelectedLines();
    const int known = std::min(m_paragraphs.size(), modes.size());
    if (std::any_of(selected.begin(), selected.end(), [known](int line) { return line >= known; })) {
        m_paragraphs.clear();
        for (const int mode : modes) {
            m_paragraphs << TextParagraphParams();
            m_paragraphs.last().alignment = mode;
        }
        return;
    }
    for (const int line : selected)
        m_paragraphs[line].alignment = modes[line];
}

void OPTextHelper::SetLineAlignment(const QFontMetrics &metrics, const QString &line, int index, QPoint &point)
{
    const TextParagraphParams &entry = text::entryOf(std::clamp(index, 0, m_paragraphs.size()), m_paragraphs);
    point.setX(text::lineX(entry, metrics.horizontalAdvance(line), m_textArea));
}

QSet<int> OPTextHelper::GetSelectedLines() const
{
    const auto paragraphOf = [this](int position) {
        return GetLineByPosition(GetPositionWithoutWrap(position, m_text), false);
    };
    if (m_selectionStart == m_selectionEnd)
        return { paragraphOf(m_caretPosition) };
    QSet<int> lines;
    if (m_selectionStart > m_selectionEnd)
        return lines;
    // Numbers grow by 1 at most from position to position within the wrapped text. Behind its end they may jump: a box
    // may hold a part of the text alone.
    const int length = WrappedText().length();
    const int lastInside = paragraphOf(length == 0 ? m_selectionEnd : std::min(m_selectionEnd, length));
    for (int line = paragraphOf(m_selectionStart); line <= lastInside; ++line)
        lines << line;
    return lines << paragraphOf(m_selectionEnd);
}

// --- Positions -------------------------------------------------------------------------------------------------------

void OPTextHelper::SetStartEndPositions(int start, int end)
{
    m_selectionStart = start;
    m_selectionEnd = end;
}

int OPTextHelper::GetLinesCount() const { return text::lineCount(m_text); }

int OPTextHelper::GetLineByPosition(int position, bool useWrapped) const
{
    return text::lineOf(position, useWrapped && !m_wrappedLines.isEmpty() ? WrappedText() : m_text);
}

int OPTextHelper::GetLineByPositionForWrappedText(int position) const { return GetLineByPosition(position, true); }

int OPTextHelper::GetPositionWithWrap(int position) const
{
    const QString wrapped = WrappedText();
    if (position < 0)
        return 0;
    if (position > m_text.length())
        return m_wrappedLines.isEmpty() ? position : wrapped.length();
    if (m_wrappedLines.isEmpty() || position > wrapped.length())
        return position;
    return text::PositionMap(m_text, wrapped).ToWrapped(position);
}

int OPTextHelper::GetPositionWithoutWrap(int position, const QString &source) const
{
    const QString wrapped = WrappedText();
    const QString &typed = source.isEmpty() ? m_text : source;
    if (position < 0)
        return 0;
    if (wrapped.isEmpty())
        return position;
    if (position > wrapped.length())
        return typed.length();
    return text::PositionMap(typed, wrapped).ToTyped(position);
}

int OPTextHelper::GetSelectedCharFromWrappedText(const QString &unwrapped, int position) const
{
    const int brokenOff = text::lineOf(position, GetWrappedText()) - text::lineOf(position, unwrapped);
    return arithmetic::wrappingSubtract(position, brokenOff);
}

QList<int> OPTextHelper::GetTextPoints(const QString &string, const QFontMetrics &metrics) const
{
    return text::caretPoints(string, advances(metrics));
}

// --- Deformation -----------------------------------------------------------------------------------------------------

void OPTextHelper::CreateHeavyTextPath()
{
    LayOutIfStale();
    m_heavyPath = PreparePath(m_textPath);
    m_heavyRect = m_heavyPath.boundingRect();
    m_heavyDirty = false;
}

QPainterPath OPTextHelper::PreparePath(const QPainterPath &path) const { return text::cut(path, m_maxSegmentLength); }

void OPTextHelper::PreparePath() { m_textPath = PreparePath(m_textPath); }

void OPTextHelper::FlagFunction(QPointF &position, QPainterPath &path, const QRectF &rect) const
{
    const QRect r = text::rounded(rect.width() == 0 || rect.height() == 0 ? m_textRect : rect);
    const int width = text::widthOf(r), height = text::heightOf(r);
    const int lines = ShownLines().size();
    const int amplitude = (m_vertical ? width : height) / (2 * lines); // at 100 per cent half the height of a line
    const int halfSpan = (m_vertical ? height : width) / 2;
    FlagFunction(position, path, r.center(), float(halfSpan), amplitude);
}

void OPTextHelper::FlagFunction(
    QPointF &, QPainterPath &path, const QPointF &origin, float halfSpan, double amplitude) const
{
    text::wave(path, m_vertical ? Qt::Vertical : Qt::Horizontal, origin, halfSpan, m_bend * 0.01 * amplitude);
}

void OPTextHelper::Distortion(QPainterPath &path, int flags, float hFactor, float vFactor) const
{
    const QRectF rect = path.boundingRect();
    Distortion(path, flags, float(rect.width() * 0.5), float(rect.height() * 0.5), hFactor, vFactor, rect.center());
}

void OPTextHelper::Distortion(QPainterPath &path, int flags, float halfWidth, float halfHeight, float hFactor,
    float vFactor, const QPointF &centre) const
{
    if (m_text.isEmpty()) { // so that its caret is sheared as one beside a letter would be
        const int half = (m_textArea.isEmpty() ? m_metrics.horizontalAdvance("W") : text::widthOf(m_textArea)) / 2;
        halfWidth = float(half);
    }
    text::shear(path, flags, halfWidth, halfHeight, hFactor, vFactor, centre);
}

void OPTextHelper::Shear(QPainterPath &path, const QRectF &rect) const
{
    Distortion(path, text::ShearDown | text::ShearRight, float(rect.width() * 0.5), float(rect.height() * 0.5),
        float(m_hDistortion * 0.01), float(m_vDistortion * 0.01), rect.center());
}

void OPTextHelper::Deform(QPainterPath &path, const QRectF &waveRect, const QRectF &shearRect) const
{
    QPointF unmoved;
    FlagFunction(unmoved, path, waveRect);
    Shear(path, shearRect);
}

QPainterPath OPTextHelper::DeformedText(QPointF &position, Measured measured, QRectF &shearRect)
{
    LayOutIfStale();
    if (m_heavyDirty)
        CreateHeavyTextPath();
    QPainterPath work = m_heavyPath;
    shearRect = work.boundingRect();
    FlagFunction(position, work, QRectF());
    if (measured == Measured::AfterWave)
        shearRect = work.boundingRect();
    Shear(work, shearRect);
    const QPointF moved = m_textRect.topLeft() - work.boundingRect().topLeft();
    position -= QPointF(arithmetic::truncate(moved.x()), arithmetic::truncate(moved.y()));
    return work;
}

// --- Placing and painting --------------------------------------------------------------------------------------------

void OPTextHelper::StretchPath(QPainterPath &path) const
{
    path = text::stretch(m_horizontalStretch, m_verticalStretch).map(path);
}

void OPTextHelper::UnsetTransformOffset(QTransform &transform) const
{
    transform.translate(-double(m_offsetX), -double(m_offsetY));
}

void OPTextHelper::TranslateMarkupPoints(QPainterPath &path)
{
    const int count = std::min(m_markupCount, path.elementCount());
    if (m_markupCount > 0 && m_text.trimmed().isEmpty())
        path = QPainterPath();
    else
        for (int i = path.elementCount() - count; i < path.elementCount(); ++i)
            path.setElementPositionAt(i, path.elementAt(0).x, path.elementAt(0).y);
    m_markupCount = 0;
}

QTransform OPTextHelper::LayerTransform(bool withOffset) const
{
    QTransform result = m_transform.toTransform();
    return withOffset ? result.translate(m_offsetX, m_offsetY) : result;
}

QPainterPath OPTextHelper::TransformPath(const QPainterPath &path, const QRectF &rect) const
{
    const QTransform t = LayerTransform(false);
    const QRectF m = t.mapRect(rect);
    return text::mapped(path, t * QTransform::fromTranslate(-m.left(), -m.top()));
}

QPainterPath OPTextHelper::TransformPath(const QPainterPath &path, const QRectF &rect, QPointF &delta) const
{
    const QTransform t = LayerTransform(true);
    const QRectF m = t.mapRect(rect);
    const QPainterPath result = text::mapped(path, t * QTransform::fromTranslate(-m.left(), -m.top()));
    const QPointF q = t.map(rect.center()) - result.boundingRect().topLeft();
    delta = (rect.center() - rect.topLeft()) - q;
    return result;
}

void OPTextHelper::TransformPath(const QPainterPath &path, const QTransform &transform, QPainterPath &out) const
{
    text::addPolygons(path, transform, out);
}

QPainterPath OPTextHelper::TransformPathWithRect(const QPainterPath &path, const QRectF &) const
{
    return text::mapped(path, LayerTransform(false));
}

QPainterPath OPTextHelper::TransformPathWithRect(
    const QPainterPath &path, const QRectF &rect, QRectF &mappedRect, QPointF &delta, bool withOffset) const
{
    const QTransform t = LayerTransform(withOffset);
    mappedRect = t.mapRect(rect);
    delta = mappedRect.topLeft() - rect.topLeft();
    return text::mapped(path, t);
}

RGBA32iImage OPTextHelper::CreateImage(QPainterPath &path)
{
    TranslateMarkupPoints(path);
    return CreateImage(path, path.boundingRect());
}

RGBA32iImage OPTextHelper::CreateImage(QPainterPath &path, const QRectF &rect)
{
    TranslateMarkupPoints(path); // does nothing more for a path that comes from the other form
    const QRect area = text::rounded(rect);
    if (m_horizontalStretch == 0 || m_verticalStretch == 0)
        return RGBA32iImage(text::widthOf(area), text::heightOf(area), false);
    return text::paint(path, area, m_color, m_renderHints);
}

RGBA32iImage OPTextHelper::TransformImage(const RGBA32iImage &image) const
{
    const QTransform t = LayerTransform(false);
    const QRectF m = t.mapRect(QRectF(image.Rect()));
    RGBA32iImage result(arithmetic::truncate(m.width()), arithmetic::truncate(m.height()), false);
    ::TransformImage(image, t * QTransform::fromTranslate(-m.left(), -m.top()), result, QRect());
    return result;
}

RGBA32iImage OPTextHelper::CreateImageByText(QPointF &position)
{
    LayOutIfStale();
    QPointF delta;
    QPainterPath path = TransformPath(m_textPath, m_textPath.boundingRect(), delta);
    position = text::rounded(delta);
    return CreateImage(path);
}

RGBA32iImage OPTextHelper::CreateImageByTextWithDeformation(QPointF &position)
{
    if (m_style == 0)
        return CreateImageByText(position);
    QRectF shearRect;
    const QPainterPath work = DeformedText(position, Measured::AfterWave, shearRect);
    QPainterPath path = TransformPath(work, work.boundingRect());
    return CreateImage(path);
}

RGBA32iImage OPTextHelper::CreateImageByTextWithSelection(QPointF &position, int start, int length)
{
    if (length == 0 || length == -1)
        return CreateImageByText(position);
    LayOutIfStale();
    QPainterPath work = m_textPath;
    work.addRect(StretchOfLine(m_text, start, length));
    QPainterPath path = TransformPath(work, work.boundingRect());
    return CreateImage(path);
}

RGBA32iImage OPTextHelper::CreateImageByTextWithSelectionAndDeformation(QPointF &position, int, int)
{
    return CreateImageByTextWithDeformation(position);
}

RGBA32iImage OPTextHelper::TransformAndCreateImage(const QPainterPath &path, const QRectF &rect, QPointF &position)
{
    QRectF mappedRect;
    QPointF delta;
    QPainterPath result = TransformPathWithRect(path, rect, mappedRect, delta, true);
    position = text::rounded(delta);
    return CreateImage(result, mappedRect);
}

QPainterPath OPTextHelper::CreatePathByTextWithRect(QRectF &pathRect, QRectF &mappedRect, QPointF &)
{
    LayOutIfStale();
    pathRect = m_textPath.boundingRect();
    mappedRect = LayerTransform(false).mapRect(pathRect);
    return m_textPath;
}

void OPTextHelper::CreatePathByTextWithDeformationWithRect(
    QPainterPath &path, QRectF &pathRect, QRectF &mappedRect, QPointF &position)
{
    if (m_style == 0) {
        path = CreatePathByTextWithRect(pathRect, mappedRect, position);
        return;
    }
    QRectF shearRect;
    path = DeformedText(position, Measured::BeforeWave, shearRect);
    pathRect = path.boundingRect();
    mappedRect = LayerTransform(false).mapRect(pathRect);
}

// --- The editing view ------------------------------------------------------------------------------------------------

QStringList OPTextHelper::ShownLines() const
{
    return m_wrappedLines.isEmpty() ? text::linesOf(m_text) : m_wrappedLines;
}

QString OPTextHelper::ShownText() const
{
    return m_wrappedLines.isEmpty() && m_textArea.isEmpty() ? m_text : WrappedText();
}

template <class Ask>
QPainterPath OPTextHelper::OnPlaces(int length, const Ask &ask)
{
    const text::LineMetrics metrics { m_ascent, text::wrappingSubtract(m_lineHeight, m_ascent), m_lineSpacing };
    return ask(text::Places(ShownLines(), length, m_textArea, m_paragraphs, metrics, advances(m_metrics)));
}

void OPTextHelper::DeformInPlace(QPainterPath &path, const QRectF &waveRect, const QRectF &shearRect) const
{
    path.translate(-double(m_offsetX), -double(m_offsetY));
    if (m_style == 1)
        Deform(path, waveRect, shearRect);
    path.translate(m_offsetX, m_offsetY);
}

QPainterPath OPTextHelper::Overlay(QPainterPath path, const QRectF &waveRect, const QRectF &shearRect) const
{
    StretchPath(path);
    path = PreparePath(path);
    DeformInPlace(path, waveRect, shearRect);
    return path;
}

QRectF OPTextHelper::StretchOfLine(const QString &line, int start, int length) const
{
    return QRectF(m_metrics.horizontalAdvance(line.left(start)), 0,
        m_metrics.horizontalAdvance(line.mid(start, length)), text::heightOf(text::rounded(m_textRect)));
}

QPainterPath OPTextHelper::CreateSelectionPath(QPointF &, int start, int length)
{
    QPainterPath path;
    if (length == 0 || length == -1)
        return path;
    LayOutIfStale();
    path.addRect(StretchOfLine(ShownLines().join('\n'), start, length));
    return path;
}

/// With one step for each of the first two sides, and the whole height for each of the others.
QPainterPath OPTextHelper::CreateSelectionPath(const QPointF &topLeft, const QSize &size, size_t count) const
{
    QPainterPath path;
    path.moveTo(topLeft);
    if (count == 0 || count == size_t(-1))
        return path;
    const int n = int(std::min(count, size_t(text::mostPieces / 4)));
    const auto step = [n](int length) { return double(arithmetic::roundHalfUp(length * (1.0 / n))); };
    const double stepX = step(size.width()), stepY = step(size.height()), height = size.height();
    for (int i = 1; i < n; ++i)
        path.lineTo(topLeft + QPointF(stepX * i, 0));
    for (int i = 1; i < n; ++i)
        path.lineTo(topLeft + QPointF(stepX * n, stepY * i));
    for (int i = 1; i < n; ++i)
        path.lineTo(topLeft + QPointF(stepX * (n - i), height * n));
    for (int i = 1; i < n; ++i)
        path.lineTo(topLeft + QPointF(0, height * (n - i)));
    return path;
}

QPainterPath OPTextHelper::CreateSelectionAndDeformationPath(QPointF &position, int start, int length)
{
    QPainterPath selection = CreateSelectionPath(position, start, length);
    if (length == 0 || length == -1 || m_style == 0)
        return selection;
    QRectF shearRect;
    DeformedText(position, Measured::AfterWave, shearRect);
    selection = PreparePath(selection);
    Deform(selection, QRectF(), shearRect);
    return selection;
}

QPainterPath OPTextHelper::GetSelectionRect(int start, int end)
{
    if (start == -1 || end == -1)
        return QPainterPath();
    m_selectionStart = std::min(start, end);
    m_selectionEnd = std::max(start, end);
    const int length = ShownLines().join('\n').length();
    return Overlay(OnPlaces(length, [&](const auto &places) {
        return text::selection(places, std::max(m_selectionStart, 0), std::min(m_selectionEnd, length));
    }));
}

QPainterPath OPTextHelper::GetUpperLine(const QPoint &point)
{
    QPainterPath path = OnPlaces(ShownText().length(),
        [&](const auto &places) { return text::throughPositions(places, m_lineHeight / 2, text::NewLine::Connected); });
    StretchPath(path);
    path.translate(point);
    return path;
}

/// As the overlays, but not cut into pieces: its elements stay positions.
QPainterPath OPTextHelper::GetUpperLine(const QPoint &point, const QRect &)
{
    QPainterPath path = GetUpperLine(point);
    path.translate(-QPointF(point));
    DeformInPlace(path, m_heavyRect, m_heavyRect);
    path.translate(point);
    return path;
}

QPainterPath OPTextHelper::GetCharPath(const QPoint &point)
{
    LayOutIfStale();
    return GetUpperLine(point, text::rounded(m_textRect));
}

int OPTextHelper::FindSelectedChar(const QPoint &origin, const QPoint &point)
{
    const QPainterPath path = GetCharPath(origin);
    const auto distance = [&](int element) {
        return QVector2D(QPointF(path.elementAt(element)) - QPointF(point)).length();
    };
    int nearest = path.elementCount() == 0 ? -1 : 0;
    for (int i = 1; i < path.elementCount(); ++i)
        if (distance(i) < distance(nearest))
            nearest = i;
    return nearest;
}

QPainterPath OPTextHelper::GetUnderLine()
{
    return Overlay(OnPlaces(ShownText().length(),
        [&](const auto &places) { return text::throughPositions(places, m_ascent, text::NewLine::Apart); }));
}

/// Below each line of the stretch, of which the first one is at the point.
QPainterPath OPTextHelper::GetUnderLine(const QPoint &point, size_t start, size_t count) const
{
    const QString stretch = stretchOf(ShownText(), start, count);
    return underline(text::linesOf(stretch), m_metrics.tightBoundingRect(stretch).height(), point, m_metrics);
}

/// As if the stretch were a single line, and @p rect the rectangle of what is deformed; an empty one has no wave.
QPainterPath OPTextHelper::GetUnderLine(const QPoint &point, size_t start, size_t count, const QRect &rect) const
{
    const QString stretch = stretchOf(ShownText(), start, count);
    const QPainterPath path = underline({ stretch }, m_metrics.tightBoundingRect(stretch).height(), point, m_metrics);
    const QRectF shearRect(rect.x(), rect.y(), text::widthOf(rect), text::heightOf(rect));
    const QSizeF waveSize = shearRect.size().expandedTo(QSizeF(1, 1));
    return Overlay(path, QRectF(shearRect.topLeft(), waveSize), shearRect);
}

QPainterPath OPTextHelper::GetVerticalLine(const QPoint &, int position, int)
{
    m_caretPosition = position;
    const int length = ShownText().length();
    if (position > length)
        return QPainterPath();
    return Overlay(OnPlaces(length, [&](const auto &places) { return text::caret(places, position); }));
}

QPainterPath OPTextHelper::GetCenteringMark()
{
    const int size = arithmetic::truncate(m_lineHeight * 0.05);
    const int half = size / 2;
    QPainterPath path;
    path.addRect(-half, m_ascent - size, size, size);
    QRectF shearRect = m_heavyRect; // with something to shear by, also before a text is deformed
    if (shearRect.width() == 0)
        shearRect.setWidth(0.01);
    if (shearRect.height() == 0)
        shearRect.setHeight(0.01);
    return Overlay(path, m_heavyRect, shearRect);
}

QPainterPath OPTextHelper::GetTextArea(const QRect &rect)
{
    QPainterPath path;
    path.addRect(rect.x(), rect.y(), text::widthOf(rect), text::heightOf(rect));
    return Overlay(path);
}
