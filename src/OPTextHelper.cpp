#include "OPTextHelper.h"

#include "support/Arithmetic.h"
#include "text/LineBreaking.h"
#include "text/LineLayout.h"
#include "text/Positions.h"

namespace {

/// Advances of strings, as text:: functions want them.
auto advances(const QFontMetrics &metrics)
{
    return [&metrics](const QString &string) { return metrics.horizontalAdvance(string); };
}

} // namespace

OPTextHelper::OPTextHelper(float maxSegmentLength)
    : m_maxSegmentLength(maxSegmentLength)
    , m_metrics(QFont())
{
}

OPTextHelper::OPTextHelper(const OPTextHelper &other) = default;
OPTextHelper::OPTextHelper(OPTextHelper &&other) = default;
OPTextHelper &OPTextHelper::operator=(const OPTextHelper &other) = default;
OPTextHelper &OPTextHelper::operator=(OPTextHelper &&other) = default;
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
    const text::Extent extent = text::placeLines(lines, m_textArea, m_paragraphs, metrics, advances(m_metrics),
        [&](int x, int baseline, const QString &line) { path.addText(x, baseline, m_font, line); });
    m_textOutsideArea = extent.fit != text::Extent::Inside;
    if (extent.fit == text::Extent::TooHigh)
        m_wrappedLines = lines.mid(0, extent.placed);
    if (extent.fit == text::Extent::TooWide) {
        m_wrappedLines.clear();
        path = QPainterPath();
    }
    m_pathRect = path.boundingRect();

    SetMarkupPoints(path, extent.left, 0, extent.right, extent.bottom);
    path = QTransform::fromScale(m_horizontalStretch * 0.01, m_verticalStretch * 0.01).map(path);
    const QPointF corner = path.boundingRect().topLeft();
    m_offsetX = arithmetic::truncate(corner.x());
    m_offsetY = arithmetic::truncate(corner.y());
    path.translate(-corner);
    m_textRect = path.boundingRect();
    m_textPath = path;
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
    point.setX(text::lineX(text::entryOf(index, m_paragraphs), metrics.horizontalAdvance(line), m_textArea));
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
    const QString wrapped = WrappedText(), &typed = source.isEmpty() ? m_text : source;
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
