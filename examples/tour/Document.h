#pragma once

#include "Pictures.h"

#include <KXImage.h>

#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QImage>

#include <atomic>

namespace tour {

/// One thing that the library did, as the report shows it.
struct Step {
    QString title;
    QString caption; ///< one line
    QImage before, after;
    double milliseconds = 0;
    QString layer; ///< whose tiles these are
    TileMap tiles;
};

/// A small document of several layers above one photo, and the steps in which it comes about.
class Document {
public:
    /// @p stop ends a filter early when it becomes true; the step that notices throws Stopped.
    Document(const QImage &photo, const std::atomic<bool> &stop);

    QVector<Step> run();

    /// The composed picture, flat; empty before run().
    const RGBA32iImage &result() const { return m_canvas; }

private:
    Step bringIntoTiles();
    Step select();
    Step blurSelection();
    Step paint();
    Step growLayer();
    Step composePaint();
    Step composeMasked();
    Step composeGrown();
    Step composeClippingGroup();
    Step composeAll();

    void makeGrade();
    void makeLens();
    void putPhoto();
    void putPaint();
    void putGrade();
    void putMoon();
    void putLens();

    template <class Action>
    Step composed(
        const QString &title, const QString &caption, const QString &layer, const RGBA32iImage &image, Action action);
    QImage show(const RGBA32iImage &image) const;
    QImage show(const RGBA32iImage &part, const QPoint &position) const;
    TileMap tilesOf(const RGBA32iImage &image) const;
    QRect rect() const { return m_photo.Rect(); }

    const std::atomic<bool> &m_stop;
    QImage m_input;
    int m_unit; ///< the shorter side of the photo

    RGBA32iImage m_photo; ///< the photo as it came, tiled
    RGBA32iImage m_retouched; ///< starts as a copy that shares every tile with m_photo
    RGBA32iImage m_selection; ///< tiled; coverage in its alpha
    QRect m_selected; ///< bounds of the selection
    RGBA32iImage m_paint; ///< tiled, mostly empty
    RGBA32iImage m_grade; ///< tiled, one colour: all its tiles are one block
    RGBA32iImage m_gradeMask; ///< tiled; covers the upper part
    RGBA32iImage m_moon; ///< flat and just as large as what it shows
    QPoint m_moonAt;
    RGBA32iImage m_halo; ///< tiled: the moon blurred, with room for its glow
    RGBA32iImage m_lensBase; ///< tiled: a white disc, the base of the clipping group
    RGBA32iImage m_lensMask; ///< flat: leaves the disc's rim free
    RGBA32iImage m_closeUp; ///< flat: what is clipped by the disc
    QRect m_lens; ///< where the disc lies
    RGBA32iImage m_canvas; ///< flat; what is shown
};

} // namespace tour
