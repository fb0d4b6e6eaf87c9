#pragma once

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

    /// How a text is deformed, in per cent.
    struct Deformation {
        double wave = 0; ///< how far it reaches; 100 of a horizontal one is half the height of a line
        Qt::Orientation direction = Qt::Horizontal; ///< in which the wave runs
        double horizontal = 0; ///< makes the right end higher and the left one lower
        double vertical = 0; ///< makes the bottom wider and the top narrower
    };

    void deform(const Deformation &how)
    {
        m_text.SetStyle(how.wave == 0 && how.horizontal == 0 && how.vertical == 0 ? 0 : 1);
        m_text.SetBend(how.wave);
        m_text.SetOrientation(how.direction == Qt::Vertical);
        m_text.SetHDistortion(how.horizontal);
        m_text.SetVDistortion(how.vertical);
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
        const auto [start, end] = std::minmax({ m_anchor, m_caret });
        QString text = m_text.GetText();
        text.replace(start, end - start, characters);
        m_anchor = m_caret = start + characters.length();
        m_text.SetText(text);
        layOut();
    }

    // What the editing view draws over the text, in the layer. The selection is to be filled, the others are strokes.

    QPainterPath caret()
    {
        return m_transform.map(m_text.GetVerticalLine(QPoint(), m_text.GetPositionWithWrap(m_caret), 0));
    }
    QPainterPath selection()
    {
        return m_transform.map(
            m_text.GetSelectionRect(m_text.GetPositionWithWrap(m_anchor), m_text.GetPositionWithWrap(m_caret)));
    }
    QPainterPath underline() { return m_transform.map(m_text.GetUnderLine()); }
    QPainterPath box() { return m_transform.map(m_text.GetTextArea(QRect(QPoint(0, 0), m_text.GetTextArea().size()))); }

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
        const auto [start, end] = std::minmax({ m_anchor, m_caret });
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
