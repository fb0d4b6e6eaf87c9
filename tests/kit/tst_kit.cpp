#include "kit/Font.h"
#include "kit/Kernels.h"

#include <QtGui/QPainter>

/// The kit itself, where the tests that use it would not notice that it fails.
class TestKit : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void font()
    {
        QImage image(40, 40, QImage::Format_ARGB32);
        image.fill(0u);
        QPainter painter(&image);
        painter.setFont(kit::font(32));
        QCOMPARE(painter.fontInfo().family(), "DejaVu Sans");
        painter.drawText(QPoint(4, 36), "\u2588"); // a full block, which hides what is behind it
        painter.end();
        QCOMPARE(image.pixel(12, 24), 0xFF000000u);
    }

    void sequencesDiffer()
    {
        const quint32 first = kit::random().generate();
        QCOMPARE(kit::random(0).generate(), first);
        QVERIFY(kit::random(1).generate() != first);
    }

    void guardsOfRows()
    {
        QRandomGenerator random = kit::random();
        for (int length : { 0, 1, 9 })
            for (int offset = 0; offset < 8; ++offset) {
                kit::Row row(offset, length, random);
                QVERIFY(row.isGuardIntact() && reinterpret_cast<quintptr>(row.pixels()) % 32 == offset * 4u);
                for (const int outside : { -1, length }) {
                    const OPRGBA32i before = std::exchange(row[outside], OPRGBA32i(1u));
                    QVERIFY(!row.isGuardIntact());
                    row[outside] = before;
                }
            }
    }
};

KXCORE_TEST_MAIN(TestKit)
#include "tst_kit.moc"
