#include "kit/Test.h"

#include "color/Hsl.h"

#include <QtGui/QColor>

/// Hue, saturation and lightness, by QColor.
class TestColorFormulas : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyColour()
    {
        for (unsigned word = 0; word < 1u << 24; ++word) {
            int h = 0, s = 0, l = 0;
            QColor(QRgb(0xFF000000u | word)).getHsl(&h, &s, &l);
            const color::Hsl hsl = color::hslOf(OPRGBA32i(word));
            if (hsl.h != h || hsl.s != s || hsl.l != l)
                QFAIL(
                    qPrintable(QString::asprintf("%06x: %d %d %d, not %d %d %d", word, hsl.h, hsl.s, hsl.l, h, s, l)));
        }
    }

    /// Every saturation and lightness of each hue, and some of hues that are none.
    void everyHue()
    {
        const kit::LogCapture log; // QColor warns
        const int none[] = { 360, 361, 719, 720, 100000, INT_MAX, -2, -360, INT_MIN };
        for (int i = -1; i < 369; ++i)
            for (int s = 0, h = i < 360 ? i : none[i - 360], step = i < 360 ? 1 : 15; s < 256; s += step)
                for (int l = 0; l < 256; l += step) {
                    QColor color;
                    color.setHsl(h, s, l, 0x5A);
                    if (color::pixelOf({ h, s, l }, 0x5A) != OPRGBA32i(color.rgba()))
                        QFAIL(qPrintable(QString::asprintf("%d %d %d", h, s, l)));
                }
    }
};

KXCORE_TEST_MAIN(TestColorFormulas)
#include "tst_colorformulas.moc"
