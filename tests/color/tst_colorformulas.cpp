#include "kit/Test.h"

#include "color/Hsl.h"

#include <QtGui/QColor>

/// What the adjustments of colours are computed with.
class TestColorFormulas : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Every colour, by QColor.
    void toHsl()
    {
        for (unsigned word = 0; word < 1u << 24; ++word) {
            int h = 0, s = 0, l = 0;
            QColor(QRgb(0xFF000000u | word)).getHsl(&h, &s, &l);
            const color::Hsl hsl = color::hslOf(OPRGBA32i(word));
            if (hsl.h != h || hsl.s != s || hsl.l != l)
                QFAIL(qPrintable(
                    QString::asprintf("%06x is %d %d %d, not %d %d %d", word, h, s, l, hsl.h, hsl.s, hsl.l)));
        }
    }

    /// Every hue, saturation and lightness, by QColor, and hues beyond.
    void fromHsl()
    {
        const auto check = [](int h, int s, int l) {
            QColor color;
            color.setHsl(h, s, l, 0x5A);
            return color::pixelOf({ h, s, l }, 0x5A) == OPRGBA32i(color.rgba());
        };
        for (int h = -1; h < 360; ++h)
            for (int s = 0; s < 256; ++s)
                for (int l = 0; l < 256; ++l)
                    if (!check(h, s, l))
                        QFAIL(qPrintable(QString::asprintf("%d, %d, %d", h, s, l)));
        const kit::LogCapture log; // QColor warns
        for (const int h : { 360, 361, 719, 720, 100000, INT_MAX, -2, -360, INT_MIN })
            for (int s = 0; s < 256; s += 15)
                QVERIFY(check(h, s, 100));
    }
};

KXCORE_TEST_MAIN(TestColorFormulas)
#include "tst_colorformulas.moc"
