#include <KXCore.h>

#include <algorithm>
#include <utility>

/// A text layer that is being edited: click, type, select, bend, draw.
class TextTool {
public:
    /// A text in a box; an empty box is none.
    TextTool(const QFont &font, const QSize &box, const QList<TextParagraphParams> &paragraphs = {})
        : m_paragraphs(paragraphs)
    {
        m_text.SetTextArea(QRect(QPoint(0, 0), box));
        m_text.SetFont(font);
        m_text.SetRenderMode(2); // smooth
        layOut();
    }

    void layOut()
    {
        m_text.SetParagraphParameters(m_paragraphs);
        m_text.SetText(m_text.GetText());
        QRectF area, mapped;
        QPointF unused;
        m_text.CreatePathByTextWithDeformationWithRect(m_path, area, mapped, unused); // lays out
        m_area = area;
    }

    void place(const QTransform &transform)
    {
        m_transform = transform;
        m_text.SetTransform(QMatrix4x4(transform));
    }

    void bend(double percent)
    {
        m_text.SetStyle(percent == 0 ? 0 : 1);
        m_text.SetBend(percent);
        layOut();
    }

    /// A click in the layer; with Shift it selects from where the last one was.
    void click(const QPointF &point, bool shift)
    {
        const QPoint stretched = m_transform.inverted().map(point).toPoint();
        m_caret = m_text.GetPositionWithoutWrap(m_text.FindSelectedChar(QPoint(0, 0), stretched), QString());
        if (!shift)
            m_anchor = m_caret;
    }

    /// Replaces the selection, which may be empty.
    void type(const QString &characters)
    {
        const auto [start, end] = std::minmax(m_anchor, m_caret);
        QString text = m_text.GetText();
        text.replace(start, end - start, characters);
        m_anchor = m_caret = start + characters.length();
        m_text.SetText(text);
        layOut();
    }

    /// The caret, or the selection, in the layer: an outline to draw over it.
    QPainterPath mark()
    {
        const int caret = m_text.GetPositionWithWrap(m_caret), anchor = m_text.GetPositionWithWrap(m_anchor);
        return m_transform.map(
            caret == anchor ? m_text.GetVerticalLine(QPoint(), caret, 0) : m_text.GetSelectionRect(anchor, caret));
    }

    /// Draws the text into a layer or onto a canvas.
    void draw(RGBA32iImage &canvas, const QColor &color, KXCompositionMode mode)
    {
        layOut();
        m_text.SetColor(color);
        QPointF position;
        const RGBA32iImage picture = m_text.TransformAndCreateImage(m_path, m_area, position);
        const QPoint corner = (position + m_area.topLeft()).toPoint();
        Compose(picture, picture.Rect(), mode, canvas, QRect(corner, picture.Rect().size()), 255.0 / 256, false);
    }

    /// Whether there is more text than the box holds.
    bool overflows() const { return m_text.IsTextOutsideArea(); }
    QString text() const { return m_text.GetText(); }
    QString selected() const
    {
        const auto [start, end] = std::minmax(m_anchor, m_caret);
        return text().mid(start, end - start);
    }

private:
    OPTextHelper m_text;
    QList<TextParagraphParams> m_paragraphs;
    QTransform m_transform;
    QPainterPath m_path;
    QRectF m_area;
    int m_caret = 0, m_anchor = 0;
};
